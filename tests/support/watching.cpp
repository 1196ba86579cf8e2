#include "support/watching.h"

#include <QCoreApplication>
#include <QTimer>

bool waitFor(const std::function<bool()> &condition)
{
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(5000);
    while (!condition() && limit.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

QByteArray timing(int least, int most, const std::function<double()> &scenario)
{
    // Timers count whole milliseconds, and so may be one short; what wakes late is forgiven within a few.
    constexpr int Early = 1;
    constexpr int Late = 6;
    double best = 1e9;
    for (int run = 0; run < 8; ++run) {
        const double time = scenario();
        if (time < least - Early)
            return QByteArray::number(time) + " ms is too soon";
        best = qMin(best, time);
        if (best <= most + Late)
            return {};
    }
    return QByteArray::number(best) + " ms is too late";
}

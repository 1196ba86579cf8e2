#ifndef WATCHING_H
#define WATCHING_H

#include <QByteArray>
#include <QStringList>

#include <functional>

/// Keeps the warnings of its scope, which are not printed meanwhile. One at a time.
class WarningLog
{
public:
    WarningLog();
    ~WarningLog();

    QStringList texts() const;

private:
    void (*m_previous)(QtMsgType, const QMessageLogContext &, const QString &);
};

/// Runs the event loop until @p condition holds, and looks after each event; false after five seconds.
bool waitFor(const std::function<bool()> &condition);

/// Whether a scenario, which returns the milliseconds that it took, never takes less than @p least, and no
/// more than
/// @p most: that in the best of several runs, because the machine may be busy. Empty if so, else what is
/// wrong.
QByteArray timing(int least, int most, const std::function<double()> &scenario);

#endif

#include "vox/warnings.h"

#include "vox/console.h"
#include "vox/outcome.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {
constexpr int PeriodMs = 1000;

struct Warnings
{
    QString command;
    bool isSoon = false;
    WarningForm form = WarningForm::Text;
    /// The time since something was told.
    QElapsedTimer clock;
    bool isTimerOn = false;
    int checks = 0;
    int allChecks = 0;
    int answers = 0;
    QString last;
    int others = 0;

    void addCheck()
    {
        ++checks;
        ++allChecks;
        if (isSoon)
            tellOrWait();
    }

    void tellOrWait()
    {
        const qint64 leftMs = clock.isValid() ? PeriodMs - clock.elapsed() : 0;
        if (leftMs <= 0) {
            tell();
        } else if (!isTimerOn && qApp) {
            isTimerOn = true;
            QTimer::singleShot(static_cast<int>(leftMs), qApp, [this] {
                isTimerOn = false;
                tell();
            });
        }
    }

    void tell()
    {
        QStringList parts;
        const int more = std::exchange(others, 0) - 1;
        if (more >= 0)
            parts += last;
        if (more > 0)
            parts += counted(more, "more warning");
        if (answers > 0)
            parts += QStringLiteral("%1 came damaged").arg(counted(std::exchange(answers, 0), "answer"));
        if (checks > 0)
            parts += QStringLiteral("frames came damaged: %1")
                         .arg(counted(std::exchange(checks, 0), "failed check"));
        if (parts.isEmpty())
            return;
        clock.start();
        const QString text = parts.join(QStringLiteral("; "));
        if (form == WarningForm::Json)
            printJson({{QStringLiteral("warning"), text}});
        else
            printError(command, text);
    }
};

Warnings &warnings()
{
    static Warnings all;
    return all;
}

void take(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    // A multicast bus has sent more than it has heard back yet. This happens when many nodes answer at once,
    // and nothing is lost.
    if (text == QLatin1String("[VOXBus]: sent messages list overflowing"))
        return;
    if (type != QtWarningMsg || qEnvironmentVariableIsSet("QT_LOGGING_RULES")) {
        printRaw(qFormatLogMessage(type, context, text));
        return;
    }
    static const QRegularExpression place(QStringLiteral("^\\[\\w+\\]: "));
    Warnings &all = warnings();
    // On multicast, what is damaged does not have the length that it says.
    if (text.startsWith(QLatin1String("[VOXMCastBus]: wrong datagram size "))) {
        all.addCheck();
        return;
    }
    if (text.startsWith(QLatin1String("Wrong CRC: "))) {
        // The other form of this warning comes first, for a frame that may still be right.
        if (text.contains(QLatin1String("!=")))
            all.addCheck();
        return;
    }
    all.last = QString(text).remove(place);
    ++all.others;
    all.tellOrWait();
}
}

void catchWarnings(const QString &command)
{
    warnings().command = command;
    qInstallMessageHandler(take);
}

void tellWarningsSoon(WarningForm form)
{
    warnings().form = form;
    warnings().isSoon = true;
}

void foldFailedChecks(int before)
{
    if (warnings().checks <= before)
        return;
    warnings().checks = before;
    ++warnings().answers;
}

void forgetDamage(int before)
{
    warnings().checks = std::min(warnings().checks, before);
    warnings().answers = 0;
}

int failedChecks()
{
    return warnings().checks;
}

int allFailedChecks()
{
    return warnings().allChecks;
}

void tellWarnings()
{
    warnings().tell();
}

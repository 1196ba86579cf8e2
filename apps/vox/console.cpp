#include "vox/console.h"

#include <cstdio>
#include <unistd.h>

QString counted(qint64 number, const char *noun)
{
    const QString text = QStringLiteral("%1 %2").arg(number).arg(QLatin1String(noun));
    return number == 1 ? text : text + QLatin1Char('s');
}

void printLine(const QString &line)
{
    std::fprintf(stdout, "%s\n", line.toLocal8Bit().constData());
    std::fflush(stdout);
}

void printError(const QString &command, const QString &problem)
{
    const QString name = command.isEmpty() ? QStringLiteral("vox") : QStringLiteral("vox ") + command;
    std::fprintf(stderr, "%s: %s\n", name.toLocal8Bit().constData(), problem.toLocal8Bit().constData());
}

void printProgress(const QString &line)
{
    if (isatty(STDERR_FILENO) == 1)
        std::fprintf(stderr, "\r\x1b[K%s", line.toLocal8Bit().constData());
}

bool isTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

#include "vox/console.h"

#include "vox/outputqueue.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
/// The system's first error with standard output; 0 without one.
std::atomic<int> outputError{0};

std::unique_ptr<OutputQueue> &outputQueue()
{
    static std::unique_ptr<OutputQueue> queue;
    return queue;
}

std::unique_ptr<OutputQueue> &errorQueue()
{
    static std::unique_ptr<OutputQueue> queue;
    return queue;
}

void put(FILE *stream, const QString &text);

void noteFailure(int error)
{
    int none = 0;
    // A reader that has closed the pipe knows that nothing comes any more.
    if (outputError.compare_exchange_strong(none, error) && error != EPIPE)
        put(stderr,
            QStringLiteral("vox: the output cannot be written: %1\n")
                .arg(QString::fromLocal8Bit(std::strerror(error))));
}

void put(FILE *stream, const QByteArray &bytes)
{
    if (OutputQueue *queue = stream == stdout ? outputQueue().get() : errorQueue().get())
        queue->push(bytes);
    else if ((std::fputs(bytes.constData(), stream) < 0 || std::fflush(stream) != 0) && stream == stdout)
        noteFailure(errno);
}

void put(FILE *stream, const QString &text)
{
    put(stream, text.toLocal8Bit());
}

/// Tells how much was dropped, as soon as somebody reads again.
void tellDropped()
{
    if (!outputQueue())
        return;
    const int dropped = outputQueue()->takeDropped() + errorQueue()->takeDropped();
    if (dropped > 0)
        put(stderr,
            QStringLiteral("vox: nobody has read the output: %1 left out\n").arg(counted(dropped, "line")));
}
}

QString exitCodesText()
{
    return QStringLiteral("0 done; 1 refused, no answer, a difference, or output that cannot be written; "
                          "2 wrong use, or a bus or file that cannot be opened.");
}

QString counted(qint64 number, const char *noun)
{
    const QString text = QStringLiteral("%1 %2").arg(number).arg(QLatin1String(noun));
    return number == 1 ? text : text + QLatin1Char('s');
}

QString printable(QString text)
{
    for (QChar &character : text) {
        if (!character.isPrint())
            character = QLatin1Char('?');
    }
    return text;
}

QString wrapped(const QString &line, int columns, int headWidth)
{
    QString rows;
    QString rest = line;
    const QString indent(headWidth, QLatin1Char(' '));
    while (rest.size() > columns) {
        int end = rest.lastIndexOf(QLatin1String("  "), columns);
        if (end <= headWidth)
            end = rest.lastIndexOf(QLatin1Char(' '), columns);
        if (end <= headWidth)
            break;
        rows += rest.left(end) + QLatin1Char('\n');
        rest = indent + rest.mid(end).trimmed();
    }
    return rows + rest;
}

void printLine(const QString &line)
{
    tellDropped();
    put(stdout, line + QLatin1Char('\n'));
}

void printError(const QString &command, const QString &problem)
{
    const QString name = command.isEmpty() ? QStringLiteral("vox") : QStringLiteral("vox ") + command;
    printRaw(QStringLiteral("%1: %2").arg(name, problem));
}

void printRaw(const QString &line)
{
    tellDropped();
    put(stderr, line + QLatin1Char('\n'));
}

void printProgress(const QString &line)
{
    if (isatty(STDERR_FILENO) == 1)
        put(stderr, QStringLiteral("\r\x1b[K%1").arg(line));
}

bool isTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

int terminalColumns()
{
    constexpr int Usual = 80;
    winsize size = {};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : Usual;
}

bool hasColour()
{
    return isTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR")
        && qEnvironmentVariable("TERM") != QLatin1String("dumb");
}

QString inRed(const QString &text)
{
    return hasColour() ? QStringLiteral("\x1b[31m%1\x1b[0m").arg(text) : text;
}

void outliveReader()
{
    std::signal(SIGPIPE, SIG_IGN);
}

void queueOutput()
{
    outliveReader();
    outputQueue() = std::make_unique<OutputQueue>(STDOUT_FILENO, noteFailure);
    errorQueue() = std::make_unique<OutputQueue>(STDERR_FILENO, [](int) {});
}

void printBytes(const QByteArray &bytes)
{
    put(stdout, bytes);
}

bool isOutputWritten()
{
    return !outputQueue() || outputQueue()->isEmpty();
}

void waitForOutput()
{
    if (outputQueue())
        outputQueue()->wait();
}

bool hasOutputFailed()
{
    return outputError != 0;
}

int finishOutput(int exitCode)
{
    tellDropped();
    outputQueue().reset();
    errorQueue().reset();
    return exitCode == Success && hasOutputFailed() ? int{Failure} : exitCode;
}

#include "vox/commands.h"
#include "vox/console.h"
#include "vox/warnings.h"
#include "vox/words.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <fcntl.h>
#include <unistd.h>

namespace {
QStringList names()
{
    QStringList list;
    for (const Command &command : commands())
        list += command.name;
    return list;
}

void printUsage()
{
    printLine(QStringLiteral("Usage: vox COMMAND [options]\n\nCommands:"));
    for (const Command &command : commands())
        printLine(QStringLiteral("  %1 %2").arg(command.name, -9).arg(command.summary));
    printLine(
        wrapped(QStringLiteral(
                    "\n'vox COMMAND --help' tells more, 'vox --version' the version.\nExit codes: %1\n"
                    "Buses, for --bus or in the environment's VOX_BUS:\n"
                    "  serial:///dev/ttyUSB0?baud=4800&parity=odd, or /dev/ttyUSB0; odd may be even or none\n"
                    "  udp://DESTINATION:PORT?local=PORT&bind=ADDRESS\n"
                    "  mcast://GROUP:PORT?alias=NAME&latency=MS\n"
                    "  pty:, a new pseudo-terminal that others open as their serial port")
                    .arg(exitCodesText())));
}

int failFor(const QString &name)
{
    const QString hint = didYouMean(name, names());
    const QString list = QStringLiteral("; one of %1").arg(names().join(QStringLiteral(", ")));
    if (name.isEmpty())
        printError(QString(), QStringLiteral("a command is missing") + list);
    else
        printError(QString(),
                   QStringLiteral("unknown command '%1'%2").arg(name, hint.isEmpty() ? list : hint));
    return WrongUse;
}

int run(const QStringList &arguments)
{
    const QStringList helpWords = {QStringLiteral("--help"), QStringLiteral("-h"), QStringLiteral("help")};
    const QString name = arguments.value(0);
    const QString topic = name == QLatin1String("help") ? arguments.value(1) : QString();
    if (findCommand(topic))
        return run({topic, QStringLiteral("--help")});
    if (!topic.isEmpty() && !helpWords.contains(topic))
        return failFor(topic);
    if (helpWords.contains(name)) {
        printUsage();
        return Success;
    }
    if (name == QLatin1String("--version") || name == QLatin1String("-v")) {
        printLine(QStringLiteral("vox ") + QCoreApplication::applicationVersion());
        return Success;
    }
    if (const Command *command = findCommand(name))
        return command->run(arguments.mid(1));
    return failFor(name);
}
}

int main(int argc, char *argv[])
{
    // A file that is opened later must not take the place of a standard stream that was closed. Writing to
    // such a stream still fails.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", stream == STDIN_FILENO ? O_RDWR : O_RDONLY);
    }
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VOX_VERSION));
    // Leaves out the frames of a bus, unless the environment's QT_LOGGING_RULES ask for them.
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus.debug=false"));
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    catchWarnings(arguments.value(0));
    const int exitCode = run(arguments);
    tellWarnings();
    return finishOutput(exitCode);
}

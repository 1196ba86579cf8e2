#include "vox/callcommand.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/democommand.h"
#include "vox/scancommand.h"
#include "vox/simcommand.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <iterator>

namespace {
const Command commands[] = {
    {QStringLiteral("demo"), QStringLiteral("an emulated network and a host that drives it"), runDemo},
    {QStringLiteral("sim"), QStringLiteral("emulates nodes on a bus"), runSim},
    {QStringLiteral("scan"), QStringLiteral("finds the nodes of a bus"), runScan},
    {QStringLiteral("call"), QStringLiteral("calls one operation of a node and prints its reply"), runCall},
};

QString names()
{
    QStringList list;
    for (const Command &command : commands)
        list += command.name;
    return list.join(QLatin1String(", "));
}

void printUsage()
{
    printLine(QStringLiteral("Usage: vox COMMAND [options]\n\nCommands:"));
    for (const Command &command : commands)
        printLine(QStringLiteral("  %1 %2").arg(command.name, -6).arg(command.summary));
    printLine(QStringLiteral(
        "\n'vox COMMAND --help' tells more. Exit codes: 0 done, 1 refused or no answer, 2 wrong use.\n"
        "Buses:\n"
        "  serial:///dev/ttyUSB0\n"
        "  udp://DESTINATION:PORT?local=PORT&bind=ADDRESS\n"
        "  mcast://GROUP:PORT?bind=ADDRESS&alias=NAME&latency=MS\n"
        "  pty:, a new pseudo-terminal that others open as their serial port"));
}

int run(const QStringList &arguments)
{
    const QString name = arguments.value(0);
    if (name == QLatin1String("--help") || name == QLatin1String("-h") || name == QLatin1String("help")) {
        printUsage();
        return Success;
    }
    if (name == QLatin1String("--version") || name == QLatin1String("-v")) {
        printLine(QStringLiteral("vox ") + QCoreApplication::applicationVersion());
        return Success;
    }
    const auto *const command = std::find_if(std::begin(commands), std::end(commands),
                                             [&](const Command &c) { return c.name == name; });
    if (command != std::end(commands))
        return command->run(arguments.mid(1));
    const QString problem = name.isEmpty() ? QStringLiteral("a command is missing")
                                           : QStringLiteral("unknown command '%1'").arg(name);
    printError(QString(), QStringLiteral("%1; one of %2").arg(problem, names()));
    return WrongUse;
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VOX_VERSION));
    // Every frame of a bus, unless the environment's QT_LOGGING_RULES ask for them.
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus.debug=false"));
    return run(QCoreApplication::arguments().mid(1));
}

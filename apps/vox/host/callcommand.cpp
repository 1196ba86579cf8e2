#include "vox/host/callcommand.h"

#include "messages/vox.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/operation.h"
#include "vox/outcome.h"
#include "vox/words.h"

namespace {
/// Prints the help of an operation, if @p arguments ask for that.
bool printedHelp(const QStringList &arguments)
{
    if (!arguments.contains(QStringLiteral("--help")) && !arguments.contains(QStringLiteral("-h")))
        return false;
    const QStringList names = Operation::names();
    for (const QString &argument : arguments) {
        if (names.contains(argument)) {
            printLine(wrapped(Operation::help(argument)));
            return true;
        }
    }
    return false;
}
}

int runCall(const QStringList &arguments)
{
    const QString operations = Operation::names().join(QLatin1String(", "));
    CommandLine line(QStringLiteral("call"),
                     QStringLiteral("Calls one operation of a node and prints its reply. 'vox call OPERATION "
                                    "--help' tells what it takes. Numbers are decimal, or hexadecimal with "
                                    "0x; arguments of an enumeration are its key names or numbers. "
                                    "Operations that begin with hrmv2: are for motors of the older "
                                    "generation, which understand no others.\n\n"
                                    "Operations: %1")
                         .arg(operations),
                     QStringLiteral("vox call 000101 getMotorStatus"),
                     CommandLine::BusOption | CommandLine::JsonOption);
    line.addArgument(QStringLiteral("address"), QStringLiteral("Six hexadecimal digits."),
                     QStringLiteral("ADDRESS"));
    line.addArgument(QStringLiteral("operation"), QStringLiteral("Its name."), QStringLiteral("OPERATION"));
    line.addArgument(QStringLiteral("argument"), QStringLiteral("As the operation takes them."),
                     QStringLiteral("[ARGUMENT...]"));
    const QCommandLineOption defaults(
        QStringLiteral("defaults"),
        QStringLiteral("Let an operation act though all of its arguments are left out."));
    line.addOptions({defaults});
    if (printedHelp(arguments))
        return Success;
    if (!line.parse(arguments))
        return line.exitCode();
    const QStringList words = line.words();
    if (words.size() < 2)
        return line.fail(
            QStringLiteral("ADDRESS and OPERATION are wanted; operations are %1").arg(operations));

    QString problem;
    unsigned int addr = 0;
    Operation operation;
    const QStringList operands = words.mid(2);
    if (!VOX::readNodeAddr(words.at(0), &addr, &problem)
        || !Operation::find(words.at(1), operands.size(), &operation, &problem)
        || !operation.setArguments(operands, &problem))
        return line.fail(problem);
    if (operation.isAllDefaults() && !line.parser().isSet(defaults))
        return line.fail(QStringLiteral("all arguments of %1 are left out: --defaults lets it act so, and "
                                        "'vox call %1 --help' tells how")
                             .arg(words.at(1)));
    const std::unique_ptr<VOXBus> bus = line.openBus();
    if (!bus)
        return line.exitCode();
    const Asking asking = operation.isQuery() ? Asking::Again : Asking::Once;
    return ask(addr, asking, [&] { return operation.call(addr, bus.get()); })
        .print(QStringLiteral("call"), line.isJson(), operation.meaning());
}

#include "vox/panelcommand.h"

#include "vox/command.h"
#include "vox/otherprogram.h"

int runPanel(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("panel"),
                     QStringLiteral("Shows the shades of a building in a window, and commands them."),
                     QStringLiteral("vox panel --demo"), 0);
    line.addArgument(QStringLiteral("OPTION"),
                     QStringLiteral("--demo, --bus URL, --config FILE, --replay FILE, --look and what else "
                                    "vox-panel --help lists."),
                     QStringLiteral("[OPTION...]"));
    const QString help = QStringLiteral("--help");
    if (!line.parse(arguments.contains(help) ? QStringList{help} : QStringList()))
        return line.exitCode();
    const QString program = findProgram(QStringLiteral("vox-panel"), {QStringLiteral("panel")});
    if (program.isEmpty())
        return line.fail(QStringLiteral("the program vox-panel is not here: install the package vox-panel"));
    return line.fail(becomeProgram(program, arguments));
}

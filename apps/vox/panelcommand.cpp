#include "vox/panelcommand.h"

#include "vox/command.h"

#include <QCoreApplication>
#include <QFile>
#include <QStandardPaths>

#include <unistd.h>

#include <vector>

namespace {
/// Beside this program, where the build has it, or in PATH.
QString findPanel()
{
    const QString here = QCoreApplication::applicationDirPath();
    const QString program = QStringLiteral("vox-panel");
    const QString beside = QStandardPaths::findExecutable(program, {here, here + QStringLiteral("/panel")});
    return beside.isEmpty() ? QStandardPaths::findExecutable(program) : beside;
}
}

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
    const QString program = findPanel();
    if (program.isEmpty())
        return line.fail(QStringLiteral("the program vox-panel is not here: install the package vox-panel"));
    std::vector<QByteArray> words = {QFile::encodeName(program)};
    for (const QString &argument : arguments)
        words.push_back(argument.toLocal8Bit());
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (QByteArray &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    return line.fail(QStringLiteral("%1 cannot be started: %2").arg(program, qt_error_string()));
}

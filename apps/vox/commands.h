#ifndef COMMANDS_H
#define COMMANDS_H

#include "vox/command.h"

/// All commands of the program that people type, in the order of its help.
const QVector<Command> &commands();

/// Finds a command by its name, also one that only scripts use. Null if there is none.
const Command *findCommand(const QString &name);

#endif

#ifndef COMMANDS_H
#define COMMANDS_H

#include "vox/command.h"

/// All commands of the program that people type, in the order of its help.
const QVector<Command> &commands();

/// Also one of those that only scripts use. Null if there is none of this name.
const Command *findCommand(const QString &name);

#endif

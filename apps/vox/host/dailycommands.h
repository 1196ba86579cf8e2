#ifndef DAILYCOMMANDS_H
#define DAILYCOMMANDS_H

#include "vox/command.h"

#include <QVector>

/// The commands for everyday work with a motor: vox move, stop, goto and the like.
QVector<Command> dailyCommands();

#endif

#ifndef DAILYCOMMANDS_H
#define DAILYCOMMANDS_H

#include "vox/command.h"

#include <QVector>

/// What people on site do with a motor every day: vox move, stop, goto and the like.
QVector<Command> dailyCommands();

#endif

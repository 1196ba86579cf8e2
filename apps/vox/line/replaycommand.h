#ifndef REPLAYCOMMAND_H
#define REPLAYCOMMAND_H

#include <QStringList>

/// Sends what a capture holds, with its timing.
int runReplay(const QStringList &arguments);

#endif

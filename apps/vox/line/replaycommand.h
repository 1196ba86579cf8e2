#ifndef REPLAYCOMMAND_H
#define REPLAYCOMMAND_H

#include <QStringList>

/// Sends the frames of a capture, with its timing.
int runReplay(const QStringList &arguments);

#endif

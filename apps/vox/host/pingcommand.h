#ifndef PINGCOMMAND_H
#define PINGCOMMAND_H

#include <QStringList>

/// Asks nodes for echoes, and counts those that are lost, late or damaged.
int runPing(const QStringList &arguments);

#endif

#ifndef SIMCOMMAND_H
#define SIMCOMMAND_H

#include <QStringList>

/// Emulates nodes on a bus until SIGINT or SIGTERM.
int runSim(const QStringList &arguments);

#endif

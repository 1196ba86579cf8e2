#ifndef SCANCOMMAND_H
#define SCANCOMMAND_H

#include <QStringList>

/// Finds the nodes of a bus and prints what they are.
int runScan(const QStringList &arguments);

#endif

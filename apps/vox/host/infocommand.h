#ifndef INFOCOMMAND_H
#define INFOCOMMAND_H

#include <QStringList>

/// Prints all that a node tells of itself.
int runInfo(const QStringList &arguments);

#endif

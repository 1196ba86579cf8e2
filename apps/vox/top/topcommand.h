#ifndef TOPCOMMAND_H
#define TOPCOMMAND_H

#include <QStringList>

/// Shows the nodes of a line as they are now, until it is ended.
int runTop(const QStringList &arguments);

#endif

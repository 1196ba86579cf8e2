#ifndef DEMOCOMMAND_H
#define DEMOCOMMAND_H

#include <QStringList>

/// Shows a host that drives an emulated network, both in this process, over UDP.
int runDemo(const QStringList &arguments);

#endif

#ifndef MONITORCOMMAND_H
#define MONITORCOMMAND_H

#include <QStringList>

/// Shows what happens on a bus, or what a capture holds. Never sends.
int runMonitor(const QStringList &arguments);

#endif

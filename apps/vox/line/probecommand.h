#ifndef PROBECOMMAND_H
#define PROBECOMMAND_H

#include <QStringList>

/// Finds out which rate and parity a serial line has.
int runProbe(const QStringList &arguments);

#endif

#ifndef COUNTERSCOMMAND_H
#define COUNTERSCOMMAND_H

#include <QStringList>

/// Reads the error counters that nodes keep, twice, and shows what has been counted between.
int runCounters(const QStringList &arguments);

#endif

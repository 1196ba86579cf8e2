#ifndef TESTCOMMAND_H
#define TESTCOMMAND_H

#include <QStringList>

/// Runs scenarios: a simulated network, a program under test, and what is expected of it.
int runTest(const QStringList &arguments);

#endif

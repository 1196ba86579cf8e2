#ifndef CALLCOMMAND_H
#define CALLCOMMAND_H

#include <QStringList>

/// Calls one operation of a node and prints its reply.
int runCall(const QStringList &arguments);

#endif

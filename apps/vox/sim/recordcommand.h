#ifndef RECORDCOMMAND_H
#define RECORDCOMMAND_H

#include <QStringList>

/// Makes a network file, as runSim() takes it, of the nodes of a bus or of a capture.
int runRecord(const QStringList &arguments);

#endif

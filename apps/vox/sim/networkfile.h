#ifndef NETWORKFILE_H
#define NETWORKFILE_H

#include <QJsonObject>
#include <QStringList>

class Simulation;

/// Reads the file @p name, which holds one JSON object. False if that cannot be done; @p problem says why,
/// with the line of a mistake.
bool readJsonFile(const QString &name, QJsonObject *object, QString *problem);

/// Fills @p simulation with the nodes that @p network describes:
///
///     {"bus": URL, "nodes": [{"model": MODEL, "address": "000101", ...settings}, ...], "faults": [WORDS,
///     ...]}
///
/// "address" may be a range, "000101-000164"; then "{n}" in a label is the number of the node in it. False if
/// there is a mistake; @p problem names it with its path in the file.
bool readNetwork(const QJsonObject &network, Simulation *simulation, QString *problem);

/// The faults that @p network asks for, in the words of FaultRule.
QStringList faultsOf(const QJsonObject &network);

/// The bus that @p network names; empty if it names none.
QString busOf(const QJsonObject &network);

#endif

#ifndef SCENARIOPLACES_H
#define SCENARIOPLACES_H

#include <QStringList>

class JsonPlace;
class KVRMotorDevice;
class VOXSimulation;

///@{
/// The values that steps of a scenario have. What does not fit is a mistake of the place.

/// Milliseconds: a number of them, "500ms" or "2s"; an hour at most.
int durationAt(const JsonPlace &place);
/// A command, by its name in either set.
unsigned char commandAt(const JsonPlace &place);
/// The address of a node that is in @p network.
unsigned int nodeAt(const JsonPlace &place, const VOXSimulation &network);
/// The same, of a motor. Null if it is none.
KVRMotorDevice *motorAt(const JsonPlace &place, const VOXSimulation &network);
/// The index of a text among @p words.
int wordAt(const JsonPlace &place, const QStringList &words);
///@}

/// "500 ms", "2 s".
QString durationText(int ms);

#endif

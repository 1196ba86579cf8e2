#ifndef SCENARIOPLACES_H
#define SCENARIOPLACES_H

#include <QStringList>

class VOXJsonPlace;
class KVRMotorDevice;
class VOXSimulation;

///@{
/// The values that steps of a scenario have. What does not fit is a mistake of the place.

/// Milliseconds: a number of them, "500ms" or "2s"; an hour at most.
int durationAt(const VOXJsonPlace &place);
/// A command, by its name in either set.
unsigned char commandAt(const VOXJsonPlace &place);
/// The address of a node that is in @p network.
unsigned int nodeAt(const VOXJsonPlace &place, const VOXSimulation &network);
/// The same, of a motor. Null if it is none.
KVRMotorDevice *motorAt(const VOXJsonPlace &place, const VOXSimulation &network);
/// The index of a text among @p words.
int wordAt(const VOXJsonPlace &place, const QStringList &words);
///@}

/// "500 ms", "2 s".
QString durationText(int ms);

#endif

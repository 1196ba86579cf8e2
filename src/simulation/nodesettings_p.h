#ifndef VOX_SIMULATION_NODESETTINGS_P_H
#define VOX_SIMULATION_NODESETTINGS_P_H

#include <QJsonObject>
#include <QStringList>

class VOXJsonPlace;
class KVRDevice;

/// The members of a JSON object that set up a node. Which of them a node has depends on its model.
QStringList nodeSettingKeys();

/// Sets @p node up by the members of @p place that are present. Mistakes, and settings that the node does not
/// have, are kept in the place.
void readSettings(KVRDevice &node, const VOXJsonPlace &place);

/// All settings that a host can change, and the position, as readSettings() takes them.
QJsonObject settingsOf(KVRDevice &node);

#endif

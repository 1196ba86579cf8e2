#ifndef BRIDGECOMMAND_H
#define BRIDGECOMMAND_H

#include <QStringList>

/// Brings lines to an MQTT broker until SIGINT or SIGTERM.
int runBridge(const QStringList &arguments);

#endif

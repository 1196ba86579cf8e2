#ifndef BUSURL_H
#define BUSURL_H

#include <QString>

#include <memory>

class VOXBus;

/// Opens the bus that @p url names, "serial:///dev/ttyUSB0" or
/// "udp://DESTINATION:PORT?local=PORT&bind=ADDRESS". Null if it names none, or that cannot be opened; then @p
/// problem says why, in one line.
std::unique_ptr<VOXBus> openBus(const QString &url, QString *problem);

#endif

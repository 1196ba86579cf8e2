#ifndef BUSURL_H
#define BUSURL_H

#include <QString>

#include <memory>

class VOXBus;

/// Opens the bus that @p url names:
///
///     serial:///dev/ttyUSB0
///     udp://DESTINATION:PORT?local=PORT&bind=ADDRESS
///     mcast://GROUP:PORT?bind=ADDRESS&alias=NAME&latency=MS
///     pty:
///
/// The last makes a pseudo-terminal; @p portUrl is then the bus at its other end, else the same as @p url.
/// Null if @p url names no bus, or one that cannot be opened; @p problem says why, in one line.
std::unique_ptr<VOXBus> openBus(const QString &url, QString *problem, QString *portUrl = nullptr);

#endif

#ifndef VOX_TRANSPORT_VOXBUSLOG_P_H
#define VOX_TRANSPORT_VOXBUSLOG_P_H

#include <QLoggingCategory>

/// The category of what the buses log of their lines, "vox.bus". Frames are logged at debug level.
Q_DECLARE_LOGGING_CATEGORY(lcVoxBus)

#endif

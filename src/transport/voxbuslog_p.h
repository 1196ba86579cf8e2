#ifndef VOX_TRANSPORT_VOXBUSLOG_P_H
#define VOX_TRANSPORT_VOXBUSLOG_P_H

#include <QLoggingCategory>

/// What the buses say of their lines: "vox.bus", frames at debug level.
Q_DECLARE_LOGGING_CATEGORY(lcVoxBus)

#endif

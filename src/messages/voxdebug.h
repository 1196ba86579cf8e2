#ifndef VOXDEBUG_H
#define VOXDEBUG_H

#include "messages/kvr.h"

#include <QDebug>

/// Debug output of commands, node types and addresses.
///
/// In a header that no other one includes: with the two integer forms in scope every unsigned number that is
/// streamed to a QDebug is ambiguous. So they are called, not streamed: operator<<(qDebug(), addr).
VOX_EXPORT QDebug operator<<(QDebug debug, unsigned char cmd);
VOX_EXPORT QDebug operator<<(QDebug debug, KVR::Cmd cmd);
VOX_EXPORT QDebug operator<<(QDebug debug, VOX::NodeType type);
VOX_EXPORT QDebug operator<<(QDebug debug, unsigned int addr);

#endif

#ifndef VOX_MESSAGES_VOXDEBUG_H
#define VOX_MESSAGES_VOXDEBUG_H

#include <vox/messages/kvr.h>

#include <QDebug>

///@{
/// Debug output of a command, a node type or an address, as VOX::logText() has it. Reentrant.
///
/// No other header includes this one. With the two integer forms in scope, every unsigned number that is
/// streamed to a QDebug is ambiguous. Call these two by name: operator<<(qDebug(), addr).
/// @ingroup messages
VOX_EXPORT QDebug operator<<(QDebug debug, unsigned char cmd);
VOX_EXPORT QDebug operator<<(QDebug debug, KVR::Cmd cmd);
VOX_EXPORT QDebug operator<<(QDebug debug, VOX::NodeType type);
VOX_EXPORT QDebug operator<<(QDebug debug, unsigned int addr);
///@}

#endif

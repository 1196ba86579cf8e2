#include "messages/voxdebug.h"

#include <utility>

namespace {
QDebug print(QDebug debug, const QString &text)
{
    // The saver ends with the separating space if the stream wants one.
    const QDebugStateSaver saver(debug);
    debug.nospace().noquote() << text;
    return debug;
}
}

QDebug operator<<(QDebug debug, unsigned char cmd)
{
    return print(std::move(debug), VOX::logText(cmd));
}

QDebug operator<<(QDebug debug, KVR::Cmd cmd)
{
    return print(std::move(debug), VOX::logText(static_cast<unsigned char>(cmd)));
}

QDebug operator<<(QDebug debug, VOX::NodeType type)
{
    return print(std::move(debug), VOX::logText(type));
}

QDebug operator<<(QDebug debug, unsigned int addr)
{
    return print(std::move(debug), VOX::logText(addr));
}

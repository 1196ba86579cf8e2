#ifndef VOX_TRANSPORT_VOXBUSWATCH_H
#define VOX_TRANSPORT_VOXBUSWATCH_H

#include <vox/messages/voxmessage.h>

#include <QObject>
#include <QSharedData>

/// Fans the frames for one address or one group out to the nodes that want them.
///
/// Shared by counted references, starting from none. Lives on its dispatcher's thread; nodes on other threads
/// get their frames queued.
/// @ingroup transport
class VOX_EXPORT VOXBusWatch : public QObject, public QSharedData
{
    Q_OBJECT

public:
    /// Has no references at first. The last one to go deletes it.
    explicit VOXBusWatch(QObject *parent = nullptr);

    /// Delivers @p message.
    void operator()(const VOXMessage &message) { Q_EMIT dispatch(message); }

    /// How many connections dispatch() has.
    int receivers() const;

Q_SIGNALS:
    /// Connected to VOXDevice::dispatch() of each node.
    void dispatch(const VOXMessage &message);
};

#endif

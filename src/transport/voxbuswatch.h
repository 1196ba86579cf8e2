#ifndef VOXBUSWATCH_H
#define VOXBUSWATCH_H

#include "messages/voxmessage.h"

#include <QObject>
#include <QSharedData>

/// Fans the frames for one address or one group out to the nodes that want them.
///
/// Shared by counted references, starting from none. Lives on its dispatcher's thread; nodes on other threads
/// get their frames queued.
class VOX_EXPORT VOXBusWatch : public QObject, public QSharedData
{
    Q_OBJECT

public:
    explicit VOXBusWatch(QObject *parent = nullptr);

    void operator()(const VOXMessage &message) { Q_EMIT dispatch(message); }

    /// How many connections dispatch() has.
    int receivers() const;

Q_SIGNALS:
    void dispatch(const VOXMessage &message);
};

#endif

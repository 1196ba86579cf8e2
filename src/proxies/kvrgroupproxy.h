#ifndef KVRGROUPPROXY_H
#define KVRGROUPPROXY_H

#include "proxies/kvrmotorproxy.h"

/// The motors of a group, at the group's address: moves all of them by one frame.
///
/// Five operations are the group's; they hide those of the base class. All others, queries and settings
/// included, go to the address as if it were a node's, on purpose. Nobody is asked to acknowledge, so a call
/// ends without error when its period of 255 ms is over; what came all the same is in
/// BusPendingCall::replies(). Used on the bus's thread.
class VOX_EXPORT KVRGroupProxy : public KVRMotorProxy
{
    Q_OBJECT

public:
    /// @p addr is the address of the group, 24 bits of which count.
    KVRGroupProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

public Q_SLOTS:
    /// @p duration in units of 10 ms; 0 counts as 255.
    BusPendingCall ctrlMove(KVRMotor::MoveFunction dir, quint8 duration, KVRMotor::SpeedType speed);
    BusPendingCall ctrlStop(quint8 tilt = 255);
    /// @p position is an index, pulses or percent, as @p fun says.
    BusPendingCall ctrlMoveTo(KVRMotor::MoveToFunction fun, quint16 position, quint8 tilt = 255);
    /// @p value in pulses or units of 10 ms, 10 to 1000.
    BusPendingCall ctrlMoveOf(KVRMotor::MoveOfFunction fun, quint16 value, quint8 tilt = 255);
    BusPendingCall ctrlWink();

    /// Later commands are for nodes of this type only; NODETYPE_ANY lifts the restriction.
    void setDestNodeType(VOX::NodeType nodeType);

protected:
    KVRGroupProxy(unsigned int addr, VOX::AddrType addrType, Bus *bus, QObject *parent);

private:
    template <auto Command, typename... Fields>
    BusPendingCall send(const Fields &...fields);

    VOX::AddrType m_addrType = VOX::GROUP;
    VOX::NodeType m_destNodeType = VOX::NODETYPE_ANY;
};

#endif

#ifndef VOX_PROXIES_KVRGROUPPROXY_H
#define VOX_PROXIES_KVRGROUPPROXY_H

#include <vox/proxies/kvrmotorproxy.h>

/// The motors of a group, at the group's address: moves all of them by one frame.
///
/// Five operations go to the group; they hide those of the base class. All others, queries and settings
/// included, go to the address as if it were a node's, on purpose. No motor is asked to acknowledge, so a
/// call ends without error when its period of 255 ms is over, counted from the sending or from the last
/// answer. Answers that come all the same are in BusPendingCall::replies(). Thread and lifetime are those of
/// VOXNode.
/// @ingroup proxies
class VOX_EXPORT KVRGroupProxy : public KVRMotorProxy
{
    Q_OBJECT

public:
    /// @p addr is the address of the group. A node type in it restricts all commands to nodes of that type.
    /// Without an open @p bus, calls end with BusPendingCall::NotOpen.
    KVRGroupProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

public Q_SLOTS:
    ///@{
    /// Moves, stops or winks all members, with the parameters of the operation of the same name in
    /// KVRMotorProxy. A motor that refuses does so without an answer.
    BusPendingCall ctrlMove(KVRMotor::MoveFunction dir, quint8 duration, KVRMotor::SpeedType speed);
    BusPendingCall ctrlStop(quint8 tilt = 255);
    BusPendingCall ctrlMoveTo(KVRMotor::MoveToFunction fun, quint16 position, quint8 tilt = 255);
    BusPendingCall ctrlMoveOf(KVRMotor::MoveOfFunction fun, quint16 value, quint8 tilt = 255);
    BusPendingCall ctrlWink();
    ///@}

    /// From now on these five are for nodes of @p nodeType only. NODETYPE_ANY goes back to the type in the
    /// address.
    void setDestNodeType(VOX::NodeType nodeType);

protected:
    /// With VOX::BCAST as @p addrType, the commands go to everyone, and @p addr is their sender.
    KVRGroupProxy(unsigned int addr, VOX::AddrType addrType, Bus *bus, QObject *parent);

private:
    template <auto Command, typename... Values>
    BusPendingCall send(const Values &...values);

    VOX::AddrType m_addrType = VOX::GROUP;
    VOX::NodeType m_destNodeType = VOX::NODETYPE_ANY;
};

#endif

#ifndef VOX_PROXIES_HRMV2MOTORPROXY_H
#define VOX_PROXIES_HRMV2MOTORPROXY_H

#include <vox/messages/hrmv2.h>
#include <vox/proxies/voxnode.h>

/// A host's handle on one motor of the older generation, or on one of the current generation that also
/// answers in the older command set, as TB20 motors do.
///
/// Every operation sends one frame and returns at once. Queries are answered by a reply, which HRMv2Answer
/// reads, or by NACK; settings and moves by ACK or NACK. Values are sent as they are given, and the motor
/// checks them. Positions are pulses of the encoder, 0 at the up limit and more below; 65535 is unset.
///
/// The comments name the NACK, of KVR::NackStatus or KVR::MotorNackStatus, with which motors of the current
/// generation refuse. Those motors know only the queries of settings, intermediate positions and the lock,
/// and the operations that set these and move. HRMv2Stub never moves and does not know setMotorPosition().
/// What an emulated motor does not know it refuses with NACK_BADMSG.
///
/// Commands whose data nobody knows have no operation here. These are the label and the settings that are
/// not among the operations. A motor of the older generation does not answer a broadcast: ask its address.
/// @ingroup proxies
class VOX_EXPORT HRMv2MotorProxy : public VOXNode
{
    Q_OBJECT

public:
    /// @p addr and @p bus as in KVRStdProxy.
    HRMv2MotorProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

public Q_SLOTS:
    /// Moves the motor, or stops it, as @p fun says. @p value is an index from 0, pulses, or 255ths of the
    /// way from limit to limit, 0 to 255; limits and the stop use no value. Pulses are not held between the
    /// limits. Refused, a stop as well: NACK_END_LIMITS_NOT_SET, NACK_NODE_IS_LOCKED. Also refused:
    /// NACK_IP_NOT_SET, NACK_BADMSG.
    BusPendingCall setMotorPosition(HRMv2::PositionFunction fun, quint16 value);

    /// Locks the motor against moves where it is, or where @p fun and @p index send it, or releases it.
    /// @p index is that of an intermediate position and counts from 1 here, on purpose. @p priority stays
    /// with the lock: a request with a lower one is NACK_LOW_PRIORITY. A release sets it to 0. Also refused:
    /// NACK_END_LIMITS_NOT_SET, NACK_IP_NOT_SET, NACK_BADMSG. HRMv2Stub keeps @p fun and locks nothing.
    BusPendingCall setLockStatus(HRMv2::LockFunction fun, quint8 index, quint8 priority);

    ///@{
    /// Stores @p position, in pulses, as intermediate position @p index; 65535 unsets it. Motors of the
    /// current generation take setIP(), in which @p index counts from 0, and refuse: NACK_END_LIMITS_NOT_SET,
    /// NACK_BADMSG for an index that does not exist.
    ///
    /// HRMv2Stub takes setOlderIP(), in which @p index counts from 1, and refuses an index that does not
    /// exist with NACK_RNG. Both send the same command. The older form has a byte more ahead of the index; a
    /// motor that expects the other form stores something else, and acknowledges that.
    BusPendingCall setIP(quint8 index, quint16 position);
    BusPendingCall setOlderIP(quint8 index, quint16 position);
    ///@}

    /// Puts the motor into group @p addr, 24 bits, by means of slot @p idx, from 0. Group 0 frees the slot. A
    /// slot that does not exist is NACK_RNG.
    BusPendingCall setGroupAddr(quint8 idx, VOX::Addr addr);
    /// Asks for the group in slot @p idx, for HRMv2Answer::GroupAddr.
    BusPendingCall getGroupAddr(quint8 idx);

    /// Asks for turning direction and down limit, for HRMv2Answer::MotorSettings. Never refused.
    BusPendingCall getMotorSettings();
    /// Asks for intermediate position @p index, for HRMv2Answer::MotorIP. It counts from 0 in motors of the
    /// current generation, and from 1 in HRMv2Stub. An index that does not exist is NACK_BADMSG.
    BusPendingCall getMotorIP(quint8 index);
    /// Asks whether the motor is locked, for HRMv2Answer::LockStatus. Never refused.
    BusPendingCall getLockStatus();

    ///@{
    /// Asks for what only motors of the older generation tell, for the HRMv2Answer of the same name. The
    /// meaning of the answer is not known, so nothing tells where the motor is and whether it moves.
    /// HRMv2Stub answers the first three.
    BusPendingCall getMotorPosition();
    BusPendingCall getMotorStatus();
    BusPendingCall getMotorInfo();
    BusPendingCall getDiag();
    BusPendingCall getIRConfig();
    BusPendingCall getMotorConfig();
    BusPendingCall getNodeSWVersion();
    ///@}
};

#endif

#ifndef VOX_NETWORK_MOTIONBOOK_P_H
#define VOX_NETWORK_MOTIONBOOK_P_H

#include <vox/network/move_p.h>
#include <vox/network/voxmotion.h>
#include <vox/network/voxscheduler.h>

#include <QStringList>
#include <QVector>

#include <memory>

class NetworkCore;

/// What the members of a group have made of a command.
struct GroupMotion
{
    VOXMotion *motion = nullptr;
    int members = 0;
    int running = 0;
    int undecided = 0;
    int accepted = 0;
    int arrived = 0;
    VOXMotion::End end = VOXMotion::Arrived;
    QStringList problems;
};

/// A command that one motor has got, until it has ended.
struct MotionRecord
{
    enum Phase : int {
        Sent, ///< Not answered, or not even sent, yet. Readings are from before.
        SentToGroup, ///< With its group. Nobody answers that; the motor is read.
        Accepted
    };

    quint64 id = 0;
    Move move;
    Phase phase = Sent;
    std::optional<int> target;
    /// Null for the member of a group.
    VOXMotion *motion = nullptr;
    /// Null for a single motor.
    std::shared_ptr<GroupMotion> group;
    bool hasRun = false;
    /// Set while the last status says that it is at rest; what its position then is decides.
    bool isAtRest = false;
    int rests = 0;
    /// A stop has come after it: it is not sent again.
    bool isStopped = false;
    int stopsLeft = 1;
};

/// All motions of a network: begins them, follows them by the readings of their motors, and ends each once.
class MotionBook
{
public:
    explicit MotionBook(NetworkCore &core)
        : m_core(core)
    {
    }

    VOXMotion *start(NodeState &motor, const Move &move);
    VOXMotion *startGroup(VOX::Addr group, const QVector<NodeState *> &members, const Move &move);

    ///@{
    /// Something was read of @p motor.
    void handleStatus(NodeState &motor);
    void handlePosition(NodeState &motor);
    ///@}
    /// Another host has moved the motor.
    void handleForeignMove(NodeState &motor);
    /// @p reason ends all motions of the motor.
    void handleSilence(NodeState &motor, const QString &reason);

private:
    using Record = std::unique_ptr<MotionRecord>;

    VOXMotion *makeMotion(VOXNetworkMotor *motor);
    MotionRecord &enter(NodeState &motor, const Move &move);
    void send(NodeState &motor, MotionRecord &record, VOXScheduler::Lane lane);
    void handleSent(VOX::Addr addr, quint64 id, const BusPendingCall &call);
    void handleGroupSent(const QVector<VOX::Addr> &members, quint64 firstId);
    void handleRefused(NodeState &motor, Record &record, const BusMessage &reply);
    void handleStopStatus(NodeState &motor);
    void tellSingly(NodeState &motor, MotionRecord &record);
    void accept(MotionRecord &record);
    void announceAccepted(VOXMotion *motion);
    void decideGroup(GroupMotion &group);
    void conclude(NodeState &motor);
    void end(NodeState &motor, Record &record, VOXMotion::End how, const QString &sentence);
    void endGroup(GroupMotion &group);
    void finish(VOXMotion *motion, VOXMotion::End how, const QString &sentence);
    static Record *recordOf(NodeState &motor, quint64 id);

    NetworkCore &m_core;
    quint64 m_lastId = 0;
};

#endif

#ifndef VOX_NETWORK_VOXNETWORKNODE_H
#define VOX_NETWORK_VOXNETWORKNODE_H

#include <vox/framework/buspendingcall.h>
#include <vox/network/voxscheduler.h>

#include <QObject>

#include <memory>

class NetworkCore;
class VOXBus;
struct NodeState;

/// A node of a VOXNetwork, as it was last heard.
///
/// Owned by its network: it is destroyed after VOXNetwork::nodeRemoved(), and with the network. Used on the
/// network's thread. What is not known yet is empty. All signals come from the event loop, so a slot may
/// destroy whatever it likes.
/// @ingroup network
class VOX_NETWORK_EXPORT VOXNetworkNode : public QObject
{
    Q_OBJECT
    Q_PROPERTY(uint address READ address CONSTANT)
    Q_PROPERTY(QString addressText READ addressText CONSTANT)
    Q_PROPERTY(VOX::NodeType type READ type NOTIFY changed)
    Q_PROPERTY(QString typeName READ typeName NOTIFY changed)
    Q_PROPERTY(QString label READ label NOTIFY changed)
    Q_PROPERTY(QString serialNumber READ serialNumber NOTIFY changed)
    Q_PROPERTY(QString appVersion READ appVersion NOTIFY changed)
    Q_PROPERTY(QString stackVersion READ stackVersion NOTIFY changed)
    Q_PROPERTY(QString lastRefusal READ lastRefusal NOTIFY changed)
    Q_PROPERTY(Presence presence READ presence NOTIFY presenceChanged)

public:
    /// Whether the node is there.
    enum Presence : int {
        Unknown, ///< Not asked yet.
        Up, ///< Heard after whatever it was asked last.
        Shaky, ///< Has left a call unanswered, and is asked again after 2, 5 and 10 s.
        Down ///< Silent for three calls and 10 s. Asked again after 5 s, and ever more rarely, up to 300 s.
    };
    Q_ENUM(Presence)

    ~VOXNetworkNode() override;

    /// 24 bits.
    VOX::Addr address() const;
    /// Six hexadecimal digits.
    QString addressText() const;
    /// NODETYPE_ANY until it is known.
    VOX::NodeType type() const;
    /// The type's name without its NODETYPE_; empty until it is known.
    QString typeName() const;
    ///@{
    /// As the node has told; empty until then.
    QString label() const;
    QString serialNumber() const;
    ///@}
    ///@{
    /// As AppVersion::toString() writes it.
    QString appVersion() const;
    QString stackVersion() const;
    ///@}
    /// Unknown until it has answered, or has failed to.
    Presence presence() const;
    /// Milliseconds since a frame of the node was last heard, whoever it was for; -1 for never.
    qint64 silentForMs() const;
    /// The median of its last answers' times in milliseconds; -1 for none.
    int answerMs() const;
    /// What the node has refused last, or what was not sent because it cannot be: a sentence that says what
    /// to do. Empty if there was nothing.
    QString lastRefusal() const;
    /// Milliseconds since lastRefusal() came; -1 if there was none.
    qint64 refusedForMs() const;
    /// Whether two nodes seem to have this address, as VOXNetwork::noticed() has told.
    bool isDoubled() const;
    /// Whether it is of the older generation, which tells neither where it is nor whether it moves.
    bool isLegacy() const;

    /// Sends @p call to this node; its destination is set here. NotOpen if the network only listens.
    BusPendingCall call(const VOXCall &call, VOXScheduler::Lane lane = VOXScheduler::User);

    /// Asks for everything that the node tells, values first, as soon as the line allows.
    Q_INVOKABLE void refresh();
    /// Names the node. A label of more than 16 Latin-1 characters is not sent: the call ends with Canceled,
    /// and lastRefusal() says why.
    Q_INVOKABLE BusPendingCall setLabel(const QString &label);

Q_SIGNALS:
    /// presence() has got another value.
    void presenceChanged();
    /// Some values have changed. Emitted once for all that a frame has brought, or several frames that came
    /// together.
    void changed();

protected:
    ///@{
    /// For the library: nodes are made by their network, which shares their state.
    VOXNetworkNode(NetworkCore &core, std::unique_ptr<NodeState> state, QObject *parent);

    NodeState &state() const { return *m_state; }
    NetworkCore &core() const { return m_core; }
    ///@}
    /// Notes why a command is not sent. The result has ended with Canceled.
    BusPendingCall refuse(const QString &reason);
    /// The lane User; null, so that calls end with NotOpen, if the network only listens.
    VOXBus *userLane() const;

private:
    friend class NetworkCore;

    NetworkCore &m_core;
    const std::unique_ptr<NodeState> m_state;
};

#endif

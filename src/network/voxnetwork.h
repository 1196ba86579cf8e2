#ifndef VOX_NETWORK_VOXNETWORK_H
#define VOX_NETWORK_VOXNETWORK_H

#include <vox/network/voxnetworkmotor.h>
#include <vox/network/voxpollplan.h>

#include <QJsonArray>
#include <QObject>
#include <QVector>

#include <memory>

class NetworkCore;
class VOXBus;
struct VOXBusUrl;

/// The nodes of a bus, kept up to date: who is there, how each stands, and what is sent to them.
///
/// Nodes come by discover(), by add(), from the known nodes of the last run, and by being heard. The network
/// reads their values by its plan, notices who falls silent and who is back, and sends commands and polls by
/// a VOXScheduler of its own. Whoever else sends on this bus does it by scheduler().
///
/// Used on the bus's thread. All signals come from the event loop, so a slot may destroy the network, too.
/// @ingroup network
class VOX_NETWORK_EXPORT VOXNetwork : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Line line READ line NOTIFY lineChanged)
    Q_PROPERTY(QString lineProblem READ lineProblem NOTIFY lineChanged)
    Q_PROPERTY(bool sending READ isSending WRITE setSending NOTIFY sendingChanged)
    Q_PROPERTY(QString planStretch READ planStretch NOTIFY planStretchChanged)

public:
    /// The state of the line as a whole.
    enum Line : int {
        Closed, ///< The bus is not open. An own one is opened again every 2 s.
        Silent, ///< Three nodes in a row, or all of fewer, do not answer. One is asked every 2 s.
        Open
    };
    Q_ENUM(Line)

    /// The address that stands for all nodes in the commands for groups.
    static constexpr VOX::Addr Everyone = 0xffffff;

    /// On @p bus, which somebody else opens and closes, and which may be destroyed at any time.
    explicit VOXNetwork(VOXBus *bus, QObject *parent = nullptr);
    /// On a bus of its own, which it opens, and opens again when it has gone. A pseudo-terminal is none:
    /// nobody would be at its other end.
    explicit VOXNetwork(const VOXBusUrl &url, QObject *parent = nullptr);
    ~VOXNetwork() override;

    /// Closed until the bus has been seen open.
    Line line() const;
    /// Why the line is not Open, and what may help; else empty.
    QString lineProblem() const;
    /// Lives as long as the network.
    VOXScheduler &scheduler() const;

    /// By address.
    QVector<VOXNetworkNode *> nodes() const;
    ///@{
    /// Null if there is none, or if it is no motor.
    Q_INVOKABLE VOXNetworkNode *node(VOX::Addr addr) const;
    Q_INVOKABLE VOXNetworkMotor *motor(VOX::Addr addr) const;
    ///@}

    /// As it was set; a line that is too slow for it stretches it.
    VOXPollPlan plan() const;
    /// False, with nothing changed, if there can be no such plan; @p problem says why, in one line.
    bool setPlan(const VOXPollPlan &plan, QString *problem = nullptr);
    /// How the plan is stretched to fit the line ("positions are read each 41 s instead of 30 s"); empty if
    /// it fits, or if the line's rate is not known.
    QString planStretch() const;

    /// Whether the network sends at all.
    bool isSending() const;
    /// False only listens: nothing is sent but what somebody gives the scheduler() itself. Commands end with
    /// Invalid or NotOpen, and motions that run with NoAnswer. True at first.
    void setSending(bool isSending);

    /// The nodes, to begin with next time: addresses, types, names.
    QJsonArray knownNodes() const;
    /// Adds these nodes; their names are there at once. False, with nothing changed, if @p nodes is nothing
    /// that knownNodes() gives; @p problem names the entry.
    bool setKnownNodes(const QJsonArray &nodes, QString *problem = nullptr);

    /// Says who is in @p group, 24 bits. A command to the group is then followed up for each known member.
    void setGroup(VOX::Addr group, const QVector<VOX::Addr> &members);
    /// Everyone's are all motors.
    QVector<VOXNetworkMotor *> groupMembers(VOX::Addr group) const;

    ///@{
    /// Sends the command to a group, or to Everyone, by one frame. Then each known member is read; who
    /// neither moves nor stands right is told singly, once, unless it has got something newer. Never null;
    /// ends with Invalid if no group can have the address.
    Q_INVOKABLE VOXMotion *moveGroupTo(VOX::Addr group, int percent);
    Q_INVOKABLE VOXMotion *moveGroupUp(VOX::Addr group);
    Q_INVOKABLE VOXMotion *moveGroupDown(VOX::Addr group);
    Q_INVOKABLE VOXMotion *moveGroupToIntermediate(VOX::Addr group, int index);
    Q_INVOKABLE VOXMotion *stopGroup(VOX::Addr group);
    ///@}

public Q_SLOTS:
    /// Finds the nodes that answer a broadcast, which is repeated until two rounds bring nobody new. On a
    /// serial line the answers of many nodes overlap: few are then found, and noticed() says so.
    void discover();
    /// Asks each address from @p first to @p last, which also finds motors of the older generation. An
    /// address without a node takes 226 ms at 4800 bit/s. At most 65536 addresses. False, and discovered(0)
    /// at once, if there can be no such range; @p problem says why, in one line.
    bool discoverRange(VOX::Addr first, VOX::Addr last, QString *problem = nullptr);
    /// Adds a node without waiting for it: a motor, unless a node type in @p addr, or later the node itself,
    /// says otherwise; then another object takes its place. The node that is there already if there is one.
    /// Null if no node can have the address.
    VOXNetworkNode *add(VOX::Addr addr);
    /// Forgets a node. Its motion ends with NoAnswer.
    void remove(VOX::Addr addr);
    /// Stops all motors: by a broadcast, and then each that still runs singly. The motion ends with Arrived
    /// when all are at rest.
    VOXMotion *stopAll();

Q_SIGNALS:
    /// @p node is owned by the network. Its values may come later.
    void nodeAdded(VOXNetworkNode *node);
    /// Values or presence of a node have changed. As VOXNetworkNode's own signals, for all nodes.
    void nodeChanged(VOXNetworkNode *node);
    /// The object still lives during this signal.
    void nodeRemoved(VOX::Addr addr);
    ///@{
    /// A property has got another value. Of the line, when line() has: not for a bus that is closed from the
    /// beginning, nor when only lineProblem() has another reason.
    void lineChanged(VOXNetwork::Line line);
    void sendingChanged(bool isSending);
    void planStretchChanged();
    ///@}
    /// A discovery is over. It has added @p count nodes.
    void discovered(int count);
    /// Something that should not be: a second host, an echo, two nodes with one address, damaged answers to
    /// discover(). That nothing was noticed proves nothing.
    void noticed(const QString &sentence);

private:
    VOXMotion *moveGroup(VOX::Addr group, int kind, int value = 0);

    const std::unique_ptr<NetworkCore> m_core;
};

#endif

#ifndef VOX_NETWORK_NETWORKCORE_P_H
#define VOX_NETWORK_NETWORKCORE_P_H

#include <vox/network/discovery_p.h>
#include <vox/network/linelistener_p.h>
#include <vox/network/linewatch_p.h>
#include <vox/network/motionbook_p.h>
#include <vox/network/networknews_p.h>
#include <vox/network/nodestate_p.h>
#include <vox/network/pollplanner_p.h>
#include <vox/transport/voxbus.h>

#include <QBasicTimer>
#include <QElapsedTimer>

#include <map>

/// The works of a VOXNetwork: what is heard goes to the node that it concerns, and what is asked comes from
/// here, one question at a time.
///
/// A value's way: the bus's dispatcher, handleHeard(), takeReading(), then the planner, the motions and the
/// news. A command's way: the node, the motion book or a proxy, a lane of the scheduler. A poll's way: the
/// scheduler asks nextPoll(). What somebody waits for is not left to the polls: it goes by the lane ReadBack,
/// two at a time.
class NetworkCore : public QObject
{
    Q_OBJECT

public:
    NetworkCore(VOXNetwork &network, VOXBus *bus, std::unique_ptr<VOXBus> ownBus);
    ~NetworkCore() override;

    VOXNetwork &network() { return m_network; }
    VOXScheduler &scheduler() { return m_scheduler; }
    VOXBus *lane(VOXScheduler::Lane lane) const { return m_scheduler.lane(lane); }
    NetworkNews &news() { return m_news; }
    MotionBook &motions() { return m_motions; }
    Discovery &discovery() { return m_discovery; }
    qint64 nowMs() const { return m_clock.elapsed(); }

    ///@{
    /// The line.
    VOXNetwork::Line line() const { return m_line.line(); }
    QString lineProblem() const;
    bool isSending() const { return m_isSending; }
    void setSending(bool isSending);
    static QString notSendingText();
    ///@}

    ///@{
    /// The nodes.
    NodeState *find(VOX::Addr addr) const;
    const std::map<VOX::Addr, NodeState *> &nodes() const { return m_nodes; }
    NodeState *add(VOX::Addr addr, bool isLegacy, bool isOther = false);
    void remove(VOX::Addr addr);
    /// A node has answered: it is added, or changed to what it is. True if it is new.
    bool takeFound(VOX::Addr addr, bool isLegacy);
    /// @p frame, which was heard before @p node was there, is its answer to a question that nobody asks
    /// again.
    void takeAnswer(NodeState &node, const VOXMessage &frame);
    ///@{
    /// The host is told of it, from the event loop.
    void noteChange(NodeState &node);
    void notePresence(NodeState &node);
    ///@}
    void noteRefusal(NodeState &node, const QString &sentence);
    ///@}

    ///@{
    /// What is asked, and when.
    const VOXPollPlan &plan() const { return m_planner.plan(); }
    void setPlan(const VOXPollPlan &plan);
    QString planStretch() const { return m_toldStretch; }
    /// Asks before the polls, as soon as the line allows.
    void readSoon(NodeState &node, QuestionSet questions);
    /// Reads the state again, when a motor has had time to obey.
    void readAgain(NodeState &node);
    /// The motions of @p motor have changed.
    void noteMotion(NodeState &motor);
    /// The scheduler is to ask for a poll, if one is due earlier than it thinks.
    void wakePolls();
    ///@}

    void setGroup(VOX::Addr group, const QVector<VOX::Addr> &members);
    QVector<NodeState *> members(VOX::Addr group) const;
    void announceDiscovered(int count);
    void notice(const QString &sentence);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    // networkcore.cpp: the nodes, and what is asked.
    void remove(NodeState &node);
    void replace(NodeState &node, VOX::Addr addr, bool isLegacy, bool isOther = false);
    bool mayAsk(const NodeState &node) const;
    std::optional<VOXCall> nextPoll(int *againInMs);
    std::optional<VOXCall> nextPlanned(qint64 nowMs);
    std::optional<VOXCall> nextPatient();
    std::optional<VOXCall> nextProbe(qint64 nowMs);
    void feedReadBack();
    void updatePlan();
    void endAll();
    void tellChange(NodeState &node);

    // networkcore_line.cpp: what is heard, and what has become of calls.
    void listenTo(VOXBus *bus);
    void checkLine();
    void handleLineChange();
    void handleHeard(const BusMessage &message);
    void handleWritten(const QByteArray &frame);
    void handleFrameOf(NodeState &node, const VOXMessage &frame);
    void handleCommand(const VOXMessage &frame, bool isForeign);
    void handleAnswered(VOX::Addr addr, const BusMessage &request, const BusMessage &reply);
    void handleNack(NodeState &node, const VOXMessage &request, int status);
    void handleUnanswered(VOX::Addr addr, const BusMessage &request);
    void handleQuestionAnswered(NodeState &node, const VOXMessage &request);
    void handleSilent();
    void handleReading(NodeState &node, Question question, std::optional<double> percentBefore);
    void handleNonsense(NodeState &node, Question question);
    void becomeUp(NodeState &node, bool wasDown);
    /// False if another object has taken the place of @p node.
    bool checkType(NodeState &node, const VOXMessage &frame);

    VOXNetwork &m_network;
    QElapsedTimer m_clock;
    std::unique_ptr<VOXBus> m_ownBus;
    QPointer<VOXBus> m_bus;
    VOXScheduler m_scheduler;
    QBasicTimer m_timer;
    NetworkNews m_news;

    std::map<VOX::Addr, NodeState *> m_nodes;
    QHash<VOX::Addr, QVector<VOX::Addr>> m_groups;
    LineWatch m_line;
    LineListener m_listener;
    PollPlanner m_planner;
    QuestionQueue m_urgent{&NodeState::urgent};
    QuestionQueue m_patient{&NodeState::patient};
    MotionBook m_motions{*this};
    Discovery m_discovery{*this};

    bool m_isSending = true;
    int m_readBacks = 0;
    unsigned int m_pollTurn = 0;
    unsigned int m_patientTurn = 0;
    // When the next node that is down may be probed, and which one has been probed last on a silent line.
    qint64 m_probeMs = 0;
    VOX::Addr m_lastProbed = 0;
    // When the scheduler asks for a poll again.
    qint64 m_againMs = 0;
    QString m_toldStretch;
};

#endif

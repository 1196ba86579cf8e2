#ifndef VOX_NETWORK_POLLPLANNER_P_H
#define VOX_NETWORK_POLLPLANNER_P_H

#include <vox/network/duequeue_p.h>
#include <vox/network/question_p.h>
#include <vox/network/voxpollplan.h>

#include <random>

/// When which node is asked: by the plan at rest, more often while it moves, and again while it is silent.
class PollPlanner
{
public:
    const VOXPollPlan &plan() const { return m_plan; }
    void setPlan(const VOXPollPlan &plan) { m_plan = plan; }
    /// What the line carries, in bit/s (0 for any), and how much of that polls may take.
    void setLine(int bitsPerSecond, int maxLoadPercent);
    /// How the plan is stretched, as VOXNetwork::planStretch().
    QString stretchText() const;

    /// Enters @p node, which has just been asked everything, or is about to be.
    void add(NodeState &node, qint64 nowMs);
    void remove(NodeState &node);
    /// What was noted below, its presence or its motions have changed.
    void update(NodeState &node);

    ///@{
    /// Something was heard of @p node: its status; its position, which was the same as before or not; any
    /// frame.
    void noteStatus(NodeState &node, qint64 nowMs);
    void notePosition(NodeState &node, bool hasMoved, qint64 nowMs);
    void noteFrame(NodeState &node, qint64 nowMs);
    /// It was asked @p question, and has not answered.
    void noteUnanswered(NodeState &node, Question question, qint64 nowMs);
    ///@}
    /// @p node has got a command, or needs another look: it is read when it has had time to obey.
    void noteCommand(NodeState &node, qint64 nowMs);

    /// The one that is due first; null if there is none.
    NodeState *first() const;
    /// The one that is to be asked now; null if none is due. Motors that somebody follows go first.
    NodeState *due(qint64 nowMs) const;
    /// Puts off a node that may not be asked yet.
    void putOff(NodeState &node, qint64 untilMs);
    /// True if it is time to read all settings of @p node once more, which is then noted as done.
    bool takeSettings(NodeState &node, qint64 nowMs);
    /// What to ask @p node, which is due. It then waits for its next time.
    Question takeQuestion(NodeState &node, qint64 nowMs);

    /// From -1 to 1.
    double spread();

private:
    double costMs(int answerBytes) const;
    double share() const;
    double stretch() const;
    qint64 movingMs() const;
    qint64 after(qint64 nowMs, int periodMs);
    qint64 afterReading(qint64 nowMs, int periodMs, bool *isSpread);
    void count(NodeState &node, bool isCounted);
    DueQueue &queueOf(const NodeState &node);

    VOXPollPlan m_plan;
    int m_bitsPerSecond = 0;
    double m_maxShare = 1;
    DueQueue m_queue;
    DueQueue m_watched;
    // What makes the load: motors that tell where they are, other nodes, and motors that move.
    int m_motors = 0;
    int m_others = 0;
    int m_moving = 0;
    std::minstd_rand m_random;
};

#endif

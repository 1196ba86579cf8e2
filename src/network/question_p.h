#ifndef VOX_NETWORK_QUESTION_P_H
#define VOX_NETWORK_QUESTION_P_H

#include <vox/messages/voxcall.h>

#include <QFlags>

#include <deque>
#include <optional>

struct NodeState;

/// What a node can be asked, the more important first. Each is a bit of a set.
enum class Question : unsigned short {
    Status = 0x001,
    Position = 0x002,
    Label = 0x004,
    Serial = 0x008,
    AppVersion = 0x010,
    StackVersion = 0x020,
    Limits = 0x040,
    Lock = 0x080,
    Speeds = 0x100,
    AppMode = 0x200,
    Intermediate = 0x400
};
Q_DECLARE_FLAGS(QuestionSet, Question)
Q_DECLARE_OPERATORS_FOR_FLAGS(QuestionSet)

namespace Questions {

/// Where the motor is, and whether it moves.
constexpr QuestionSet Values = QuestionSet(Question::Status) | Question::Position;

/// All that this kind of node tells.
QuestionSet of(const NodeState &node);
/// The one that shows whether the node is there.
Question heartbeat(const NodeState &node);
/// The call that asks it. @p index is that of an intermediate position, from 1.
VOXCall call(const NodeState &node, Question question, int index = 1);
/// Which one the request @p cmd asks; empty for others.
std::optional<Question> askedBy(const NodeState &node, unsigned char cmd);
/// What has to be read after @p cmd, a setting, was acknowledged.
QuestionSet changedBy(const NodeState &node, unsigned char cmd);
/// What a request of an intermediate position, or a setting of one, is about.
int indexOf(const NodeState &node, const VOXMessage &request);

}

/// Nodes that are to be asked something: they take turns, and of each the most important question goes first.
class QuestionQueue
{
public:
    /// The member of NodeState that holds what is to be asked.
    struct Entry
    {
        QuestionSet questions;
        bool isQueued = false;
    };

    explicit QuestionQueue(Entry NodeState::*entry)
        : m_entry(entry)
    {
    }

    void add(NodeState &node, QuestionSet questions);
    /// Forgets the node and its questions.
    void remove(NodeState &node);
    bool isEmpty() const { return m_nodes.empty(); }
    /// Takes the next question of a node for which @p mayAsk holds. Others leave the queue, and keep their
    /// questions for the next add(). Null if there is none.
    template <typename Condition>
    NodeState *take(Question *question, Condition mayAsk)
    {
        while (NodeState *node = pop()) {
            if (!mayAsk(*node))
                continue;
            *question = takeFirst(*node);
            return node;
        }
        return nullptr;
    }

private:
    NodeState *pop();
    Question takeFirst(NodeState &node);

    Entry NodeState::*const m_entry;
    std::deque<NodeState *> m_nodes;
};

#endif

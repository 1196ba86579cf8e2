#ifndef VOX_SIMULATION_RECORDEDANSWERS_P_H
#define VOX_SIMULATION_RECORDEDANSWERS_P_H

#include <vox/simulation/nodeanswer_p.h>
#include <vox/simulation/nodequery_p.h>

#include <QMap>

class VOXJsonPlace;
class KVRDevice;

/// The answers of an emulated node that were recorded from another one, by request.
///
/// Each goes before what the node would answer by itself, until that is no longer what it was when they were
/// read: a host, or anything else, has changed what the answer is about. So a motor whose position was
/// recorded still moves.
class RecordedAnswers
{
public:
    /// Reads an object: requests as by NodeQuery, and NodeAnswers. A request without data is one with any.
    static void read(KVRDevice &node, const VOXJsonPlace &place);

    /// Whether @p request has one.
    bool isFor(const VOXMessage &request) const { return find(NodeQuery::of(request)) != m_answers.end(); }
    /// What @p node, to which these belong, answers to @p request, which has one.
    VOXMessage answerOf(KVRDevice &node, const VOXMessage &request);
    /// Forgets the answers that have ended by what @p node has been told to do.
    void review(KVRDevice &node);

private:
    struct Answer
    {
        NodeAnswer recorded;
        /// What the node would have answered at first.
        NodeAnswer own;

        bool holds(KVRDevice &node, const NodeQuery &query) const;
    };
    QMap<NodeQuery, Answer>::const_iterator find(const NodeQuery &query) const;

    QMap<NodeQuery, Answer> m_answers;
};

/// An emulated node, seen as one that may have recorded answers.
class AnsweringNode
{
public:
    virtual ~AnsweringNode() = default;
    /// What it answers to @p request without them.
    virtual VOXMessage ownAnswer(const VOXMessage &request) = 0;

    /// Read last of all its settings, because each of these may change what the node answers by itself.
    RecordedAnswers recorded;
};

#endif

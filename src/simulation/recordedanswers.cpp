#include "simulation/recordedanswers_p.h"

#include "devices/hrmv2stub.h"
#include "simulation/voxjsonplace_p.h"

namespace {
AnsweringNode *answeringNode(KVRDevice &node)
{
    return dynamic_cast<AnsweringNode *>(&node);
}
}

void RecordedAnswers::read(KVRDevice &node, const VOXJsonPlace &place)
{
    AnsweringNode *const answering = answeringNode(node);
    const NodeQuery::Set set = qobject_cast<HRMv2Stub *>(&node) ? NodeQuery::Older : NodeQuery::Current;
    const QStringList names = place.keys();
    for (const QString &name : names) {
        NodeQuery query;
        Answer answer;
        if (!NodeQuery::read(name, set, &query))
            place[name].fail(QStringLiteral("is no query, such as GET_GROUP_ADDR, or GET_GROUP_ADDR 0F with "
                                            "its data in hexadecimal digits"));
        else if (!NodeAnswer::read(place[name].value(), query, &answer.recorded))
            place[name].fail(QStringLiteral("is to be data in hexadecimal digits, such as '00 FF', or NACK "
                                            "and its name, ACK, or null for none"));
        answer.own = NodeAnswer::of(answering->ownAnswer(query.to(node.addr())));
        answering->recorded.m_answers.insert(query, answer);
    }
}

QMap<NodeQuery, RecordedAnswers::Answer>::const_iterator RecordedAnswers::find(const NodeQuery &query) const
{
    const auto exact = m_answers.constFind(query);
    return exact != m_answers.constEnd() ? exact : m_answers.constFind({query.cmd, QByteArray()});
}

bool RecordedAnswers::Answer::holds(KVRDevice &node, const NodeQuery &query) const
{
    const int refusal = own.refusal();
    // A command that it does not know it will not know later.
    if (refusal == KVR::NACK_BADMSG || refusal == KVR::NACK_FEATURE_NOT_SUPPORTED)
        return true;
    return NodeAnswer::of(answeringNode(node)->ownAnswer(query.to(node.addr()))) == own;
}

VOXMessage RecordedAnswers::answerOf(KVRDevice &node, const VOXMessage &request)
{
    const auto found = find(NodeQuery::of(request));
    if (found->holds(node, found.key()))
        return found->recorded.toFrame(node, request);
    m_answers.remove(NodeQuery(found.key()));
    return answeringNode(node)->ownAnswer(request);
}

void RecordedAnswers::review(KVRDevice &node)
{
    for (auto answer = m_answers.begin(); answer != m_answers.end();)
        answer = answer->holds(node, answer.key()) ? std::next(answer) : m_answers.erase(answer);
}

#ifndef VOX_SIMULATION_NODERECORD_P_H
#define VOX_SIMULATION_NODERECORD_P_H

#include <vox/simulation/nodeanswer_p.h>
#include <vox/simulation/nodequery_p.h>

#include <QJsonObject>
#include <QMap>
#include <QStringList>

/// What is known of a node by its answers, and the entry of a network file that answers like it. A value.
class NodeRecord
{
public:
    explicit NodeRecord(VOX::Addr addr = 0)
        : m_addr(addr)
    {
    }

    ///@{
    /// With the node type in bits 24 to 27, as soon as an answer has told it.
    VOX::Addr addr() const { return m_addr; }
    /// Older only once that has been set, or if the node type tells it.
    NodeQuery::Set set() const;
    void setSet(NodeQuery::Set set) { m_set = set; }
    ///@}

    /// The node has answered @p query with @p frame, or not at all if that is invalid. The last answer goes;
    /// but silence never replaces an answer.
    void note(const NodeQuery &query, const VOXMessage &frame);
    /// The node would answer @p query as it has answered another one.
    void infer(const NodeQuery &query, const NodeAnswer &answer) { m_inferred.insert(query, answer); }

    bool isKnown(const NodeQuery &query) const
    {
        return m_answers.contains(query) || m_inferred.contains(query);
    }
    /// Whether it was asked this, and has never answered.
    bool isUnanswered(const NodeQuery &query) const
    {
        return m_answers.contains(query) && m_answers.value(query).isSilence();
    }
    /// Whether it has answered anything.
    bool hasAnswered() const;
    /// Whether it was moving when it was asked last.
    bool isMoving() const;

    ///@{
    /// Requests by their names: those that were refused, with the status; those that nobody answered; and
    /// the commands that were not asked with all they take.
    QStringList refused() const;
    QStringList unanswered() const;
    QStringList unknown() const;
    ///@}

    /// The emulated model that stands for it.
    QString model() const;
    /// The entry: settings where these make the model answer as the node has, and answers for the rest.
    QJsonObject toJson() const;

    ///@{
    /// What the node has answered to @p cmd, field by field, with the byte @p argument as its data if that
    /// is not negative. Empty if it has not answered with data.
    QJsonObject fields(int cmd, int argument = -1) const;
    QByteArray data(int cmd, int argument = -1) const;
    ///@}

private:
    VOX::Addr m_addr;
    NodeQuery::Set m_set = NodeQuery::Current;
    QMap<NodeQuery, NodeAnswer> m_answers;
    QMap<NodeQuery, NodeAnswer> m_inferred;
};

#endif

#ifndef VOX_SIMULATION_NODEQUERY_P_H
#define VOX_SIMULATION_NODEQUERY_P_H

#include <vox/messages/voxcall.h>

#include <QByteArray>
#include <QString>
#include <QVector>

/// A question to a node: a query, and the data that it takes, such as an index. A value.
struct NodeQuery
{
    /// The command set that a node speaks. Some ids mean something else in the other one.
    enum Set { Current, Older };

    ///@{
    /// All that nodes of a set can be asked, with each index and function; what matters most comes first. The
    /// few that matter most, alone.
    static QVector<NodeQuery> all(Set set);
    static QVector<NodeQuery> essential(Set set);
    ///@}
    /// Whether @p cmd only asks, and is answered by data.
    static bool isQuery(unsigned char cmd);
    /// The question that the frame @p request asks. Its command is to be a query.
    static NodeQuery of(const VOXMessage &request);

    ///@{
    /// As text: the command's name, and the data in hexadecimal digits, as in "GET_GROUP_ADDR 0F". A name of
    /// the set that is not spoken stands behind "HRMv2::" or "KVR::". read() is false if @p name is
    /// no question.
    QString name(Set set) const;
    static bool read(const QString &name, Set set, NodeQuery *query);
    ///@}

    /// The request to the node @p addr, whatever its type.
    VOXCall to(VOX::Addr addr) const;
    /// The command of the answer with data.
    unsigned char reply() const;

    /// Whether @p frame, which comes from the node that was asked, answers this: with data, which is not of
    /// another index, or by a refusal.
    bool isAnswer(const VOXMessage &frame) const;
    /// Whether a refusal with @p status of this question goes for all later ones of its command: the command
    /// is unknown, or the index is past the last one.
    bool isLast(int status) const;

    bool operator==(const NodeQuery &other) const { return cmd == other.cmd && data == other.data; }
    bool operator<(const NodeQuery &other) const
    {
        return cmd != other.cmd ? cmd < other.cmd : data < other.data;
    }

    unsigned char cmd = 0;
    /// In logical form.
    QByteArray data;
};

#endif

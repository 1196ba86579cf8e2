#ifndef VOX_SIMULATION_NODEANSWER_P_H
#define VOX_SIMULATION_NODEANSWER_P_H

#include <vox/messages/voxmessage.h>

#include <QJsonValue>

struct NodeQuery;
class VOXNode;

/// What a node answers to a query: data, a refusal, a bare acknowledgement, or nothing. A value.
struct NodeAnswer
{
    /// The answer that @p frame is; an invalid one is silence.
    static NodeAnswer of(const VOXMessage &frame);

    ///@{
    /// As a network file has it: the data in hexadecimal digits, "NACK" and the name of its status, "ACK", or
    /// null for silence. read() is false if @p value is no answer to @p query.
    QJsonValue toJson() const;
    static bool read(const QJsonValue &value, const NodeQuery &query, NodeAnswer *answer);
    ///@}

    bool isSilence() const { return bytes.isEmpty(); }
    /// The status of a refusal; -1 for any other answer.
    int refusal() const;
    /// The name of the status of a refusal; empty for any other answer.
    QString refusalName() const;
    /// Only the data of an answer with data.
    QByteArray data() const { return bytes.mid(1); }

    /// A frame with this command and data, and no addresses.
    VOXMessage toFrame() const;
    /// The frame with which @p node answers @p request; invalid for silence, and for a refusal or
    /// acknowledgement that @p request does not ask for.
    VOXMessage toFrame(const VOXNode &node, const VOXMessage &request) const;

    bool operator==(const NodeAnswer &other) const { return bytes == other.bytes; }
    bool operator!=(const NodeAnswer &other) const { return bytes != other.bytes; }

    /// Command and data; no bytes for silence.
    QByteArray bytes;
};

#endif

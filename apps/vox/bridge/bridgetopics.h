#ifndef BRIDGETOPICS_H
#define BRIDGETOPICS_H

#include <QByteArray>
#include <QString>

#include <optional>

/// Whom a command is for.
struct BridgeTarget
{
    enum Kind { Node, Group, All };

    bool operator==(const BridgeTarget &other) const { return kind == other.kind && addr == other.addr; }
    /// For tables.
    quint64 key() const { return (quint64{static_cast<unsigned>(kind)} << 32) | addr; }

    Kind kind = Node;
    unsigned int addr = 0;
};

/// The names of the topics of one line. Addresses are six upper-case digits.
class LineTopics
{
public:
    /// The longest topic that is looked at.
    static constexpr int MaxTopic = 128;

    enum Inbound { Set, PositionSet, Rpc };
    /// What a topic asks for.
    struct Request
    {
        Inbound inbound = Set;
        BridgeTarget target;
    };

    LineTopics(const QString &prefix, const QString &line);

    /// Of the line itself: "availability", "stats", "bridge".
    QByteArray line(const char *leaf) const { return m_base + leaf; }
    /// Of a node, of a group, or of all.
    QByteArray of(const BridgeTarget &target, const char *leaf) const;
    /// Reads a topic that somebody has sent; addresses may be in lower case. Empty if it is no topic of this
    /// line that is obeyed.
    std::optional<Request> read(const QByteArray &topic) const;
    QByteArray base() const { return m_base; }

private:
    QByteArray m_base;
};

#endif

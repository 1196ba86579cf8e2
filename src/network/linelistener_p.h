#ifndef VOX_NETWORK_LINELISTENER_P_H
#define VOX_NETWORK_LINELISTENER_P_H

#include <vox/messages/voxmessage.h>

#include <QString>

#include <array>

struct NodeState;

/// Tells frames of nodes from those of hosts, and notices what should not be on a line.
class LineListener
{
public:
    enum Kind : int {
        OfNode, ///< Has a node for its source.
        OfHost, ///< A command of somebody else, to a node, a group or all.
        OfUs ///< What was just written here, and comes back.
    };

    /// The line was opened: everything may be noticed once more.
    void reset() { *this = LineListener(); }
    void handleWritten(const QByteArray &frame, qint64 nowMs);
    /// @p noticed becomes a sentence if there is something to notice for the first time. For who only listens
    /// another host is no second one, but the first.
    Kind examine(const VOXMessage &frame, qint64 nowMs, bool isSending, QString *noticed);
    /// Whether @p frame, which has come from the address of @p node, cannot be of the same node. The sentence
    /// says so, once.
    static QString compare(const NodeState &node, const VOXMessage &frame);

private:
    struct Written
    {
        QByteArray frame;
        qint64 ms = 0;
    };

    bool takeEcho(const QByteArray &frame, qint64 nowMs);

    // What was written last; a frame's bytes are shared, not copied.
    std::array<Written, 4> m_written;
    std::size_t m_next = 0;
    bool m_hasEcho = false;
    bool m_hasOtherHost = false;
};

#endif

#ifndef VOX_NETWORK_LINEWATCH_P_H
#define VOX_NETWORK_LINEWATCH_P_H

#include <vox/network/voxnetwork.h>

#include <vector>

/// Whether the line carries anything at all.
class LineWatch
{
public:
    static constexpr int ProbeMs = 2000;

    VOXNetwork::Line line() const { return m_line; }
    /// Opened or closed. True if that changes the line.
    bool setOpen(bool isOpen);
    /// A frame of @p node was heard. True if that changes the line.
    bool handleHeard(VOX::Addr node);
    /// @p node, one of @p nodeCount, has left a call unanswered. True if the line is silent now.
    bool handleUnanswered(VOX::Addr node, int nodeCount);
    void remove(VOX::Addr node);

    /// The node that decides whether the line is silent, if it has to be asked now; else 0.
    VOX::Addr takeSuspect();
    /// When the silent line is probed next.
    qint64 probeMs() const { return m_probeMs; }
    void noteProbe(qint64 nowMs) { m_probeMs = nowMs + ProbeMs; }
    /// Which node is the first to be asked on a silent line; 0 for any.
    VOX::Addr lastAnswered() const { return m_lastAnswered; }

private:
    VOXNetwork::Line m_line = VOXNetwork::Closed;
    // Who has not answered since somebody has; few, because the line is silent then.
    std::vector<VOX::Addr> m_unanswered;
    VOX::Addr m_lastAnswered = 0;
    VOX::Addr m_suspect = 0;
    qint64 m_probeMs = 0;
};

#endif

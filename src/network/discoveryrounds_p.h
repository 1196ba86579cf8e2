#ifndef VOX_NETWORK_DISCOVERYROUNDS_P_H
#define VOX_NETWORK_DISCOVERYROUNDS_P_H

#include <vox/messages/kvr.h>
#include <vox/messages/voxcall.h>

/// The rounds of a discovery: a broadcast that all nodes answer, again until two in a row have brought nobody
/// new. An answer, or the broadcast, may be lost.
class DiscoveryRounds
{
public:
    /// Asks everybody for his address, and collects until no more answers come.
    static VOXCall question()
    {
        return VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST,
                       VOXCall::DefaultSharedTimeout);
    }

    /// With @p fixed there are so many rounds, whatever they bring; 0 for as many as it takes.
    explicit DiscoveryRounds(int fixed = 0)
        : m_fixed(fixed)
    {
    }

    /// A round is over, and has brought @p found nodes that none before has.
    void handleRound(int found)
    {
        ++m_count;
        m_withoutNews = found > 0 ? 0 : m_withoutNews + 1;
    }
    bool isOver() const { return m_fixed > 0 ? m_count >= m_fixed : m_withoutNews >= UntilSure; }
    int count() const { return m_count; }

private:
    static constexpr int UntilSure = 2;

    int m_fixed;
    int m_count = 0;
    int m_withoutNews = 0;
};

#endif

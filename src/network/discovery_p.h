#ifndef VOX_NETWORK_DISCOVERY_P_H
#define VOX_NETWORK_DISCOVERY_P_H

#include "network/discoveryrounds_p.h"

#include <QHash>

#include <deque>
#include <optional>

class NetworkCore;
class BusPendingCall;

/// Finds nodes: by broadcasts, address by address, and by listening.
class Discovery
{
public:
    explicit Discovery(NetworkCore &core)
        : m_core(core)
    {
    }

    void start();
    /// Empty, or why there can be no such range.
    QString startRange(VOX::Addr first, VOX::Addr last);
    /// Ends what is under way: nothing can be sent.
    void abort();

    /// A frame of an address that is no node of the network was heard.
    void handleStranger(const VOXMessage &frame);
    /// A frame has come damaged. During a broadcast it may be the answers of several nodes.
    void handleDamaged() { m_isDamaged = true; }
    /// Lets @p addr be asked which generation it is of.
    void check(VOX::Addr addr);
    ///@{
    /// A question to @p addr has been answered, or not.
    void handleAnswered(VOX::Addr addr, const VOXMessage &reply);
    void handleUnanswered(VOX::Addr addr);
    ///@}
    bool hasQuestion() const { return m_isOlderNext || (m_asked == 0 && (m_range || !m_strangers.empty())); }
    /// The next question to a single address; one at a time.
    std::optional<VOXCall> nextQuestion();

private:
    struct Range
    {
        VOX::Addr next = 0;
        VOX::Addr last = 0;
    };

    void sendRound();
    void handleRound(const BusPendingCall &call);
    void endRounds();
    void endRange();
    VOX::Addr takeAddress();
    void addNode(VOX::Addr addr, bool isLegacy);

    NetworkCore &m_core;

    // By broadcasts.
    bool m_isRunning = false;
    DiscoveryRounds m_rounds;
    int m_foundInRound = 0;
    bool m_isDamaged = false;
    int m_found = 0;

    // One by one.
    std::optional<Range> m_range;
    int m_foundInRange = 0;
    /// Addresses that were heard, and when they were.
    std::deque<VOX::Addr> m_strangers;
    QHash<VOX::Addr, qint64> m_askedMs;
    /// The address that is being asked, or 0: first by the newer command set, and if it refuses that, by the
    /// older one.
    VOX::Addr m_asked = 0;
    bool m_isOlderNext = false;
    bool m_isAskedOlder = false;
};

#endif

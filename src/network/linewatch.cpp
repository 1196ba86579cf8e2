#include "network/linewatch_p.h"

#include <algorithm>
#include <utility>

namespace {
constexpr int UnansweredUntilSilent = 3;
}

bool LineWatch::setOpen(bool isOpen)
{
    if (isOpen == (m_line != VOXNetwork::Closed))
        return false;
    m_line = isOpen ? VOXNetwork::Open : VOXNetwork::Closed;
    m_unanswered.clear();
    m_suspect = 0;
    m_probeMs = 0;
    return true;
}

bool LineWatch::handleHeard(VOX::Addr node)
{
    m_lastAnswered = node;
    m_suspect = 0;
    m_unanswered.clear();
    if (m_line != VOXNetwork::Silent)
        return false;
    m_line = VOXNetwork::Open;
    return true;
}

bool LineWatch::handleUnanswered(VOX::Addr node, int nodeCount)
{
    const auto has = [this](VOX::Addr each) {
        return std::find(m_unanswered.cbegin(), m_unanswered.cend(), each) != m_unanswered.cend();
    };
    if (m_line != VOXNetwork::Open)
        return false;
    if (!has(node))
        m_unanswered.push_back(node);
    if (static_cast<int>(m_unanswered.size()) < std::min(UnansweredUntilSilent, nodeCount))
        return false;
    // The others may simply have gone.
    if (m_lastAnswered != 0 && !has(m_lastAnswered)) {
        m_suspect = m_lastAnswered;
        return false;
    }
    m_line = VOXNetwork::Silent;
    return true;
}

void LineWatch::remove(VOX::Addr node)
{
    m_unanswered.erase(std::remove(m_unanswered.begin(), m_unanswered.end(), node), m_unanswered.end());
    if (m_lastAnswered == node)
        m_lastAnswered = 0;
    if (m_suspect == node)
        m_suspect = 0;
}

VOX::Addr LineWatch::takeSuspect()
{
    return std::exchange(m_suspect, 0);
}

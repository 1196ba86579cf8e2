#include "vox/line/linelabels.h"

#include "messages/kvr.h"

void LineLabels::hear(const LineItem &item)
{
    if (!item.isTaken())
        return;
    const VOXMessage &frame = item.frame;
    const unsigned int source = frame.srcAddr(false);
    const auto label = [&frame] {
        return VOXField::toVariantMap(frame).value(QStringLiteral("label")).toString();
    };
    if (frame.cmd() == KVR::SET_NODE_LABEL) {
        m_asked = frame.addrType() == VOX::P2P ? frame.destAddr(false) : 0;
        m_wanted = label();
        return;
    }
    const bool isAcknowledged = frame.cmd() == KVR::ACK && source == m_asked;
    const bool isTold = isAcknowledged || frame.cmd() == KVR::POST_NODE_LABEL;
    if (isTold && (m_labels.size() < MaxNodes || m_labels.contains(source)))
        m_labels.insert(source, isAcknowledged ? m_wanted : label());
    // The next acknowledgement is for something else.
    if (source == m_asked || frame.destAddr(false) == m_asked)
        m_asked = 0;
}

#include "proxies/voxnode.h"

#include "messages/voxmessage.h"
#include "transport/voxbus.h"

VOXNode::VOXNode(unsigned int addr, Bus *bus, QObject *parent)
    : BusObject(bus, parent)
    , m_addr(addr)
{
    VOX::registerMetaTypes();
    qRegisterMetaType<VOXBus *>();
}

VOXNode::~VOXNode() = default;

unsigned int VOXNode::addr(bool full) const
{
    return full ? m_addr : m_addr & VOX::AddrMask;
}

VOX::NodeType VOXNode::type() const
{
    return VOX::getType(m_addr);
}

bool VOXNode::hasSent(const BusMessage &frame) const
{
    const VOXMessage message(frame);
    return message.isValid() && message.srcAddr(false) == addr(false);
}

void VOXNode::setType(VOX::NodeType type)
{
    m_addr = VOX::makeAddr(type, static_cast<int>(m_addr));
}

bool VOXNode::storeAddr(unsigned int addr)
{
    if (addr == m_addr)
        return false;
    m_addr = VOX::getType(addr) == VOX::NODETYPE_ANY ? VOX::makeAddr(type(), static_cast<int>(addr)) : addr;
    return true;
}

void VOXNode::setAddr(unsigned int addr)
{
    if (storeAddr(addr))
        Q_EMIT addrChanged(m_addr);
}

bool VOXNode::attach(Bus *bus)
{
    auto *voxBus = qobject_cast<VOXBus *>(bus);
    return voxBus && attach(voxBus);
}

bool VOXNode::attach(VOXBus *bus)
{
    if (bus)
        return BusObject::attach(bus);
    detach();
    return true;
}

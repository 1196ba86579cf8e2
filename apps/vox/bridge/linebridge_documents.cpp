#include "network/voxnetwork.h"
#include "vox/bridge/linebridge.h"
#include "vox/bridge/publisher.h"

namespace {
/// Names, serial number and versions come one after the other.
constexpr qint64 DocumentMs = 2000;

size_t keyOf(const VOXNetworkMotor &motor)
{
    const QStringList words{motor.label(), motor.typeName(), motor.serialNumber(), motor.appVersion()};
    return qHash(words.join(QLatin1Char('\n'))) ^ (motor.percent() ? 1 : 2);
}
}

void LineBridge::checkDocument(const VOXNetworkMotor &motor, Pace &pace)
{
    // A motor that was never heard would come as one without a position. If the broker knows it, it stays as
    // it was.
    const bool isTold = motor.hasToldPosition() || (motor.isLegacy() && isHere(motor))
        || (motor.presence() == VOXNetworkNode::Down && !m_remembered.contains(motor.address()));
    const size_t key = keyOf(motor);
    if (!isTold || key == pace.documentKey)
        return;
    pace.documentKey = key;
    if (pace.documentDueMs == 0)
        pace.documentDueMs = m_clock.elapsed() + DocumentMs;
}

QString LineBridge::areaOf(unsigned int addr) const
{
    for (const auto &[group, config] : m_line.groups) {
        if (config.members.contains(addr) && !config.name.isEmpty())
            return config.name;
    }
    return {};
}

void LineBridge::sayDocument(const VOXNetworkMotor &motor, Pace &pace)
{
    pace.documentDueMs = 0;
    DiscoveryDocument::Cover cover;
    cover.target.addr = motor.address();
    cover.name = labelText(motor.label());
    cover.type = motor.typeName();
    cover.serial = labelText(motor.serialNumber());
    cover.version = motor.appVersion();
    cover.area = areaOf(motor.address());
    cover.deviceClass = m_line.node(motor.address()).deviceClass;
    cover.hasPosition = motor.percent().has_value();
    cover.hasWink = !motor.isLegacy();
    m_publisher.set(DocumentOrders + pace.order, m_documents.topic(cover.target), m_documents.cover(cover),
                    1);
    if (m_publisher.payload(m_topics.of(cover.target, "health")).isEmpty())
        sayHealth(motor);
}

void LineBridge::sayLineDocuments()
{
    const QString bus = m_line.bus.text.section(QLatin1Char('?'), 0, 0);
    m_publisher.set(DocumentOrders + m_order, m_documents.topic(), m_documents.lineDocument(bus), 1);
    int order = DocumentOrders + m_order + GroupOrders;
    for (const auto &[addr, group] : m_line.groups) {
        DiscoveryDocument::Cover cover;
        cover.target = {BridgeTarget::Group, addr};
        cover.name = group.name;
        cover.deviceClass = NodeConfig().deviceClass;
        cover.hasPosition = true;
        cover.isNode = false;
        m_publisher.set(order, m_documents.topic(cover.target), m_documents.cover(cover), 1);
        order += Publisher::UnitSize;
    }
    m_areGroupsNews = !m_line.groups.empty();
}

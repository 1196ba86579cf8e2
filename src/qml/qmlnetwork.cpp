#include "qml/qmlnetwork_p.h"

#include "transport/voxbus.h"
#include "transport/voxbusurl.h"

#include <QJSValueIterator>

#include <utility>

namespace {
std::unique_ptr<VOXNetwork> makeClosedNetwork()
{
    return std::make_unique<VOXNetwork>(static_cast<VOXBus *>(nullptr));
}

/// Null if there can be no such bus; @p problem says why.
std::unique_ptr<VOXNetwork> makeNetwork(const QString &bus, QString *problem)
{
    VOXBusUrl url;
    if (!VOXBusUrl::read(bus, &url, problem))
        return nullptr;
    if (url.kind != VOXBusUrl::Pty)
        return std::make_unique<VOXNetwork>(url);
    *problem = QStringLiteral("pty: is no bus for a page: nobody would be at its other end");
    return nullptr;
}

struct PlanRow
{
    QLatin1String name;
    int VOXPollPlan::*time;
};

const PlanRow planRows[] = {
    {QLatin1String("positionMs"), &VOXPollPlan::positionMs},
    {QLatin1String("statusMs"), &VOXPollPlan::statusMs},
    {QLatin1String("settingsMs"), &VOXPollPlan::settingsMs},
    {QLatin1String("movingMs"), &VOXPollPlan::movingMs},
};
}

QmlNetwork::QmlNetwork(QObject *parent)
    : QObject(parent)
    , m_busProblem(QStringLiteral("No bus is named yet."))
    , m_network(makeClosedNetwork())
    , m_source(m_network.get())
{
}

QmlNetwork::~QmlNetwork()
{
    setSource(nullptr);
}

void QmlNetwork::setBus(const QString &bus)
{
    if (bus == m_bus)
        return;
    m_bus = bus;
    m_busProblem.clear();
    // Two buses would share the port.
    useNetwork(makeClosedNetwork());
    if (std::unique_ptr<VOXNetwork> network = makeNetwork(bus, &m_busProblem))
        useNetwork(std::move(network));
    else
        qmlWarning(this) << m_busProblem;
    Q_EMIT busChanged();
    Q_EMIT lineChanged();
    Q_EMIT planStretchChanged();
}

void QmlNetwork::setSource(VOXNetwork *source)
{
    m_source = source;
    Q_EMIT sourceChanged();
}

/// Models hear of it before the nodes go. What a page does then still meets a network.
void QmlNetwork::useNetwork(std::unique_ptr<VOXNetwork> network)
{
    setSource(nullptr);
    m_network = std::move(network);
    m_network->setPlan(m_plan);
    m_network->setSending(m_isSending);
    for (auto group = m_groups.cbegin(); group != m_groups.cend(); ++group)
        m_network->setGroup(group.key(), *group);
    connect(m_network.get(), &VOXNetwork::lineChanged, this, &QmlNetwork::lineChanged);
    connect(m_network.get(), &VOXNetwork::planStretchChanged, this, &QmlNetwork::planStretchChanged);
    connect(m_network.get(), &VOXNetwork::nodeAdded, this,
            [this](VOXNetworkNode *node) { Q_EMIT nodeAdded(item(node)); });
    connect(m_network.get(), &VOXNetwork::nodeRemoved, this, &QmlNetwork::nodeRemoved);
    connect(m_network.get(), &VOXNetwork::discovered, this, &QmlNetwork::discovered);
    connect(m_network.get(), &VOXNetwork::noticed, this, &QmlNetwork::noticed);
    setSource(m_network.get());
}

QString QmlNetwork::lineProblem() const
{
    return m_busProblem.isEmpty() ? m_network->lineProblem() : m_busProblem;
}

void QmlNetwork::setSending(bool isSending)
{
    if (std::exchange(m_isSending, isSending) == isSending)
        return;
    m_network->setSending(isSending);
    Q_EMIT sendingChanged();
}

QmlNode *QmlNetwork::item(VOXNetworkNode *node)
{
    if (!node)
        return nullptr;
    QmlNode *&item = m_items[node];
    if (!item) {
        auto *const motor = qobject_cast<VOXNetworkMotor *>(node);
        item = motor ? new QmlMotor(motor, this) : new QmlNode(node, this);
        // A handler of one of its own signals may be what removes it.
        connect(node, &QObject::destroyed, item, [this, node] { m_items.take(node)->deleteLater(); });
    }
    return item;
}

QmlNode *QmlNetwork::node(const QJSValue &addr)
{
    PageArguments arguments(this, "node");
    const VOX::Addr node = arguments.node(addr);
    return arguments.areRight() ? item(m_network->node(node)) : nullptr;
}

QmlMotor *QmlNetwork::motor(const QJSValue &addr)
{
    PageArguments arguments(this, "motor");
    const VOX::Addr node = arguments.node(addr);
    return arguments.areRight() ? qobject_cast<QmlMotor *>(item(m_network->node(node))) : nullptr;
}

QmlNode *QmlNetwork::add(const QJSValue &addr)
{
    PageArguments arguments(this, "add");
    const VOX::Addr node = arguments.node(addr);
    return arguments.areRight() ? item(m_network->add(node)) : nullptr;
}

void QmlNetwork::remove(const QJSValue &addr)
{
    PageArguments arguments(this, "remove");
    const VOX::Addr node = arguments.node(addr);
    if (arguments.areRight())
        m_network->remove(node);
}

void QmlNetwork::discover()
{
    m_network->discover();
}

void QmlNetwork::discoverRange(const QJSValue &first, const QJSValue &last)
{
    PageArguments arguments(this, "discoverRange");
    const VOX::Addr begin = arguments.node(first);
    const VOX::Addr end = arguments.node(last);
    if (arguments.areRight() && (begin > end || end - begin > 0xffff))
        arguments.check(QStringLiteral("a range is 1 to 65536 addresses, the lowest one first"));
    if (arguments.areRight())
        m_network->discoverRange(begin, end);
}

VOXMotion *QmlNetwork::stopAll()
{
    return m_network->stopAll();
}

void QmlNetwork::setGroup(const QJSValue &group, const QJSValue &members)
{
    PageArguments arguments(this, "setGroup");
    const VOX::Addr addr = arguments.group(group);
    const QVector<VOX::Addr> nodes = arguments.nodes(members);
    if (!arguments.areRight())
        return;
    m_groups[addr] = nodes;
    m_network->setGroup(addr, nodes);
}

VOXMotion *QmlNetwork::moveGroupTo(const QJSValue &group, const QJSValue &percent)
{
    PageArguments arguments(this, "moveGroupTo");
    const VOX::Addr addr = arguments.group(group);
    const int target = arguments.percent(percent);
    return arguments.areRight() ? m_network->moveGroupTo(addr, target) : nullptr;
}

VOXMotion *QmlNetwork::moveGroupUp(const QJSValue &group)
{
    PageArguments arguments(this, "moveGroupUp");
    const VOX::Addr addr = arguments.group(group);
    return arguments.areRight() ? m_network->moveGroupUp(addr) : nullptr;
}

VOXMotion *QmlNetwork::moveGroupDown(const QJSValue &group)
{
    PageArguments arguments(this, "moveGroupDown");
    const VOX::Addr addr = arguments.group(group);
    return arguments.areRight() ? m_network->moveGroupDown(addr) : nullptr;
}

VOXMotion *QmlNetwork::moveGroupToIntermediate(const QJSValue &group, const QJSValue &index)
{
    PageArguments arguments(this, "moveGroupToIntermediate");
    const VOX::Addr addr = arguments.group(group);
    const int number = arguments.number("intermediate position", index, 1, VOXNetworkMotor::MaxIntermediates);
    return arguments.areRight() ? m_network->moveGroupToIntermediate(addr, number) : nullptr;
}

VOXMotion *QmlNetwork::stopGroup(const QJSValue &group)
{
    PageArguments arguments(this, "stopGroup");
    const VOX::Addr addr = arguments.group(group);
    return arguments.areRight() ? m_network->stopGroup(addr) : nullptr;
}

QJsonArray QmlNetwork::knownNodes() const
{
    return m_network->knownNodes();
}

void QmlNetwork::setKnownNodes(const QJsonArray &nodes)
{
    PageArguments arguments(this, "setKnownNodes");
    QString problem;
    m_network->setKnownNodes(nodes, &problem);
    arguments.check(problem);
}

void QmlNetwork::setPlan(const QJSValue &plan)
{
    PageArguments arguments(this, "setPlan");
    VOXPollPlan changed = m_plan;
    if (!plan.isObject())
        arguments.check(QStringLiteral("a plan is an object, such as ({positionMs: 10000})"));
    for (QJSValueIterator each(plan); arguments.areRight() && each.next();) {
        const auto *const row =
            std::find_if(std::begin(planRows), std::end(planRows),
                         [&](const PlanRow &candidate) { return candidate.name == each.name(); });
        if (row == std::end(planRows))
            arguments.check(QStringLiteral("a plan has no '%1'").arg(each.name()));
        else
            changed.*row->time = arguments.number("time", each.value(), 0, VOXPollPlan::MaxMs);
    }
    arguments.check(changed.problem());
    if (arguments.areRight()) {
        m_plan = changed;
        m_network->setPlan(changed);
    }
}

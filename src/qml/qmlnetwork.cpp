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
    , m_own(makeClosedNetwork())
    , m_network(m_own.get())
    , m_shown(m_network)
{
}

QmlNetwork::~QmlNetwork()
{
    m_network->disconnect(this);
    letGo(nullptr);
}

void QmlNetwork::setBus(const QString &bus)
{
    if (bus == m_bus)
        return;
    m_bus = bus;
    if (!m_source)
        useBus();
    Q_EMIT busChanged();
}

void QmlNetwork::setSource(VOXNetwork *source)
{
    if (source == m_source)
        return;
    m_source = source;
    if (source) {
        m_busProblem.clear();
        const std::unique_ptr<VOXNetwork> last = std::exchange(m_own, nullptr);
        use(source);
    } else {
        useBus();
    }
    Q_EMIT sourceChanged();
}

void QmlNetwork::useBus()
{
    m_busProblem = m_bus.isEmpty() ? QStringLiteral("No bus is named yet.") : QString();
    // Two buses would share the port.
    if (!useOwn(makeClosedNetwork()) || m_bus.isEmpty())
        return;
    if (std::unique_ptr<VOXNetwork> network = makeNetwork(m_bus, &m_busProblem)) {
        useOwn(std::move(network));
    } else {
        qmlWarning(this) << m_busProblem;
        Q_EMIT lineChanged();
    }
}

bool QmlNetwork::useOwn(std::unique_ptr<VOXNetwork> network)
{
    network->setPlan(m_plan);
    network->setSending(m_isSending);
    for (auto group = m_groups.cbegin(); group != m_groups.cend(); ++group)
        network->setGroup(group.key(), *group);
    // The one before lives until pages know of this one.
    m_own.swap(network);
    return use(m_own.get());
}

bool QmlNetwork::use(VOXNetwork *network)
{
    const QPointer<VOXNetwork> guard = network;
    m_network->disconnect(this);
    m_network = network;
    letGo(network);
    // A page that heard of it has chosen yet another one.
    if (!guard || m_network != network)
        return false;
    connect(network, &VOXNetwork::lineChanged, this, &QmlNetwork::lineChanged);
    connect(network, &VOXNetwork::sendingChanged, this, &QmlNetwork::sendingChanged);
    connect(network, &VOXNetwork::planStretchChanged, this, &QmlNetwork::planStretchChanged);
    connect(network, &VOXNetwork::nodeAdded, this,
            [this](VOXNetworkNode *node) { Q_EMIT nodeAdded(item(node)); });
    connect(network, &VOXNetwork::nodeRemoved, this, &QmlNetwork::nodeRemoved);
    connect(network, &VOXNetwork::discovered, this, &QmlNetwork::discovered);
    connect(network, &VOXNetwork::noticed, this, &QmlNetwork::noticed);
    connect(network, &QObject::destroyed, this, &QmlNetwork::handleSourceGone);
    show(network);
    Q_EMIT lineChanged();
    Q_EMIT sendingChanged();
    Q_EMIT planStretchChanged();
    return guard && m_network == network;
}

void QmlNetwork::show(VOXNetwork *network)
{
    m_shown = network;
    Q_EMIT shownChanged();
}

/// Models let the nodes go first, and then pages those of all networks but @p next.
void QmlNetwork::letGo(const VOXNetwork *next)
{
    show(nullptr);
    QVector<QmlNode *> gone;
    for (auto each = m_items.begin(); each != m_items.end();) {
        if (each.key()->parent() == next) {
            ++each;
            continue;
        }
        each.key()->disconnect(this);
        gone += *each;
        each = m_items.erase(each);
    }
    for (QmlNode *const item : qAsConst(gone))
        release(item);
}

/// Nothing says when a view or a page drops what has gone. The engine knows, if it owns it.
void QmlNetwork::release(QmlNode *item)
{
    item->setParent(nullptr);
    if (QJSEngine *const engine = qjsEngine(this)) {
        QQmlEngine::setObjectOwnership(item, QQmlEngine::JavaScriptOwnership);
        engine->newQObject(item);
    } else {
        item->deleteLater();
    }
    item->leave();
}

QString QmlNetwork::lineProblem() const
{
    return m_busProblem.isEmpty() ? m_network->lineProblem() : m_busProblem;
}

void QmlNetwork::setSending(bool isSending)
{
    m_isSending = isSending;
    m_network->setSending(isSending);
}

void QmlNetwork::handleSourceGone()
{
    m_source.clear();
    useBus();
    Q_EMIT sourceChanged();
}

QmlNode *QmlNetwork::item(VOXNetworkNode *node)
{
    if (!node)
        return nullptr;
    QmlNode *&item = m_items[node];
    if (!item) {
        auto *const motor = qobject_cast<VOXNetworkMotor *>(node);
        item = motor ? new QmlMotor(motor, this) : new QmlNode(node, this);
        connect(node, &QObject::destroyed, this, [this, node] { release(m_items.take(node)); });
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
    VOXPollPlan changed = m_network->plan();
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

#include "simulation/voxsimulation.h"

#include "devices/kvrmotordevice.h"
#include "simulation/faultclock_p.h"
#include "simulation/networkfile_p.h"
#include "simulation/nodesettings_p.h"
#include "simulation/voxjsonplace_p.h"

#include <QScopedValueRollback>
#include <QThread>

namespace {
const QString NodesKey = QStringLiteral("nodes");
const QString ModelKey = QStringLiteral("model");

/// A text to name a mistake in, also for a caller who does not ask.
class Problem
{
public:
    explicit Problem(QString *asked)
        : m_text(asked ? asked : &m_own)
    {
        m_text->clear();
    }

    operator QString *() { return m_text; }
    QString *operator->() { return m_text; }

private:
    QString m_own;
    QString *m_text;
};
}

class VOXSimulation::Private final : public NodeObserver
{
public:
    explicit Private(VOXSimulation &simulation)
        : q(simulation)
    {
    }

    void settingChanged(KVRDevice &node) override
    {
        if (!isQuiet)
            Q_EMIT q.settingChanged(node.addr());
    }
    void nodeDestroyed(const KVRDevice *node, VOX::Addr addr) override { nodes.forget(node, addr); }

    /// Makes a node live as all do.
    void bringUp(KVRDevice &node)
    {
        if (auto *motor = qobject_cast<KVRMotorDevice *>(&node))
            motor->setTimeScale(timeScale);
        if (bus)
            clock.place(node);
    }
    void takeOver(Network &network)
    {
        nodes.swap(network.nodes);
        rules.setFaults(network.faults);
        busUrl = network.busUrl;
        for (const VOX::Addr addr : nodes.addresses())
            bringUp(*nodes.find(addr).device);
        clock.update();
    }
    void setPace(LinePace newPace)
    {
        pace = newPace;
        if (bus)
            bus->setPace(pace);
    }
    /// Reads an entry of a state. With @p isTried, a copy of its node takes it.
    void readEntry(const VOXJsonPlace &place, const QString &addr, bool isTried, QString *problem);

    VOXSimulation &q;
    QString busUrl;
    NodeTable nodes{*this};
    VOXFaultRules rules;
    std::unique_ptr<VOXFaultBus> bus;
    FaultClock clock{rules, nodes};
    LinePace pace;
    unsigned int timeScale = 1;
    bool isQuiet = false;
};

void VOXSimulation::Private::readEntry(const VOXJsonPlace &place, const QString &addr, bool isTried,
                                       QString *problem)
{
    VOX::Addr number = 0;
    if (!VOX::readAddr(addr, &number)) {
        place.fail(QStringLiteral("is no address of six hexadecimal digits"));
        return;
    }
    if (!place.isObjectOf(QStringList{ModelKey} + nodeSettingKeys()))
        return;
    const NodeTable::Node node = nodes.find(number);
    const bool isSameModel = place[ModelKey].text() == node.model;
    if (!node.device || !isSameModel)
        return;
    if (!isTried) {
        readSettings(*node.device, place);
        return;
    }
    const std::unique_ptr<KVRDevice> copy(findNodeModel(node.model)->create(number, *this));
    readSettings(*copy, VOXJsonPlace(settingsOf(*node.device), QString(), problem));
    readSettings(*copy, place);
}

VOXSimulation::VOXSimulation(QObject *parent)
    : QObject(parent)
    , d(new Private(*this))
{
}

VOXSimulation::~VOXSimulation()
{
    d->nodes.clear();
}

QStringList VOXSimulation::models()
{
    return nodeModelNames();
}

bool VOXSimulation::load(const QString &fileName, QString *problem)
{
    Problem mistake(problem);
    QJsonObject network;
    if (!VOXJsonPlace::readFile(fileName, &network, mistake))
        return false;
    if (load(network, mistake))
        return true;
    *mistake = QStringLiteral("%1: %2").arg(fileName, *mistake);
    return false;
}

bool VOXSimulation::load(const QJsonObject &network, QString *problem)
{
    Problem mistake(problem);
    Network read(*d);
    {
        const QScopedValueRollback<bool> quiet(d->isQuiet, true);
        if (!readNetwork(network, &read, mistake))
            return false;
    }
    d->takeOver(read);
    return true;
}

QString VOXSimulation::busUrl() const
{
    return d->busUrl;
}

KVRDevice *VOXSimulation::add(const QString &model, VOX::Addr addr, QString *problem)
{
    Problem mistake(problem);
    const NodeModel *found = findNodeModel(model);
    if (!found) {
        *mistake =
            QStringLiteral("unknown model '%1'; one of %2").arg(model, models().join(QStringLiteral(", ")));
        return nullptr;
    }
    KVRDevice *node = d->nodes.add(*found, addr & VOX::AddrMask, mistake);
    if (node)
        d->bringUp(*node);
    return node;
}

bool VOXSimulation::remove(VOX::Addr addr)
{
    return d->nodes.remove(addr);
}

void VOXSimulation::clear()
{
    d->nodes.clear();
}

QVector<VOX::Addr> VOXSimulation::addresses() const
{
    return d->nodes.addresses();
}

KVRDevice *VOXSimulation::node(VOX::Addr addr) const
{
    return d->nodes.find(addr).device;
}

QString VOXSimulation::model(VOX::Addr addr) const
{
    return d->nodes.find(addr).model;
}

QJsonObject VOXSimulation::settings(VOX::Addr addr) const
{
    KVRDevice *node = d->nodes.find(addr).device;
    return node ? settingsOf(*node) : QJsonObject();
}

bool VOXSimulation::attach(VOXBus *bus)
{
    if (bus && bus->thread() != thread())
        return false;
    std::unique_ptr<VOXFaultBus> behind(bus ? new VOXFaultBus(*bus, d->rules) : nullptr);
    if (bus) {
        behind->setPace(d->pace);
        connect(behind.get(), &VOXFaultBus::said, this, &VOXSimulation::said);
    }
    d->clock.setBus(behind.get());
    d->bus.swap(behind);
    return true;
}

void VOXSimulation::setTimeScale(unsigned int factor)
{
    d->timeScale = factor;
    for (const VOX::Addr addr : d->nodes.addresses()) {
        if (auto *motor = node<KVRMotorDevice>(addr))
            motor->setTimeScale(factor);
    }
}

void VOXSimulation::setSeed(quint32 seed)
{
    d->rules.setSeed(seed);
    d->setPace(d->pace);
}

quint32 VOXSimulation::seed() const
{
    return d->rules.seed();
}

bool VOXSimulation::setLine(int bitsPerSecond, int leastTurnMs, int mostTurnMs)
{
    const LinePace pace{bitsPerSecond, leastTurnMs, mostTurnMs};
    if (bitsPerSecond != 0 && !pace.problem().isEmpty())
        return false;
    d->setPace(pace);
    return true;
}

bool VOXSimulation::setLine(const QString &words, QString *problem)
{
    LinePace pace;
    if (!LinePace::read(words, &pace, Problem(problem)))
        return false;
    d->setPace(pace);
    return true;
}

QVector<VOXFault> VOXSimulation::faults() const
{
    return d->rules.faults();
}

bool VOXSimulation::addFault(const VOXFault &fault, QString *problem)
{
    // What can be said in words is what there can be.
    return addFault(fault.toString(), problem);
}

bool VOXSimulation::addFault(const QString &words, QString *problem)
{
    VOXFault fault;
    if (!VOXFault::read(words, &fault, Problem(problem)))
        return false;
    d->rules.add(fault);
    d->clock.update();
    return true;
}

bool VOXSimulation::removeFault(int index)
{
    if (index < 0 || index >= d->rules.faults().size())
        return false;
    d->rules.remove(index);
    d->clock.update();
    return true;
}

void VOXSimulation::clearFaults()
{
    d->rules.setFaults({});
    d->clock.update();
}

QJsonObject VOXSimulation::state() const
{
    QJsonObject nodes;
    for (const VOX::Addr addr : d->nodes.addresses()) {
        QJsonObject entry = settings(addr);
        entry.insert(ModelKey, model(addr));
        nodes.insert(VOX::toString(addr), entry);
    }
    return {{NodesKey, nodes}};
}

bool VOXSimulation::setState(const QJsonObject &state, QString *problem)
{
    Problem mistake(problem);
    const VOXJsonPlace root(state, QString(), mistake);
    if (root.isObjectOf({NodesKey}) && !state.value(NodesKey).isObject())
        root[NodesKey].fail(QStringLiteral("is to be an object"));
    const QScopedValueRollback<bool> quiet(d->isQuiet, true);
    const QStringList addresses = state.value(NodesKey).toObject().keys();
    for (const bool isTried : {true, false}) {
        for (const QString &addr : addresses) {
            if (root.ok())
                d->readEntry(root[NodesKey][addr], addr, isTried, mistake);
        }
    }
    return root.ok();
}

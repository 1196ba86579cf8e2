#include "panel/selection.h"

#include "panel/groupcover.h"
#include "panel/shadelook.h"

#include <QRegularExpression>

#include <algorithm>

namespace {
/// What a node has refused, without the names of the node and the command: they are beside it.
QString reasonOf(const QString &refusal)
{
    static const QRegularExpression names(QStringLiteral("^.* refuses [A-Z0-9_]+: "));
    QString reason = refusal;
    reason.remove(names);
    return reason.isEmpty() ? refusal : reason.at(0).toUpper() + reason.mid(1);
}
}

Selection::Selection(const ShadeModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&model, &ShadeModel::rowsRemoved, this, &Selection::dropGone);
}

void Selection::dropGone()
{
    const auto isGone = [&](const VOXNetworkNode *node) { return !m_model.lineOf(node); };
    const auto gone = std::remove_if(m_nodes.begin(), m_nodes.end(), isGone);
    if (gone == m_nodes.end())
        return;
    m_nodes.erase(gone, m_nodes.end());
    Q_EMIT changed();
}

QObject *Selection::only() const
{
    return m_nodes.size() == 1 ? m_nodes.first() : nullptr;
}

QObject *Selection::onlyLine() const
{
    return m_nodes.size() == 1 ? m_model.lineOf(m_nodes.first()) : nullptr;
}

QVector<PanelLine *> Selection::lines() const
{
    QVector<PanelLine *> lines;
    for (const VOXNetworkNode *const node : m_nodes) {
        PanelLine *const line = m_model.lineOf(node);
        if (line && !lines.contains(line))
            lines += line;
    }
    return lines;
}

QVector<VOX::Addr> Selection::nodesOf(const PanelLine &line, bool isChosen) const
{
    QVector<VOX::Addr> addrs;
    for (const ShadeModel::Row &row : m_model.rows()) {
        if (row.line == &line && (!isChosen || contains(row.node)))
            addrs += row.node->address();
    }
    return addrs;
}

QString Selection::way() const
{
    QStringList groups;
    int singles = 0;
    const auto all = lines();
    for (const PanelLine *const line : all) {
        const GroupCover cover =
            GroupCover::of(nodesOf(*line, true), line->site().groups, nodesOf(*line, false));
        for (const VOX::Addr group : cover.groups)
            groups += group == VOXNetwork::Everyone ? tr("to all") : VOX::toString(group);
        singles += static_cast<int>(cover.singles.size());
    }
    QStringList parts;
    if (groups.size() == 1)
        parts += tr("one group frame, %1").arg(groups.first());
    else if (!groups.isEmpty())
        parts += tr("group frames, %1").arg(groups.join(QStringLiteral(", ")));
    if (singles > 0)
        parts += groups.isEmpty() ? tr("one by one") : tr("%1 singly").arg(singles);
    return parts.join(QStringLiteral("; "));
}

QVariantList Selection::percents() const
{
    QVariantList percents;
    for (const VOXNetworkNode *const node : m_nodes) {
        const auto *const motor = qobject_cast<const VOXNetworkMotor *>(node);
        if (motor && motor->percent())
            percents += *motor->percent();
    }
    return percents;
}

QVariantList Selection::makeRefusals() const
{
    QVariantList refusals;
    for (const VOXNetworkNode *const node : m_nodes) {
        const qint64 ms = node->refusedForMs();
        if (node->lastRefusal().isEmpty() || ms < 0 || ms >= ShadeLook::RefusedMs)
            continue;
        refusals += QVariantMap{
            {QStringLiteral("name"), node->label().isEmpty() ? node->addressText() : node->label()},
            {QStringLiteral("sentence"), reasonOf(node->lastRefusal())},
            {QStringLiteral("seconds"), static_cast<int>(ms / 1000)}};
    }
    return refusals;
}

void Selection::tellAll()
{
    QVariantList refusals = makeRefusals();
    if (refusals != m_refusals) {
        m_refusals = std::move(refusals);
        Q_EMIT refusalsChanged();
    }
    Q_EMIT told();
}

void Selection::set(const QVector<VOXNetworkNode *> &nodes)
{
    if (nodes == m_nodes)
        return;
    m_nodes = nodes;
    Q_EMIT changed();
    tellAll();
}

void Selection::choose(QObject *node)
{
    auto *const chosen = qobject_cast<VOXNetworkNode *>(node);
    set(chosen ? QVector<VOXNetworkNode *>{chosen} : QVector<VOXNetworkNode *>());
}

void Selection::toggle(QObject *object)
{
    auto *const node = qobject_cast<VOXNetworkNode *>(object);
    QVector<VOXNetworkNode *> nodes = m_nodes;
    if (node && !nodes.removeOne(node))
        nodes += node;
    set(nodes);
}

void Selection::clear()
{
    set({});
}

void Selection::tellEach(const MotorCommand &command)
{
    const QVector<VOXNetworkNode *> nodes = m_nodes;
    for (VOXNetworkNode *const node : nodes) {
        if (auto *const motor = qobject_cast<VOXNetworkMotor *>(node))
            command(*motor);
    }
    tellAll();
}

void Selection::tell(const GroupCommand &group, const MotorCommand &single)
{
    const auto all = lines();
    for (PanelLine *const line : all) {
        const GroupCover cover =
            GroupCover::of(nodesOf(*line, true), line->site().groups, nodesOf(*line, false));
        for (const VOX::Addr addr : cover.groups)
            group(line->network(), addr);
        for (const VOX::Addr addr : cover.singles) {
            if (VOXNetworkMotor *const motor = line->network().motor(addr))
                single(*motor);
        }
    }
    tellAll();
}

void Selection::moveTo(int percent)
{
    tell([=](VOXNetwork &network, VOX::Addr group) { network.moveGroupTo(group, percent); },
         [=](VOXNetworkMotor &motor) { motor.moveTo(percent); });
}

void Selection::moveUp()
{
    tell([](VOXNetwork &network, VOX::Addr group) { network.moveGroupUp(group); },
         [](VOXNetworkMotor &motor) { motor.moveUp(); });
}

void Selection::moveDown()
{
    tell([](VOXNetwork &network, VOX::Addr group) { network.moveGroupDown(group); },
         [](VOXNetworkMotor &motor) { motor.moveDown(); });
}

void Selection::stop()
{
    tell([](VOXNetwork &network, VOX::Addr group) { network.stopGroup(group); },
         [](VOXNetworkMotor &motor) { motor.stop(); });
}

void Selection::wink()
{
    tellEach([](VOXNetworkMotor &motor) { motor.wink(); });
}

void Selection::unlock()
{
    tellEach([](VOXNetworkMotor &motor) { motor.unlock(); });
}

void Selection::refresh()
{
    tellEach([](VOXNetworkMotor &motor) { motor.refresh(); });
}

void Selection::setLabel(const QString &label)
{
    tellEach([&](VOXNetworkMotor &motor) { motor.setLabel(label); });
}

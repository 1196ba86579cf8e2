#include "vox/host/listcomparison.h"

#include "vox/console.h"

#include <QStringList>

#include <utility>

ListComparison::ListComparison(const ListedNodes &list, const QVector<FoundNode> &found)
    : m_missing(list.nodes)
    , m_listed(static_cast<int>(list.nodes.size()))
{
    for (const FoundNode &node : found) {
        m_missing.remove(node.addr);
        if (node.isWeak())
            m_weak += node;
        if (!list.nodes.contains(node.addr)) {
            m_new += node;
            continue;
        }
        const QVector<Change> changes = changesOf(node, list.nodes.value(node.addr));
        if (!changes.isEmpty())
            m_changed.insert(node.addr, changes);
    }
}

/// What neither the list nor the node tells is no change.
QVector<ListComparison::Change> ListComparison::changesOf(const FoundNode &node,
                                                          const ListedNodes::Node &listed)
{
    QVector<Change> changes;
    const auto compare = [&](const char *what, const QString &was, const QString &is) {
        if (!was.isNull() && !is.isNull() && was != is)
            changes += Change{what, was, is};
    };
    // Motors of the older generation have no type of their own.
    if (!node.isOlder)
        compare("type", listed.type, node.type);
    compare("label", listed.label, node.label);
    compare("appVersion", listed.version, node.version);
    return changes;
}

QJsonObject ListComparison::toJson() const
{
    QJsonArray missing;
    for (auto node = m_missing.cbegin(); node != m_missing.cend(); ++node)
        missing += QJsonObject{{QStringLiteral("address"), VOX::toString(node.key())},
                               {QStringLiteral("type"), textOrNull(node->type)},
                               {QStringLiteral("label"), textOrNull(node->label)}};
    QJsonArray changed;
    for (auto node = m_changed.cbegin(); node != m_changed.cend(); ++node) {
        QJsonObject object{{QStringLiteral("address"), VOX::toString(node.key())}};
        for (const Change &change : node.value())
            object.insert(QLatin1String(change.what),
                          QJsonObject{{QStringLiteral("listed"), change.listed},
                                      {QStringLiteral("found"), change.found}});
        changed += object;
    }
    return {{QStringLiteral("missing"), missing},
            {QStringLiteral("new"), ::toJson(m_new)},
            {QStringLiteral("changed"), changed}};
}

void ListComparison::print(const QString &fileName) const
{
    const auto row = [](const char *what, const QString &address, const QStringList &told) {
        printLine(QStringLiteral("%1  %2  %3")
                      .arg(QLatin1String(what), -8)
                      .arg(address, told.join(QStringLiteral("  ")))
                      .trimmed());
    };
    for (auto node = m_missing.cbegin(); node != m_missing.cend(); ++node)
        row("missing", VOX::toString(node.key()), {printable(node->label)});
    for (const FoundNode &node : m_new)
        row("new", node.address(), {node.type, node.shownLabel(), node.shownVersion()});
    for (auto node = m_changed.cbegin(); node != m_changed.cend(); ++node) {
        for (const Change &change : node.value())
            row("changed", VOX::toString(node.key()),
                {QStringLiteral("%1: '%2', listed as '%3'")
                     .arg(QLatin1String(change.what), printable(change.found), printable(change.listed))});
    }
    for (const FoundNode &node : m_weak)
        row("weak", node.address(), {node.shownLabel(), node.weakness()});
    const int same = m_listed - static_cast<int>(m_missing.size() + m_changed.size());
    QStringList counts = {
        QStringLiteral("%1 of %2 as in %3").arg(same).arg(counted(m_listed, "node"), fileName)};
    const std::pair<int, const char *> rest[] = {{static_cast<int>(m_missing.size()), "missing"},
                                                 {static_cast<int>(m_new.size()), "new"},
                                                 {static_cast<int>(m_changed.size()), "changed"}};
    for (const auto &[count, what] : rest) {
        if (count > 0)
            counts += QStringLiteral("%1 %2").arg(count).arg(QLatin1String(what));
    }
    printLine(counts.join(QStringLiteral(", ")));
}

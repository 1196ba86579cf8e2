#include "panel/inventory.h"

#include "panel/places.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QRegularExpression>
#include <QSaveFile>

namespace {
const QString AddressKey = QStringLiteral("address");

QString words(const char *text)
{
    return QCoreApplication::translate("Inventory", text);
}

QString cell(QString text)
{
    static const QString formulas = QStringLiteral("=+-@\t\r");
    if (!text.isEmpty() && formulas.contains(text.at(0)))
        text.prepend(QLatin1Char('\''));
    const bool isQuoted = text.contains(QLatin1Char(',')) || text.contains(QLatin1Char('"'));
    text.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return isQuoted ? QLatin1Char('"') + text + QLatin1Char('"') : text;
}

QString number(const std::optional<int> &value)
{
    return value ? QString::number(*value) : QString();
}

QStringList row(const PanelLine &line, const VOXNetworkNode &node, bool isChecked)
{
    const auto *const motor = qobject_cast<const VOXNetworkMotor *>(&node);
    return {line.name(),
            node.addressText(),
            node.label(),
            node.typeName(),
            node.serialNumber(),
            node.appVersion(),
            node.stackVersion(),
            motor ? number(motor->upLimit()) : QString(),
            motor ? number(motor->downLimit()) : QString(),
            motor ? number(motor->percent()) : QString(),
            isChecked ? QStringLiteral("yes") : QString()};
}

/// What @p old says about @p addr besides that it is there.
QJsonObject entryOf(const QJsonArray &old, VOX::Addr addr)
{
    for (const QJsonValue &value : old) {
        const QString text = value.toObject().value(AddressKey).toString();
        VOX::Addr first = 0;
        VOX::Addr last = 0;
        if (VOX::readAddr(text.section(QLatin1Char('-'), 0, 0), &first)
            && VOX::readAddr(text.section(QLatin1Char('-'), -1), &last) && first <= addr && addr <= last)
            return value.toObject();
    }
    return {};
}

QJsonArray nodesOf(const PanelLine &line, const QJsonArray &old)
{
    QJsonArray nodes;
    const auto present = line.network().nodes();
    for (const VOXNetworkNode *const node : present) {
        QJsonObject entry = entryOf(old, node->address());
        // It answers no broadcast, and is asked in another way.
        if (node->isLegacy())
            entry.insert(QStringLiteral("type"), QStringLiteral("HRMv2"));
        if (!entry.isEmpty())
            entry.insert(AddressKey, node->addressText());
        nodes += entry.isEmpty() ? QJsonValue(node->addressText()) : QJsonValue(entry);
    }
    return nodes;
}

QString line(const QStringList &cells)
{
    QStringList quoted;
    for (const QString &text : cells)
        quoted += cell(text);
    return quoted.join(QLatin1Char(',')) + QStringLiteral("\r\n");
}
}

QByteArray Inventory::csv(const QVector<PanelLine *> &lines,
                          const std::function<bool(const QString &key)> &isChecked)
{
    QString text = line({QStringLiteral("line"), QStringLiteral("address"), QStringLiteral("label"),
                         QStringLiteral("type"), QStringLiteral("serial"), QStringLiteral("application"),
                         QStringLiteral("stack"), QStringLiteral("up"), QStringLiteral("down"),
                         QStringLiteral("percent"), QStringLiteral("checked")});
    for (const PanelLine *const each : lines) {
        const auto nodes = each->network().nodes();
        for (const VOXNetworkNode *const node : nodes)
            text += line(row(*each, *node, isChecked(Places::keyOf(*each, node->address()))));
    }
    return text.toUtf8();
}

QString Inventory::limits(const VOXNetworkNode &node)
{
    const auto *const motor = qobject_cast<const VOXNetworkMotor *>(&node);
    if (!motor || node.presence() == VOXNetworkNode::Unknown)
        return {};
    if (motor->isLegacy())
        return words("it tells none");
    if (motor->downLimit())
        return QStringLiteral("%1 … %2").arg(motor->upLimit().value_or(0)).arg(*motor->downLimit());
    return motor->positionAgeMs() >= 0 && !motor->percent() ? words("not set") : words("not read yet");
}

QString Inventory::plainName(const QString &name)
{
    static const QRegularExpression others(QStringLiteral("[^a-z0-9_]+"));
    static const QRegularExpression ends(QStringLiteral("^-+|-+$"));
    QString plain = name.toLower();
    plain.replace(others, QStringLiteral("-"));
    plain.remove(ends);
    return plain.isEmpty() ? QStringLiteral("site") : plain;
}

QJsonObject Inventory::site(const QJsonObject &before, const QString &name, const QVector<PanelLine *> &lines)
{
    QJsonObject site = before;
    if (!site.contains(QLatin1String("name")))
        site.insert(QStringLiteral("name"), plainName(name));
    const QJsonArray old = before.value(QLatin1String("lines")).toArray();
    QJsonArray all;
    for (int i = 0; i < lines.size(); ++i) {
        const PanelLine &each = *lines[i];
        QJsonObject object = i < old.size() ? old[i].toObject() : QJsonObject();
        if (!object.contains(QLatin1String("name")))
            object.insert(QStringLiteral("name"), plainName(each.name()));
        object.insert(QStringLiteral("bus"), each.busName());
        const QJsonArray nodes = nodesOf(each, object.value(QLatin1String("nodes")).toArray());
        if (!nodes.isEmpty())
            object.insert(QStringLiteral("nodes"), nodes);
        all += object;
    }
    site.insert(QStringLiteral("lines"), all);
    return site;
}

QString Inventory::write(const QString &fileName, const QByteArray &text)
{
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit())
        return words("Saved in %1.").arg(fileName);
    return words("%1 cannot be written: %2. Choose another folder.").arg(fileName, file.errorString());
}

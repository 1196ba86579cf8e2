#include "panel/inventory.h"

#include "panel/places.h"

#include <QCoreApplication>
#include <QSaveFile>

namespace {
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

QJsonObject Inventory::site(const QJsonObject &before, const QString &name, const QVector<PanelLine *> &lines)
{
    QJsonObject site = before;
    if (!site.contains(QLatin1String("name")))
        site.insert(QStringLiteral("name"), name);
    const QJsonArray old = before.value(QLatin1String("lines")).toArray();
    QJsonArray all;
    for (int i = 0; i < lines.size(); ++i) {
        const PanelLine &each = *lines[i];
        QJsonObject object = i < old.size() ? old[i].toObject() : QJsonObject();
        object.insert(QStringLiteral("name"), each.name());
        object.insert(QStringLiteral("bus"), each.busName());
        QJsonArray nodes;
        const auto present = each.network().nodes();
        for (const VOXNetworkNode *const node : present)
            nodes += node->addressText();
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

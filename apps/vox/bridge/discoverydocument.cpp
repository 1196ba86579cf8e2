#include "vox/bridge/discoverydocument.h"

#include "messages/vox.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

#include <utility>

namespace {
const QString Origin = QStringLiteral("vox");

void insertText(QJsonObject *object, const QString &key, const QString &text)
{
    if (!text.isEmpty())
        object->insert(key, text);
}

QString text(const QByteArray &topic)
{
    return QString::fromUtf8(topic);
}

/// A sensor that reads one member of a topic's object.
QJsonObject sensor(const QString &id, const QString &name, const QByteArray &topic, const QString &member)
{
    return {{QStringLiteral("p"), QStringLiteral("sensor")},
            {QStringLiteral("uniq_id"), QStringLiteral("%1_%2").arg(id, member)},
            {QStringLiteral("name"), name},
            {QStringLiteral("stat_t"), text(topic)},
            {QStringLiteral("val_tpl"), QStringLiteral("{{ value_json.%1 }}").arg(member)},
            {QStringLiteral("ent_cat"), QStringLiteral("diagnostic")}};
}
}

DiscoveryDocument::DiscoveryDocument(const QString &discoveryPrefix, const QString &line, LineTopics topics,
                                     QStringList availability, bool isOnly)
    : m_discoveryPrefix(discoveryPrefix)
    , m_lineName(line)
    , m_line(QStringLiteral("vox_%1").arg(line))
    , m_topics(std::move(topics))
    , m_availability(std::move(availability))
    , m_isOnly(isOnly)
{
}

QString DiscoveryDocument::idOf(const BridgeTarget &target) const
{
    return QStringLiteral("%1_%2%3").arg(
        m_line, target.kind == BridgeTarget::Group ? QStringLiteral("group_") : QString(),
        VOX::toString(target.addr));
}

QByteArray DiscoveryDocument::topicOf(const QString &id) const
{
    return QStringLiteral("%1/device/%2/config").arg(m_discoveryPrefix, id).toUtf8();
}

std::optional<BridgeTarget> DiscoveryDocument::targetOf(const QByteArray &topic) const
{
    const QString digits = text(topic).section(QLatin1Char('/'), -2, -2).section(QLatin1Char('_'), -1);
    BridgeTarget target;
    if (!VOX::readAddr(digits, &target.addr))
        return std::nullopt;
    for (const BridgeTarget::Kind kind : {BridgeTarget::Node, BridgeTarget::Group}) {
        target.kind = kind;
        if (topicOf(idOf(target)) == topic)
            return target;
    }
    return std::nullopt;
}

bool DiscoveryDocument::isOurs(const QByteArray &payload)
{
    const QJsonObject object = QJsonDocument::fromJson(payload).object();
    return object.value(QStringLiteral("o")).toObject().value(QStringLiteral("name")) == Origin;
}

QJsonObject DiscoveryDocument::document(const QJsonObject &device, const QJsonObject &components,
                                        const QStringList &availability) const
{
    QJsonArray topics;
    for (const QString &topic : availability)
        topics += QJsonObject{{QStringLiteral("t"), topic}};
    const QJsonObject origin{{QStringLiteral("name"), Origin},
                             {QStringLiteral("sw"), QCoreApplication::applicationVersion()}};
    return {{QStringLiteral("dev"), device},  {QStringLiteral("o"), origin},
            {QStringLiteral("avty"), topics}, {QStringLiteral("avty_mode"), QStringLiteral("all")},
            {QStringLiteral("qos"), 1},       {QStringLiteral("cmps"), components}};
}

QByteArray DiscoveryDocument::lineDocument(const QString &bus) const
{
    const QByteArray stats = m_topics.line("stats");
    QJsonObject load = sensor(m_line, QStringLiteral("Load"), stats, QStringLiteral("load"));
    load.insert(QStringLiteral("unit_of_meas"), QStringLiteral("%"));
    QJsonObject dead = sensor(m_line, QStringLiteral("Silent nodes"), stats, QStringLiteral("dead"));
    const QJsonObject device{{QStringLiteral("ids"), m_line},
                             {QStringLiteral("name"), QStringLiteral("Line %1").arg(m_lineName)},
                             {QStringLiteral("mdl"), bus}};
    const QJsonObject components{{QStringLiteral("load"), load}, {QStringLiteral("dead"), dead}};
    return QJsonDocument(document(device, components, m_availability)).toJson(QJsonDocument::Compact);
}

QString DiscoveryDocument::name(const Cover &cover) const
{
    if (!cover.name.isEmpty())
        return cover.name;
    const QString kind = cover.isNode ? QStringLiteral("Shade") : QStringLiteral("Group");
    return QStringLiteral("%1 %2").arg(m_isOnly ? kind : m_lineName, VOX::toString(cover.target.addr));
}

QJsonObject DiscoveryDocument::device(const Cover &cover) const
{
    QJsonObject device{{QStringLiteral("ids"), idOf(cover.target)},
                       {QStringLiteral("name"), name(cover)},
                       {QStringLiteral("via_device"), m_line}};
    insertText(&device, QStringLiteral("mdl"), cover.type);
    insertText(&device, QStringLiteral("sn"), cover.serial);
    insertText(&device, QStringLiteral("sw"), cover.version);
    insertText(&device, QStringLiteral("sa"), cover.area);
    return device;
}

QJsonObject DiscoveryDocument::components(const Cover &cover) const
{
    const QString id = idOf(cover.target);
    const auto topic = [&](const char *leaf) { return text(m_topics.of(cover.target, leaf)); };
    // The entity has the device's name, and keeps its identifier when that changes.
    QJsonObject shade{{QStringLiteral("p"), QStringLiteral("cover")},
                      {QStringLiteral("uniq_id"), id},
                      {QStringLiteral("name"), QJsonValue()},
                      {QStringLiteral("default_entity_id"), QStringLiteral("cover.%1").arg(id.toLower())},
                      {QStringLiteral("dev_cla"), cover.deviceClass},
                      {QStringLiteral("cmd_t"), topic("set")},
                      {QStringLiteral("stat_t"), topic("state")}};
    if (cover.hasPosition) {
        shade.insert(QStringLiteral("pos_t"), topic("position"));
        shade.insert(QStringLiteral("set_pos_t"), topic("position/set"));
    }
    QJsonObject all;
    if (cover.isNode) {
        const QByteArray health = m_topics.of(cover.target, "health");
        shade.insert(QStringLiteral("json_attr_t"), topic("attributes"));
        all.insert(QStringLiteral("trouble"),
                   QJsonObject{{QStringLiteral("p"), QStringLiteral("binary_sensor")},
                               {QStringLiteral("uniq_id"), id + QStringLiteral("_trouble")},
                               {QStringLiteral("name"), QStringLiteral("Trouble")},
                               {QStringLiteral("dev_cla"), QStringLiteral("problem")},
                               {QStringLiteral("stat_t"), topic("attributes")},
                               {QStringLiteral("val_tpl"),
                                QStringLiteral("{{ 'ON' if value_json.blocked else 'OFF' }}")},
                               {QStringLiteral("ent_cat"), QStringLiteral("diagnostic")}});
        const std::pair<QString, QString> readings[] = {
            {QStringLiteral("last_seen"), QStringLiteral("Last seen")},
            {QStringLiteral("answer_ms"), QStringLiteral("Answer time")},
            {QStringLiteral("unanswered"), QStringLiteral("Unanswered")},
        };
        for (const auto &[member, label] : readings) {
            QJsonObject reading = sensor(id, label, health, member);
            // For those who look for a fault; the others keep it switched off.
            reading.insert(QStringLiteral("en"), false);
            if (member == QLatin1String("last_seen"))
                reading.insert(QStringLiteral("dev_cla"), QStringLiteral("timestamp"));
            if (member == QLatin1String("answer_ms"))
                reading.insert(QStringLiteral("unit_of_meas"), QStringLiteral("ms"));
            all.insert(member, reading);
        }
    }
    if (cover.hasWink) {
        all.insert(QStringLiteral("wink"),
                   QJsonObject{{QStringLiteral("p"), QStringLiteral("button")},
                               {QStringLiteral("uniq_id"), id + QStringLiteral("_wink")},
                               {QStringLiteral("name"), QStringLiteral("Wink")},
                               {QStringLiteral("dev_cla"), QStringLiteral("identify")},
                               {QStringLiteral("cmd_t"), topic("set")},
                               {QStringLiteral("pl_prs"), QStringLiteral("WINK")},
                               {QStringLiteral("ent_cat"), QStringLiteral("config")}});
    }
    all.insert(QStringLiteral("cover"), shade);
    return all;
}

QByteArray DiscoveryDocument::cover(const Cover &cover) const
{
    const QStringList availability =
        m_availability + QStringList{text(m_topics.of(cover.target, "availability"))};
    return QJsonDocument(document(device(cover), components(cover), availability))
        .toJson(QJsonDocument::Compact);
}

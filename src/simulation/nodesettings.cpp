#include "simulation/nodesettings_p.h"

#include "simulation/nodesetting_p.h"
#include "simulation/recordedanswers_p.h"

namespace {
const QVector<NodeSetting> &settings()
{
    // The answers come last: each other setting may change what a node answers by itself.
    static const QVector<NodeSetting> all = commonSettings() + motorSettings()
        + QVector<NodeSetting>{constant<KVRDevice, RecordedAnswers::read>(QStringLiteral("answers"))};
    return all;
}
}

QStringList nodeSettingKeys()
{
    QStringList keys;
    for (const NodeSetting &each : settings())
        keys += each.key;
    keys.removeDuplicates();
    return keys;
}

void readSettings(KVRDevice &node, const VOXJsonPlace &place)
{
    const QStringList keys = nodeSettingKeys();
    QStringList known;
    for (const NodeSetting &each : settings()) {
        if (!each.isOf(node))
            continue;
        known += each.key;
        const VOXJsonPlace value = place[each.key];
        if (value.isPresent() && place.ok())
            each.read(node, value);
    }
    for (const QString &key : keys) {
        if (place[key].isPresent() && !known.contains(key))
            place[key].fail(QStringLiteral("this model has no such setting"));
    }
}

QJsonObject settingsOf(KVRDevice &node)
{
    QJsonObject object;
    for (const NodeSetting &each : settings()) {
        if (each.write && each.isOf(node))
            object.insert(each.key, each.write(node));
    }
    return object;
}

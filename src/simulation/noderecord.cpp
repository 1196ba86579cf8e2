#include "simulation/noderecord_p.h"

#include "devices/kvrmotordevice.h"
#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/kvrmotor.h"
#include "messages/voxdatareader.h"
#include "messages/voxfield.h"
#include "proxies/kvrstdproxy.h"
#include "simulation/recordedanswers_p.h"
#include "simulation/voxsimulation.h"

#include <QJsonArray>

#include <algorithm>
#include <memory>

namespace {
using Value = QJsonValue;
constexpr QJsonValue::Type Nothing = QJsonValue::Undefined;

/// Members of a reply, by the names that a setting has for them; undefined if there are none.
Value renamed(const QJsonObject &fields, const QMap<QString, QString> &names)
{
    QJsonObject object;
    for (auto name = names.begin(); name != names.end(); ++name) {
        if (fields.contains(*name))
            object.insert(name.key(), fields.value(*name));
    }
    return object.isEmpty() ? Nothing : Value(object);
}

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// What @p valueAt gives for each index from @p first on; undefined if it never gives anything.
template <typename ValueAt>
Value arrayOf(int first, int last, const ValueAt &valueAt)
{
    QJsonArray array;
    bool isKnown = false;
    for (int index = first; index <= last; ++index) {
        const Value value = valueAt(index);
        isKnown = isKnown || !value.isUndefined();
        array += value.isUndefined() ? Value(Value::Null) : value;
    }
    while (!array.isEmpty() && array.last().isNull())
        array.removeLast();
    return isKnown ? Value(array) : Nothing;
}

Value typeOf(const NodeRecord &node)
{
    const QString name = VOX::toString(VOX::getType(node.addr()));
    return name.isEmpty() ? Value(int{VOX::getType(node.addr())}) : Value(name);
}

Value labelOf(const NodeRecord &node)
{
    return node.fields(KVR::GET_NODE_LABEL).value(text("label"));
}

Value serialOf(const NodeRecord &node)
{
    return node.fields(KVR::GET_NODE_SERIAL_NUMBER).value(text("serial"));
}

Value versionsOf(const NodeRecord &node)
{
    QJsonObject versions;
    const auto add = [&](const char *name, int query) {
        const NodeAnswer answer{QByteArray(1, char(query)) + node.data(query)};
        KVRStdProxy::AppVersion version;
        VOXDataReader reader(answer.toFrame());
        reader >> version;
        if (!node.fields(query).isEmpty())
            versions.insert(text(name), version.toString());
    };
    add("application", KVR::GET_NODE_APP_VERSION);
    add("stack", KVR::GET_NODE_STACK_VERSION);
    return versions.isEmpty() ? Nothing : Value(versions);
}

Value groupsOf(const NodeRecord &node)
{
    constexpr int LastSlot = 15;
    return arrayOf(0, LastSlot, [&](int slot) {
        const Value group = node.fields(KVR::GET_GROUP_ADDR, slot).value(text("group"));
        return group.toString() == VOX::toString(0) ? Value(Value::Null) : group;
    });
}

Value networkOf(const NodeRecord &node)
{
    QJsonObject network = renamed(node.fields(KVR::GET_NETWORK_CONFIG),
                                  {{text("maxRand"), text("maxRand")},
                                   {text("supervision"), text("supervision")},
                                   {text("supervisionPeriod"), text("supervisionPeriod")}})
                              .toObject();
    const Value mode = node.fields(KVR::GET_NETWORK_CONFIG).value(text("bcastMode"));
    if (mode.isString())
        network.insert(text("broadcast"), mode.toString() == text("BCAST_ON"));
    const Value retries = node.fields(KVR::GET_NETWORK_STAT).value(text("maxRetryCount"));
    if (!retries.isUndefined())
        network.insert(text("maxRetryCount"), retries);
    return network.isEmpty() ? Nothing : Value(network);
}

Value directionOf(const NodeRecord &node)
{
    return node.fields(KVR::GET_MOTOR_DIRECTION).value(text("dir"));
}

Value appModeOf(const NodeRecord &node)
{
    return node.fields(KVR::GET_APP_MODE).value(text("mode"));
}

Value limitsOf(const NodeRecord &node)
{
    return renamed(node.fields(KVR::GET_MOTOR_LIMITS),
                   {{text("up"), text("upLimit")}, {text("down"), text("downLimit")}});
}

Value speedsOf(const NodeRecord &node)
{
    return renamed(node.fields(KVR::GET_MOTOR_ROLLING_SPEED),
                   {{text("up"), text("up")}, {text("down"), text("down")}, {text("slow"), text("slow")}});
}

Value positionOf(const NodeRecord &node)
{
    return node.fields(KVR::GET_MOTOR_POSITION).value(text("position"));
}

Value intermediatePositionsOf(const NodeRecord &node)
{
    constexpr int LastSlot = 16;
    return arrayOf(1, LastSlot, [&](int slot) {
        if (node.set() == NodeQuery::Current)
            return node.fields(KVR::GET_MOTOR_IP, slot).value(text("position"));
        const QByteArray data = node.data(HRMv2::GET_MOTOR_IP, slot);
        quint8 index = 0;
        quint16 position = 0;
        VOXDataReader reader(NodeAnswer{'\0' + data}.toFrame());
        reader >> index >> position;
        if (reader.fail())
            return Value(Nothing);
        return position == KVRMotorDevice::UnsetPosition ? Value(Value::Null) : Value(position);
    });
}

Value locksOf(const NodeRecord &node)
{
    constexpr int LastLock = 8;
    const QMap<QString, QString> names = {{text("locked"), text("locked")},
                                          {text("priority"), text("priority")},
                                          {text("source"), text("source")}};
    QJsonObject locks;
    const Value network = renamed(node.fields(KVR::GET_NETWORK_LOCK), names);
    if (network.isObject())
        locks.insert(text("network"), network);
    const Value dct = arrayOf(
        1, LastLock, [&](int index) { return renamed(node.fields(KVR::GET_DCT_LOCK, index), names); });
    if (dct.isArray())
        locks.insert(text("dct"), dct);
    return locks.isEmpty() ? Nothing : Value(locks);
}

Value diagnosticsOf(const NodeRecord &node)
{
    QJsonObject counters;
    for (int cmd = KVR::DIAG_GET_TOTAL_MOVE_COUNT; cmd <= KVR::DIAG_GET_ENCODER_ERRORS; ++cmd) {
        const QJsonObject fields = node.fields(cmd);
        for (auto field = fields.begin(); field != fields.end(); ++field)
            counters.insert(cmd == KVR::DIAG_GET_ENCODER_ERRORS ? text("encoderErrors") : field.key(),
                            *field);
    }
    return counters.isEmpty() ? Nothing : Value(counters);
}

Value softStartOf(const NodeRecord &node)
{
    return renamed(node.fields(KVR::GET_MOTOR_SOFT_START_STOP),
                   {{text("on"), text("start")}, {text("value"), text("startValue")}});
}

Value softStopOf(const NodeRecord &node)
{
    return renamed(node.fields(KVR::GET_MOTOR_SOFT_START_STOP),
                   {{text("on"), text("stop")}, {text("value"), text("stopValue")}});
}

Value torqueOf(const NodeRecord &node)
{
    QJsonObject torque = node.fields(KVR::GET_TORQUE_LIMITATION);
    if (torque.isEmpty())
        return Nothing;
    // No query tells the parameter.
    return QJsonObject{{text("limited"), torque.value(text("status")).toInt() == 1},
                       {text("level"), torque.value(text("level"))},
                       {text("parameter"), 0}};
}

Value lockStatusOf(const NodeRecord &node)
{
    const QByteArray status =
        node.set() == NodeQuery::Older ? node.data(HRMv2::GET_LOCK_STATUS) : QByteArray();
    return status.isEmpty() ? Nothing : Value(static_cast<unsigned char>(status.at(0)));
}

/// A setting of a network file, and what it is to be by the answers of a node; undefined if they do not tell.
struct Setting
{
    const char *key;
    Value (*valueOf)(const NodeRecord &node);
};

const Setting settings[] = {
    {"type", typeOf},           {"label", labelOf},
    {"serial", serialOf},       {"versions", versionsOf},
    {"groups", groupsOf},       {"network", networkOf},
    {"direction", directionOf}, {"appMode", appModeOf},
    {"limits", limitsOf},       {"speeds", speedsOf},
    {"position", positionOf},   {"intermediatePositions", intermediatePositionsOf},
    {"locks", locksOf},         {"diagnostics", diagnosticsOf},
    {"softStart", softStartOf}, {"softStop", softStopOf},
    {"torque", torqueOf},       {"lockStatus", lockStatusOf},
};

/// What an emulated node answers to each of @p queries; nothing at all if it cannot be set up.
QVector<VOXMessage> emulated(const QJsonObject &entry, VOX::Addr addr, const QList<NodeQuery> &queries)
{
    VOXSimulation simulation;
    QVector<VOXMessage> answers;
    if (!simulation.load(QJsonObject{{text("nodes"), QJsonArray{entry}}}))
        return answers;
    auto *const node = dynamic_cast<AnsweringNode *>(simulation.node(addr));
    for (const NodeQuery &query : queries)
        answers += node->ownAnswer(query.to(addr));
    return answers;
}

/// Whether a setting that has changed the answers from @p before to @p then is of use: it makes one right
/// that was wrong, or changes some without making a right one wrong. One that changes none is one from the
/// factory.
bool isOfUse(const QVector<VOXMessage> &before, const QVector<VOXMessage> &then,
             const QList<NodeAnswer> &wanted)
{
    bool isChange = false;
    bool breaks = false;
    for (int i = 0; i < then.size(); ++i) {
        if (before.at(i).data() == then.at(i).data())
            continue;
        const bool isRight = i < wanted.size() && NodeAnswer::of(then.at(i)) == wanted.at(i);
        const bool wasRight = i < wanted.size() && NodeAnswer::of(before.at(i)) == wanted.at(i);
        if (isRight)
            return true;
        isChange = true;
        breaks = breaks || wasRight;
    }
    return isChange && !breaks;
}
}

NodeQuery::Set NodeRecord::set() const
{
    return VOX::getType(m_addr) == VOX::NODETYPE_HRMv2 ? NodeQuery::Older : m_set;
}

void NodeRecord::note(const NodeQuery &query, const VOXMessage &frame)
{
    if (frame.isValid())
        m_addr = frame.srcAddr(true);
    if (frame.isValid() || !m_answers.contains(query))
        m_answers.insert(query, NodeAnswer::of(frame));
}

bool NodeRecord::hasAnswered() const
{
    return std::any_of(m_answers.begin(), m_answers.end(),
                       [](const NodeAnswer &answer) { return !answer.isSilence(); });
}

bool NodeRecord::isMoving() const
{
    return set() == NodeQuery::Current
        && fields(KVR::GET_MOTOR_STATUS).value(text("state")) == text("STATE_RUNNING");
}

QStringList NodeRecord::refused() const
{
    QStringList names;
    for (auto answer = m_answers.begin(); answer != m_answers.end(); ++answer) {
        if (answer->refusal() >= 0)
            names += QStringLiteral("%1: %2").arg(answer.key().name(set()), answer->refusalName());
    }
    return names;
}

QStringList NodeRecord::unanswered() const
{
    QStringList names;
    for (auto answer = m_answers.begin(); answer != m_answers.end(); ++answer) {
        if (answer->isSilence())
            names += answer.key().name(set());
    }
    return names;
}

QStringList NodeRecord::unknown() const
{
    QStringList names;
    const QVector<NodeQuery> queries = NodeQuery::all(set());
    for (const NodeQuery &query : queries) {
        if (!isKnown(query))
            names += NodeQuery{query.cmd, QByteArray()}.name(set());
    }
    names.removeDuplicates();
    return names;
}

QByteArray NodeRecord::data(int cmd, int argument) const
{
    const NodeQuery query{static_cast<unsigned char>(cmd),
                          argument < 0 ? QByteArray() : QByteArray(1, static_cast<char>(argument))};
    const NodeAnswer answer = m_answers.value(query);
    const bool isData =
        !answer.isSilence() && static_cast<unsigned char>(answer.bytes.at(0)) == query.reply();
    return isData ? answer.data() : QByteArray();
}

QJsonObject NodeRecord::fields(int cmd, int argument) const
{
    const QByteArray found = data(cmd, argument);
    const char reply = static_cast<char>(NodeQuery{static_cast<unsigned char>(cmd), QByteArray()}.reply());
    return found.isEmpty() ? QJsonObject() : VOXField::toJson(NodeAnswer{reply + found}.toFrame());
}

QString NodeRecord::model() const
{
    if (set() == NodeQuery::Older)
        return text("HRMV2");
    switch (VOX::getType(m_addr)) {
    case VOX::NODETYPE_TB20:
        return text("TB20");
    case VOX::NODETYPE_QM75:
        return text("QM75");
    case VOX::NODETYPE_MARLO:
        return text("MARLO");
    case VOX::NODETYPE_TB60LV:
        return text("TB60LV");
    default:
        return text("NODE");
    }
}

QJsonObject NodeRecord::toJson() const
{
    const VOX::Addr addr = m_addr & VOX::AddrMask;
    QMap<NodeQuery, NodeAnswer> wanted = m_inferred;
    for (auto answer = m_answers.begin(); answer != m_answers.end(); ++answer)
        wanted.insert(answer.key(), *answer);
    // Nobody can say how long it would have gone on moving.
    if (isMoving()) {
        wanted.remove({KVR::GET_MOTOR_STATUS, QByteArray()});
        wanted.remove({KVR::GET_MOTOR_POSITION, QByteArray()});
    }
    QList<NodeQuery> queries = wanted.keys();
    queries << NodeQuery{KVR::GET_MOTOR_STATUS, {}} << NodeQuery{KVR::GET_MOTOR_POSITION, {}};

    QJsonObject entry{{text("model"), model()}, {text("address"), VOX::toString(addr)}};
    QVector<VOXMessage> answers = emulated(entry, addr, queries);
    for (const Setting &setting : settings) {
        QJsonObject with = entry;
        with.insert(text(setting.key), setting.valueOf(*this));
        const QVector<VOXMessage> then = emulated(with, addr, queries);
        if (isOfUse(answers, then, wanted.values())) {
            entry = with;
            answers = then;
        }
    }

    QJsonObject recorded;
    int index = 0;
    for (auto answer = wanted.begin(); answer != wanted.end(); ++answer, ++index) {
        if (NodeAnswer::of(answers.at(index)) != *answer)
            recorded.insert(answer.key().name(set()), answer->toJson());
    }
    if (!recorded.isEmpty())
        entry.insert(text("answers"), recorded);
    return entry;
}

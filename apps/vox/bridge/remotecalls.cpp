#include "vox/bridge/remotecalls.h"

#include "messages/vox.h"
#include "network/voxnetwork.h"
#include "transport/voxbus.h"
#include "vox/bridge/covercommand.h"
#include "vox/bridge/mqttmessage.h"
#include "vox/host/operation.h"
#include "vox/outcome.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {
constexpr int MaxDepth = 4;
constexpr int MaxRunning = 4;

const QString OperationKey = QStringLiteral("operation");
const QString ArgumentsKey = QStringLiteral("arguments");
const QString IdKey = QStringLiteral("id");

/// The request without what is no request; empty if it is none.
QJsonObject requestIn(const QByteArray &payload)
{
    if (payload.size() > RemoteCalls::MaxBytes || !isShallow(payload, MaxDepth))
        return {};
    const QJsonObject object = QJsonDocument::fromJson(payload).object();
    const QStringList keys = object.keys();
    const bool isKnown = std::all_of(keys.cbegin(), keys.cend(), [](const QString &key) {
        return key == OperationKey || key == ArgumentsKey || key == IdKey;
    });
    const QJsonValue id = object.value(IdKey);
    const bool isId = id.isUndefined() || (id.isString() && isCommandId(id.toString()));
    const QJsonValue arguments = object.value(ArgumentsKey);
    const bool isList = arguments.isUndefined() || arguments.isArray();
    return isKnown && isId && isList && object.value(OperationKey).isString() ? object : QJsonObject();
}

QStringList argumentsIn(const QJsonObject &request)
{
    QStringList words;
    const QJsonArray arguments = request.value(ArgumentsKey).toArray();
    for (const QJsonValue &each : arguments)
        words += each.toVariant().toString();
    return words;
}

/// Settings wait for what a command has changed. Somebody waits for the rest, which would else come behind
/// the first look at all nodes of the line.
VOXScheduler::Lane laneFor(const VOXCommandTrait &trait)
{
    return trait.kind == VOXCommandTrait::Query || trait.isMotion() ? VOXScheduler::User
                                                                    : VOXScheduler::Configure;
}

QByteArray textOf(QJsonObject object, const QJsonObject &request)
{
    if (request.contains(IdKey))
        object.insert(IdKey, request.value(IdKey));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}
}

RemoteCalls::RemoteCalls(const QStringList &operations, VOXNetwork &network)
    : m_operations(operations)
    , m_network(network)
{
}

void RemoteCalls::handle(unsigned int addr, const MqttMessage &message)
{
    const QJsonObject request = requestIn(message.payload);
    const QString problem = request.isEmpty()
        ? QStringLiteral("a call is {\"operation\": \"getMotorLimits\", \"arguments\": [], \"id\": \"a1\"}")
        : call(addr, message, request);
    if (!problem.isEmpty())
        Q_EMIT answered(addr, message, textOf({{QStringLiteral("error"), problem}}, request));
}

QString RemoteCalls::call(unsigned int addr, const MqttMessage &message, const QJsonObject &request)
{
    const QString name = request.value(OperationKey).toString();
    const QStringList arguments = argumentsIn(request);
    Operation operation;
    // All of them would obey.
    QString problem = VOX::nodeAddrProblem(addr);
    if (!problem.isEmpty())
        return problem;
    if (!m_operations.contains(QStringLiteral("*")) && !m_operations.contains(name))
        return QStringLiteral("this operation may not be called from here");
    if (!Operation::find(name, arguments.size(), &operation, &problem)
        || !operation.setArguments(arguments, &problem))
        return problem;
    if (operation.isAllDefaults())
        return QStringLiteral("all arguments of %1 are left out").arg(name);
    if (m_running >= MaxRunning)
        return QStringLiteral("busy");
    ++m_running;
    const VOXCommandTrait trait = operation.trait();
    const auto finish = [this, addr, message, request, trait,
                         meaning = operation.meaning()](const BusPendingCall &ended) {
        --m_running;
        const Outcome outcome(ended, addr);
        Q_EMIT answered(addr, message, textOf(outcome.toJson(meaning), request));
        if (trait.kind == VOXCommandTrait::Setting && outcome.isAnswered())
            Q_EMIT configured(addr);
    };
    // A stop takes the lane of stops by itself.
    operation.call(addr, m_network.scheduler().lane(laneFor(trait))).onFinished(this, finish);
    if (!operation.isQuery())
        Q_EMIT commanded(addr);
    return {};
}

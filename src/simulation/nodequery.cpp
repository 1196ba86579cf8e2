#include "simulation/nodequery_p.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxfield.h"

#include <algorithm>
#include <array>

namespace {
// Some names stand for an id in each set.
const QString OlderPrefix = QStringLiteral("HRMv2::");
const QString CurrentPrefix = QStringLiteral("KVR::");

/// The indices that a query takes.
struct Indices
{
    int cmd;
    int first;
    int last;
};

// As many as the largest node has. One that has fewer refuses the first that it lacks.
constexpr std::array<Indices, 4> indices = {{
    {KVR::GET_GROUP_ADDR, 0, 15},
    {KVR::GET_MOTOR_IP, 1, 16},
    {KVR::GET_DCT_LOCK, 1, 8},
    {HRMv2::GET_MOTOR_IP, 1, 16},
}};

constexpr std::array<int, 6> essentials = {KVR::GET_NODE_APP_VERSION, KVR::GET_NODE_LABEL,
                                           KVR::GET_MOTOR_LIMITS,     KVR::GET_MOTOR_POSITION,
                                           KVR::GET_MOTOR_STATUS,     KVR::GET_MOTOR_ROLLING_SPEED};
constexpr std::array<int, 5> olderEssentials = {HRMv2::GET_MOTOR_STATUS, HRMv2::GET_MOTOR_SETTINGS,
                                                HRMv2::GET_MOTOR_POSITION, HRMv2::GET_MOTOR_INFO,
                                                HRMv2::GET_LOCK_STATUS};

VOXCmdInfo infoOf(unsigned char cmd)
{
    const VOXCmdInfo info = KVR::findCmd(cmd);
    return info.isValid() ? info : HRMv2::findCmd(cmd);
}

QString nameOf(unsigned char cmd, NodeQuery::Set set)
{
    const QString older = HRMv2::toString(cmd);
    const QString current = VOXField::isKnown(cmd) ? VOX::toString(cmd) : QString();
    if (set == NodeQuery::Older)
        return older.isEmpty() ? CurrentPrefix + current : older;
    return current.isEmpty() ? OlderPrefix + older : current;
}

const Indices *indicesOf(int cmd)
{
    const auto *const found =
        std::find_if(indices.begin(), indices.end(), [cmd](const Indices &each) { return each.cmd == cmd; });
    return found == indices.end() ? nullptr : found;
}

QVector<NodeQuery> queriesOf(int cmd)
{
    const auto id = static_cast<unsigned char>(cmd);
    QVector<NodeQuery> found;
    const auto add = [&](int argument) {
        found += NodeQuery{id, QByteArray(1, static_cast<char>(argument))};
    };
    const VOXField::Range fields = VOXField::of(id);
    const QMetaEnum functions = fields.isEmpty() ? QMetaEnum() : fields.at(0).enumeration();
    if (const Indices *range = indicesOf(cmd)) {
        for (int index = range->first; index <= range->last; ++index)
            add(index);
    } else if (functions.isValid()) {
        for (int i = 0; i < functions.keyCount(); ++i)
            add(functions.value(i));
    } else {
        found += NodeQuery{id, QByteArray()};
    }
    return found;
}

template <typename Commands>
QVector<NodeQuery> queriesOf(const Commands &commands)
{
    QVector<NodeQuery> found;
    for (const int cmd : commands)
        found += queriesOf(cmd);
    return found;
}

/// The queries among the keys of an enumeration of commands.
QVector<NodeQuery> queriesOf(const QMetaEnum &commands)
{
    QVector<NodeQuery> found;
    for (int i = 0; i < commands.keyCount(); ++i) {
        if (NodeQuery::isQuery(static_cast<unsigned char>(commands.value(i))))
            found += queriesOf(commands.value(i));
    }
    return found;
}
}

QVector<NodeQuery> NodeQuery::essential(Set set)
{
    return set == Current ? queriesOf(essentials) : queriesOf(olderEssentials);
}

QVector<NodeQuery> NodeQuery::all(Set set)
{
    QVector<NodeQuery> queries = essential(set);
    const QVector<NodeQuery> others = set == Older
        ? queriesOf(HRMv2::CmdMetaEnum())
        : queriesOf(KVR::CmdMetaEnum()) + queriesOf(KVR::MotorCmdMetaEnum()) + queriesOf(KVR::DiagMetaEnum());
    for (const NodeQuery &query : others) {
        if (!queries.contains(query))
            queries += query;
    }
    return queries;
}

bool NodeQuery::isQuery(unsigned char cmd)
{
    return infoOf(cmd).reply() != 0 && nameOf(cmd, Current).contains(QLatin1String("GET_"));
}

NodeQuery NodeQuery::of(const VOXMessage &request)
{
    return {request.cmd(),
            request.data().mid(VOXMessage::HeaderLength, request.data().size() - VOXMessage::MinLength)};
}

QString NodeQuery::name(Set set) const
{
    const QString command = nameOf(cmd, set);
    return data.isEmpty() ? command
                          : command + QLatin1Char(' ') + QString::fromLatin1(data.toHex(' ').toUpper());
}

bool NodeQuery::read(const QString &name, Set set, NodeQuery *query)
{
    constexpr int MostBytes = VOXMessage::MaxLength - VOXMessage::MinLength;
    const QByteArray digits = name.section(QLatin1Char(' '), 1).toLatin1();
    query->data = QByteArray::fromHex(digits);
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        query->cmd = static_cast<unsigned char>(cmd);
        if (isQuery(query->cmd) && nameOf(query->cmd, set) == name.section(QLatin1Char(' '), 0, 0))
            return query->data.toHex(' ') == digits.toLower() && query->data.size() <= MostBytes;
    }
    return false;
}

VOXCall NodeQuery::to(VOX::Addr addr) const
{
    const auto length = static_cast<unsigned char>(VOXMessage::MinLength + data.size());
    VOXCall call(VOXCmdInfo(cmd, length, VOX::P2P, reply()), VOX::HostAddr, addr & VOX::AddrMask, 0);
    call.data().replace(VOXMessage::HeaderLength, data.size(), data);
    call.prepare();
    return call;
}

unsigned char NodeQuery::reply() const
{
    return infoOf(cmd).reply();
}

bool NodeQuery::isAnswer(const VOXMessage &frame) const
{
    if (frame.cmd() == KVR::NACK)
        return true;
    if (frame.cmd() != reply() || reply() == 0)
        return false;
    const VOXField::Range asked = VOXField::of(cmd);
    const VOXField::Range told = VOXField::of(frame.cmd());
    const bool tellsIndex = !data.isEmpty() && !asked.isEmpty() && !told.isEmpty()
        && qstrcmp(asked.at(0).name, told.at(0).name) == 0;
    const QByteArray answer = of(frame).data;
    return !tellsIndex || answer.isEmpty() || answer.at(0) == data.at(0);
}

bool NodeQuery::isLast(int status) const
{
    if (data.isEmpty())
        return false;
    const Indices *range = indicesOf(cmd);
    const bool isFirst = data.at(0) == static_cast<char>(range ? range->first : 0);
    if (status == KVR::NACK_FEATURE_NOT_SUPPORTED)
        return isFirst;
    return (status == KVR::NACK_BADMSG || status == KVR::NACK_RNG) && (isFirst || range);
}

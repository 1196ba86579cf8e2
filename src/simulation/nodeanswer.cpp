#include "simulation/nodeanswer_p.h"

#include "messages/kvr.h"
#include "messages/voxreply.h"
#include "simulation/nodequery_p.h"

namespace {
const QString Refused = QStringLiteral("NACK ");
const QString Acknowledged = QStringLiteral("ACK");

QByteArray bytesOf(int cmd, const QByteArray &data)
{
    return QByteArray(1, static_cast<char>(cmd)) + data;
}

VOXMessage filled(VOXMessage frame, const QByteArray &data)
{
    frame.data().replace(VOXMessage::HeaderLength, data.size(), data);
    frame.prepare();
    return frame;
}
}

NodeAnswer NodeAnswer::of(const VOXMessage &frame)
{
    return {frame.isValid() ? bytesOf(frame.cmd(), NodeQuery::of(frame).data) : QByteArray()};
}

int NodeAnswer::refusal() const
{
    const bool isRefusal = bytes.size() > 1 && static_cast<unsigned char>(bytes.at(0)) == KVR::NACK;
    return isRefusal ? static_cast<unsigned char>(bytes.at(1)) : -1;
}

QString NodeAnswer::refusalName() const
{
    return refusal() < 0 ? QString() : KVR::toString(static_cast<KVR::NackStatus>(refusal()));
}

QJsonValue NodeAnswer::toJson() const
{
    if (isSilence())
        return QJsonValue::Null;
    if (refusal() >= 0)
        return Refused + refusalName();
    if (bytes == bytesOf(KVR::ACK, QByteArray()))
        return Acknowledged;
    return QString::fromLatin1(data().toHex(' ').toUpper());
}

bool NodeAnswer::read(const QJsonValue &value, const NodeQuery &query, NodeAnswer *answer)
{
    constexpr int MostBytes = VOXMessage::MaxLength - VOXMessage::MinLength;
    const QString text = value.toString();
    if (text == Acknowledged) {
        answer->bytes = bytesOf(KVR::ACK, QByteArray());
    } else if (text.startsWith(Refused)) {
        for (int status = 0; status <= 0xff; ++status) {
            answer->bytes = bytesOf(KVR::NACK, QByteArray(1, static_cast<char>(status)));
            if (answer->refusalName() == text.mid(Refused.size()))
                return true;
        }
        return false;
    } else if (value.isString()) {
        answer->bytes = bytesOf(query.reply(), QByteArray::fromHex(text.toLatin1()));
        return answer->data().toHex(' ') == text.toLatin1().toLower() && answer->data().size() <= MostBytes;
    } else {
        answer->bytes.clear();
    }
    return value.isString() || value.isNull();
}

VOXMessage NodeAnswer::toFrame() const
{
    if (isSilence())
        return VOXMessage();
    VOXMessage frame(static_cast<unsigned char>(VOXMessage::MinLength + data().size()));
    frame.setCmd(static_cast<unsigned char>(bytes.at(0)));
    return filled(frame, data());
}

VOXMessage NodeAnswer::toFrame(const VOXNode &node, const VOXMessage &request) const
{
    if (isSilence())
        return VOXMessage();
    const auto cmd = static_cast<unsigned char>(bytes.at(0));
    if ((cmd == KVR::NACK || cmd == KVR::ACK) && !request.isAck())
        return VOXMessage();
    return filled(
        VOXReply(node, request, cmd, static_cast<unsigned char>(VOXMessage::MinLength + data().size())),
        data());
}

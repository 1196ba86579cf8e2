#include "vox/line/lineitem.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "transport/voxframecutter.h"
#include "vox/console.h"
#include "vox/line/linelabels.h"

#include <QDateTime>

namespace {
constexpr qint64 NsPerMs = 1000000;

LineItem::Verdict verdictOf(const VOXFrameCutter::Check &check)
{
    switch (check.verdict) {
    case VOXFrameCutter::Intact:
        return LineItem::Intact;
    case VOXFrameCutter::ChecksumForCrc:
        return LineItem::ChecksumForCrc;
    case VOXFrameCutter::Failed:
        break;
    }
    return LineItem::Failed;
}

QString hex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

QString commandOf(const VOXMessage &frame)
{
    const QString name = nameOf(frame.cmd());
    return name.isEmpty() ? QStringLiteral("UNKNOWN(%1)").arg(uint{frame.cmd()}, 2, 16, QLatin1Char('0'))
                          : name;
}

/// The bytes behind the fields that are known.
QByteArray restOf(const VOXMessage &frame)
{
    int offset = VOXMessage::HeaderLength;
    const auto values = VOXField::valuesOf(frame);
    for (const VOXField::Value &value : values)
        offset += value.field->width;
    return frame.data().mid(offset, frame.data().size() - VOXMessage::CheckLength - offset);
}

QString checkOf(LineItem::Verdict verdict)
{
    switch (verdict) {
    case LineItem::Intact:
        return QStringLiteral("ok");
    case LineItem::ChecksumForCrc:
        return QStringLiteral("checksum instead of CRC");
    default:
        return QStringLiteral("failed");
    }
}

QString nodeText(unsigned int addr, const LineLabels *labels)
{
    const QString label = labels ? printable(labels->of(addr)) : QString();
    return label.isEmpty() ? VOX::toString(addr) : QStringLiteral("%1 (%2)").arg(VOX::toString(addr), label);
}

QString ends(const VOXMessage &frame, const LineLabels *labels)
{
    switch (frame.addrType()) {
    case VOX::GROUP:
        return QStringLiteral("group %1").arg(VOX::toString(frame.bcastAddr(false)));
    case VOX::BCAST:
        return QStringLiteral("%1 > all").arg(nodeText(frame.srcAddr(false), labels));
    case VOX::P2P:
        break;
    }
    return QStringLiteral("%1 > %2").arg(nodeText(frame.srcAddr(false), labels),
                                         nodeText(frame.destAddr(false), labels));
}
}

QString nameOf(unsigned char cmd, VOXField::Meaning meaning)
{
    const bool isOlder =
        HRMv2::findCmd(cmd).isValid() && (meaning == VOXField::InHRMv2 || !KVR::findCmd(cmd).isValid());
    return isOlder ? HRMv2::toString(cmd) : VOX::toString(cmd);
}

QByteArray inverted(QByteArray bytes)
{
    VOXFrameCutter::invertBody(bytes);
    return bytes;
}

LineItem LineItem::noFrame(const QByteArray &bytes, qint64 timeNs)
{
    const bool isBreak = bytes.count('\0') == bytes.size() && !bytes.isEmpty();
    return {timeNs, bytes, isBreak ? Break : Garbage, VOXMessage()};
}

LineItem LineItem::of(const QByteArray &bytes, qint64 timeNs)
{
    LineItem item = noFrame(bytes, timeNs);
    if (item.verdict == Break)
        return item;
    const VOXFrameCutter::Cut cut = VOXFrameCutter(VOXMessage::MinLength).cut(bytes);
    if (cut.kind != VOXFrameCutter::Cut::Frame || cut.frame.size() != bytes.size())
        return item;
    item.frame = VOXMessage(BusMessage(cut.frame));
    item.verdict = verdictOf(cut.check);
    return item;
}

bool LineItem::isNack() const
{
    return isTaken() && frame.cmd() == KVR::NACK;
}

QString LineItem::toString(const LineLabels *labels, qint64 answerNs) const
{
    const QString time =
        QDateTime::fromMSecsSinceEpoch(timeNs / NsPerMs).toString(QStringLiteral("HH:mm:ss.zzz"));
    if (verdict == Break)
        return QStringLiteral("%1  break  %2").arg(time, counted(bytes.size(), "zero byte"));
    if (!isFrame())
        return QStringLiteral("%1  garbage  %2").arg(time, hex(bytes));
    QString text = QStringLiteral("%1  %2  %3").arg(time, ends(frame, labels), commandOf(frame));
    if (answerNs >= 0)
        text += QStringLiteral("  after %1 ms").arg(static_cast<double>(answerNs) / NsPerMs, 0, 'f', 1);
    const auto values = VOXField::valuesOf(frame);
    for (const VOXField::Value &value : values)
        text += QStringLiteral("  %1=%2").arg(QLatin1String(value.field->name), value.toString());
    const QByteArray rest = restOf(frame);
    if (!rest.isEmpty())
        text += QStringLiteral("  data=%1").arg(hex(rest));
    if (verdict != Intact)
        text += QStringLiteral("  CHECK %1").arg(checkOf(verdict));
    return text;
}

QJsonObject LineItem::toJson(const LineLabels *labels, qint64 answerNs) const
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(timeNs / NsPerMs, Qt::UTC);
    QJsonObject object{{QStringLiteral("time"),
                        QStringLiteral("%1%2Z")
                            .arg(time.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")))
                            .arg(timeNs % NsPerMs, 6, 10, QLatin1Char('0'))}};
    if (!isFrame()) {
        object.insert(verdict == Break ? QStringLiteral("break") : QStringLiteral("garbage"), hex(bytes));
        return object;
    }
    if (frame.addrType() == VOX::GROUP) {
        object.insert(QStringLiteral("group"), VOX::toString(frame.bcastAddr(false)));
    } else {
        object.insert(QStringLiteral("source"), VOX::toString(frame.srcAddr(false)));
        object.insert(QStringLiteral("sourceType"), VOX::toString(frame.srcNodeType()));
    }
    if (frame.addrType() == VOX::BCAST)
        object.insert(QStringLiteral("broadcast"), true);
    if (frame.addrType() == VOX::P2P)
        object.insert(QStringLiteral("destination"), VOX::toString(frame.destAddr(false)));
    const std::pair<QString, unsigned int> ends[] = {{QStringLiteral("source"), frame.srcAddr(false)},
                                                     {QStringLiteral("destination"), frame.destAddr(false)}};
    for (const auto &[key, addr] : ends) {
        const QString label = labels && object.contains(key) ? labels->of(addr) : QString();
        if (!label.isEmpty())
            object.insert(key + QStringLiteral("Label"), label);
    }
    if (answerNs >= 0)
        object.insert(QStringLiteral("answerMs"), static_cast<double>(answerNs) / NsPerMs);
    object.insert(QStringLiteral("destinationType"), VOX::toString(frame.destNodeType()));
    object.insert(QStringLiteral("command"), commandOf(frame));
    object.insert(QStringLiteral("ack"), frame.isAck());
    object.insert(QStringLiteral("crc"), frame.isCRC());
    object.insert(QStringLiteral("check"), checkOf(verdict));
    object.insert(QStringLiteral("fields"), VOXField::toJson(frame));
    const QByteArray rest = restOf(frame);
    if (!rest.isEmpty())
        object.insert(QStringLiteral("data"), hex(rest));
    object.insert(QStringLiteral("bytes"), hex(bytes));
    return object;
}

#include "vox/line/answercomparison.h"

#include <QDateTime>

#include <algorithm>
#include <utility>

namespace {
constexpr qint64 NsPerMs = 1000000;

QString textOf(const VOXMessage &answer)
{
    if (answer.data().isEmpty())
        return QStringLiteral("no answer");
    QString text = nameOf(answer.cmd());
    const auto values = VOXField::valuesOf(answer);
    for (const VOXField::Value &value : values)
        text += QStringLiteral("  %1=%2").arg(QLatin1String(value.field->name), value.toString());
    return text;
}

/// The fields that differ, where both are the same command; else empty.
QString changesOf(const VOXMessage &was, const VOXMessage &is)
{
    const auto before = VOXField::valuesOf(was);
    const auto after = VOXField::valuesOf(is);
    if (was.data().isEmpty() || was.cmd() != is.cmd() || before.size() != after.size())
        return QString();
    QStringList changes;
    for (int i = 0; i < after.size(); ++i) {
        if (before.at(i).value != after.at(i).value)
            changes += QStringLiteral("%1=%2, was %3")
                           .arg(QLatin1String(after.at(i).field->name), after.at(i).toString(),
                                before.at(i).toString());
    }
    return changes.join(QStringLiteral("; "));
}

QJsonValue jsonOf(const VOXMessage &answer)
{
    if (answer.data().isEmpty())
        return QJsonValue();
    return QJsonObject{
        {QStringLiteral("command"), nameOf(answer.cmd())},
        {QStringLiteral("fields"), VOXField::toJson(answer)},
        {QStringLiteral("bytes"), QString::fromLatin1(inverted(answer.data()).toHex(' ').toUpper())}};
}
}

QString AnswerComparison::Difference::toString() const
{
    const QString time =
        QDateTime::fromMSecsSinceEpoch(request.timeNs / NsPerMs).toString(QStringLiteral("HH:mm:ss.zzz"));
    const QString changes = changesOf(was, is);
    return QStringLiteral("%1  %2  %3  %4: %5")
        .arg(time, VOX::toString(node), nameOf(request.frame.cmd()),
             isMissing() ? QStringLiteral("missing") : QStringLiteral("different"),
             !changes.isEmpty() ? changes
                 : isMissing()  ? QStringLiteral("was %1").arg(textOf(was))
                                : QStringLiteral("%1, was %2").arg(textOf(is), textOf(was)));
}

QJsonObject AnswerComparison::Difference::toJson() const
{
    return {{QStringLiteral("result"), isMissing() ? QStringLiteral("missing") : QStringLiteral("different")},
            {QStringLiteral("address"), VOX::toString(node)},
            {QStringLiteral("request"), request.toJson()},
            {QStringLiteral("was"), jsonOf(was)},
            {QStringLiteral("is"), jsonOf(is)}};
}

AnswerComparison::AnswerComparison(std::function<void(const Difference &)> found)
    : m_found(std::move(found))
{
}

void AnswerComparison::begin(const Exchange &exchange)
{
    m_previous = std::exchange(m_exchange, &exchange);
    m_expected = exchange.answers;
}

void AnswerComparison::hear(const VOXMessage &frame)
{
    const unsigned int node = frame.srcAddr(false);
    const auto expected = std::find_if(m_expected.begin(), m_expected.end(), [node](const LineItem &answer) {
        return answer.frame.srcAddr(false) == node;
    });
    const auto isUnexpected = [&frame](const Exchange *exchange) {
        return exchange && exchange->isAnswer(frame) && !exchange->isSpoilt;
    };
    if (expected != m_expected.end() && m_exchange->isAnswer(frame)) {
        const VOXMessage was = expected->frame;
        m_expected.erase(expected);
        if (was.data() == frame.data())
            ++m_same;
        else
            tell(*m_exchange, node, was, frame);
    } else if (isUnexpected(m_exchange)) {
        tell(*m_exchange, node, VOXMessage(), frame);
    } else if (isUnexpected(m_previous)) {
        tell(*m_previous, node, VOXMessage(), frame);
    }
}

void AnswerComparison::end()
{
    const std::vector<LineItem> missing = std::exchange(m_expected, {});
    for (const LineItem &answer : missing)
        tell(*m_exchange, answer.frame.srcAddr(false), answer.frame, VOXMessage());
}

void AnswerComparison::tell(const Exchange &exchange, unsigned int node, const VOXMessage &was,
                            const VOXMessage &is)
{
    const Difference difference{exchange.request, node, was, is};
    ++(difference.isMissing() ? m_missing : m_different);
    m_found(difference);
}

#include "vox/host/foundnode.h"

#include "vox/console.h"

QJsonValue textOrNull(const QString &text)
{
    return text.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QString FoundNode::shownLabel() const
{
    return label.isNull() ? QStringLiteral("?") : printable(label);
}

QString FoundNode::weakness() const
{
    return isWeak() ? QStringLiteral("answered once in %1 rounds").arg(rounds) : QString();
}

QJsonObject FoundNode::toJson() const
{
    QJsonObject object{{QStringLiteral("address"), address()},
                       {QStringLiteral("type"), type},
                       {QStringLiteral("label"), textOrNull(label)},
                       {QStringLiteral("appVersion"), textOrNull(version)}};
    if (isOlder)
        object.insert(QStringLiteral("generation"), QStringLiteral("HRMv2"));
    if (answers > 1)
        object.insert(QStringLiteral("answers"), answers);
    if (answeredRounds > 0) {
        object.insert(QStringLiteral("answeredRounds"), answeredRounds);
        object.insert(QStringLiteral("rounds"), rounds);
    }
    return object;
}

QJsonArray toJson(const QVector<FoundNode> &nodes)
{
    QJsonArray array;
    for (const FoundNode &node : nodes)
        array += node.toJson();
    return array;
}

#include "vox/bridge/nameguard.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

#include <utility>

namespace {
constexpr int MaxBytes = 256;
const QString IdKey = QStringLiteral("id");
const QString StartedKey = QStringLiteral("started");
const QString LiveKey = QStringLiteral("live");
}

NameGuard::NameGuard()
    : m_id(QByteArray::number(QRandomGenerator::system()->generate(), 16).rightJustified(8, '0'))
    , m_startedMs(QDateTime::currentMSecsSinceEpoch())
{
}

QByteArray NameGuard::payload() const
{
    return QJsonDocument(QJsonObject{{IdKey, QString::fromLatin1(m_id)},
                                     {StartedKey, m_startedMs},
                                     {LiveKey, m_isLive}})
        .toJson(QJsonDocument::Compact);
}

NameGuard::Verdict NameGuard::judge(const QByteArray &payload) const
{
    const QJsonObject other =
        payload.size() > MaxBytes ? QJsonObject() : QJsonDocument::fromJson(payload).object();
    const QByteArray id = other.value(IdKey).toString().toLatin1();
    if (id.isEmpty() || id == m_id)
        return Nothing;
    const bool isOtherLive = other.value(LiveKey).toBool();
    if (isOtherLive != m_isLive)
        return isOtherLive ? Yield : Answer;
    const auto startedMs = static_cast<qint64>(other.value(StartedKey).toDouble());
    return std::make_pair(startedMs, id) < std::make_pair(m_startedMs, m_id) ? Yield : Answer;
}

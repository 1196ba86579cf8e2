#ifndef DISCOVERYDOCUMENT_H
#define DISCOVERYDOCUMENT_H

#include "vox/bridge/bridgetopics.h"

#include <QJsonObject>
#include <QStringList>

/// The devices that Home Assistant learns of by its MQTT discovery, one document each.
class DiscoveryDocument
{
public:
    struct Cover
    {
        BridgeTarget target;
        /// Empty for one that has no label.
        QString name;
        QString type;
        QString serial;
        QString version;
        QString area;
        QString deviceClass;
        bool hasPosition = false;
        bool hasWink = false;
        /// Else a group, which has neither values of its own nor health.
        bool isNode = true;
    };

    /// @p availability are the topics of bridge and line. @p isOnly: the bridge has no other line.
    DiscoveryDocument(const QString &discoveryPrefix, const QString &line, LineTopics topics,
                      QStringList availability, bool isOnly);

    QByteArray topic() const { return topicOf(m_line); }
    QByteArray topic(const BridgeTarget &target) const { return topicOf(idOf(target)); }
    /// What the document on @p topic is of; empty if it is nothing of this line.
    std::optional<BridgeTarget> targetOf(const QByteArray &topic) const;
    /// Of the line itself.
    QByteArray lineDocument(const QString &bus) const;
    QByteArray cover(const Cover &cover) const;

    /// Whether a bridge has made the document @p payload.
    static bool isOurs(const QByteArray &payload);

private:
    QString idOf(const BridgeTarget &target) const;
    QByteArray topicOf(const QString &id) const;
    QString name(const Cover &cover) const;
    QJsonObject device(const Cover &cover) const;
    QJsonObject components(const Cover &cover) const;
    QJsonObject document(const QJsonObject &device, const QJsonObject &components,
                         const QStringList &availability) const;

    QString m_discoveryPrefix;
    QString m_lineName;
    QString m_line;
    LineTopics m_topics;
    QStringList m_availability;
    bool m_isOnly;
};

#endif

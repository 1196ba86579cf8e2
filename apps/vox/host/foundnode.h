#ifndef FOUNDNODE_H
#define FOUNDNODE_H

#include "messages/vox.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

/// A node as vox scan has found it.
struct FoundNode
{
    VOX::Addr addr = 0;
    QString type;
    /// Null if the node does not tell its label.
    QString label;
    QString version;
    /// Whether it only understands the older command set.
    bool isOlder = false;
    /// How many answers to one question came from this address.
    int answers = 1;
    /// In how many of the rounds it has answered. 0 if nobody was asked in rounds.
    int answeredRounds = 0;
    int rounds = 0;

    QString address() const { return VOX::toString(addr); }
    QString shownLabel() const;
    QString shownVersion() const { return isOlder ? QStringLiteral("older generation") : version; }
    /// Whether it answers so seldom that others may have been missed altogether.
    bool isWeak() const { return answeredRounds == 1 && rounds > 1; }
    QString weakness() const;

    QJsonObject toJson() const;
};

QJsonArray toJson(const QVector<FoundNode> &nodes);
/// Null for a null text.
QJsonValue textOrNull(const QString &text);

#endif

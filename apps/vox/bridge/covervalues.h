#ifndef COVERVALUES_H
#define COVERVALUES_H

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

#include <optional>

class VOXNetworkMotor;
class VOXNetworkNode;
struct NodeConfig;

/// How a cover stands, in the words of the topics: positions are 0 for closed to 100 for open. The line
/// counts the other way; it is turned round here and nowhere else.
struct CoverValues
{
    enum Motion { AtRest, Opening, Closing };

    /// Of a motor. @p endTolerance is in percent: so close to an end is at the end, and only that is.
    static CoverValues of(const VOXNetworkMotor &motor, const NodeConfig &node, int endTolerance);
    /// Of a group, from those of its members.
    static CoverValues ofGroup(const QVector<CoverValues> &members);
    /// The position for @p percent of the way down.
    static int positionOf(double percent, bool isInverted, int endTolerance);

    QByteArray positionText() const;
    /// opening, closing, open, closed or None. Never stopped: Home Assistant would make open or closed of
    /// that by a position that it may not have got yet.
    QByteArray stateText() const;

    std::optional<int> position;
    Motion motion = AtRest;
};

/// What changes by events only, so that a recorder does not fill up with readings.
QJsonObject attributesOf(const VOXNetworkMotor &motor);
/// What changes with each reading.
QJsonObject healthOf(const VOXNetworkNode &node, quint64 unanswered);

/// A label as people read it. @p latin1 are the node's bytes as the network gives them; hosts also write
/// UTF-8.
QString labelText(const QString &latin1);

#endif

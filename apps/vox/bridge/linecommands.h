#ifndef LINECOMMANDS_H
#define LINECOMMANDS_H

#include "vox/bridge/bridgelog.h"
#include "vox/bridge/bridgetopics.h"
#include "vox/bridge/commandbox.h"
#include "vox/bridge/siteconfig.h"

#include <QObject>

class GroupReader;
class Publisher;
class VOXMotion;
class VOXNetwork;
class VOXNetworkMotor;
struct MqttMessage;

/// Gives the commands for one line to its network, and says what has become of them.
class LineCommands : public QObject
{
    Q_OBJECT

public:
    /// All of these must outlive it. @p groups knows members that the configuration does not name.
    LineCommands(const SiteConfig &site, const LineConfig &line, const LineTopics &topics,
                 VOXNetwork &network, const GroupReader &groups, Publisher &publisher);

    void handle(const LineTopics::Request &request, const MqttMessage &message);
    /// Something else has moved the node: nothing older goes to it.
    void forget(unsigned int addr);
    /// Stops everything on the line, whoever it is.
    void stopAll();

Q_SIGNALS:
    /// Something was not obeyed.
    void noticed(BridgeLog::Level level, const QString &sentence);

private:
    QString problemOf(const BridgeTarget &target) const;
    QVector<VOXNetworkMotor *> members(const BridgeTarget &target) const;
    bool isOneFrame(const BridgeTarget &target, const QVector<VOXNetworkMotor *> &motors) const;
    void take(const CoverOrder &order);
    void drop(const CoverOrder &order, const QString &reason);
    void takeSingle(const CoverOrder &order, VOXNetworkMotor &motor);
    void takeMany(const CoverOrder &order);
    void stopAll(const CoverOrder &order);
    VOXMotion *send(const CoverCommand &command, VOXNetworkMotor &motor) const;
    VOXMotion *sendFrame(const CoverOrder &order, bool isInverted) const;
    void follow(const CoverOrder &order, VOXMotion *motion);
    void lookAt(unsigned int addr) const;
    void answer(const CoverOrder &order, const QString &reason, const QJsonObject &more = {});

    const SiteConfig &m_site;
    const LineConfig &m_line;
    const LineTopics &m_topics;
    VOXNetwork &m_network;
    const GroupReader &m_groups;
    Publisher &m_publisher;
    CommandBox m_box;
};

#endif

#ifndef SITECONFIG_H
#define SITECONFIG_H

#include "network/voxpollplan.h"
#include "transport/voxbusurl.h"
#include "vox/bridge/brokerurl.h"

#include <QJsonObject>
#include <QStringList>
#include <QVector>

#include <map>

/// What a site says of one node.
struct NodeConfig
{
    /// Of the older generation, which answers no scan.
    bool isLegacy = false;
    /// Whether the way down opens it, as with an awning that is rolled out.
    bool isInverted = false;
    /// Home Assistant's word for what it moves.
    QString deviceClass = QStringLiteral("shade");
};

struct GroupConfig
{
    QString name;
    QVector<unsigned int> members;
    /// Else the motors are asked.
    bool hasMembers = false;
};

struct LineConfig
{
    /// What is to be known of a node, whether it is listed or not.
    NodeConfig node(unsigned int addr) const;

    QString name;
    VOXBusUrl bus;
    /// Whether the nodes are those that answer a scan, besides those that are listed.
    bool isScan = true;
    std::map<unsigned int, NodeConfig> nodes;
    std::map<unsigned int, GroupConfig> groups;
    VOXPollPlan plan;
    int maxLoadPercent = 60;
};

/// A site: the lines of one gateway, and the broker that they are brought to.
struct SiteConfig
{
    /// What a name may be, for people.
    static QString nameRule();
    static bool isName(const QString &text);

    /// Reads @p json, which is what site.json holds. False if there is a mistake; @p problem names it with
    /// its path.
    static bool read(const QJsonObject &json, SiteConfig *site, QString *problem);

    struct Broker
    {
        BrokerUrl url;
        QString passwordFile;
        QString ca;
        QString cert;
        QString key;
        /// 5 or 3.
        int version = 5;
    };

    QString name;
    QString prefix = QStringLiteral("vox");
    QString discoveryPrefix = QStringLiteral("homeassistant");
    Broker mqtt;
    /// Operations that may be called from afar; with a "*" all of them.
    QStringList rpc;
    /// How close to an end, in percent, is at the end.
    int endTolerance = 1;
    QVector<LineConfig> lines;
};

#endif

#ifndef LINEBRIDGE_H
#define LINEBRIDGE_H

#include "vox/bridge/covervalues.h"
#include "vox/bridge/discoverydocument.h"
#include "vox/bridge/groupreader.h"
#include "vox/bridge/linecommands.h"
#include "vox/bridge/remotecalls.h"
#include "vox/bridge/siteconfig.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QSet>

#include <memory>

class Publisher;
class VOXNetwork;
class VOXNetworkMotor;
class VOXNetworkNode;

/// One line of a site: its network, what is said of it, and what it is told. All values are the network's.
class LineBridge : public QObject
{
    Q_OBJECT

public:
    /// @p number counts the lines of the site. @p site and @p publisher must outlive it.
    LineBridge(const SiteConfig &site, int number, Publisher &publisher);
    ~LineBridge() override;

    const LineConfig &config() const { return m_line; }
    const LineTopics &topics() const { return m_topics; }
    const DiscoveryDocument &documents() const { return m_documents; }

    /// Opens the bus, and looks for the nodes.
    void start();
    /// The first look at the nodes is over, or there is no line to look at.
    bool isScanned() const { return m_isScanned; }
    bool isOnline() const;
    /// Why it is not online.
    QString problem() const;
    /// How many nodes answer.
    int answering() const;
    QVector<unsigned int> silent() const;

    /// The broker knows this node from an earlier time: it is offline until it answers.
    void remember(unsigned int addr);
    /// Whether the site has this node.
    bool isServed(unsigned int addr) const { return m_line.isScan || m_line.nodes.count(addr) > 0; }
    bool isServed(const BridgeTarget &target) const;
    /// The node is gone for good. It comes back if it answers.
    void forget(unsigned int addr);
    /// The topics on which a node, or a group, may have left something at the broker.
    QVector<QByteArray> retainedTopics(const BridgeTarget &target) const;

    void handle(const LineTopics::Request &request, const MqttMessage &message);
    /// Stops everything on the line, whoever it is.
    void stopAll();
    /// Whether this line has not been left to another bridge.
    bool isOwn() const { return m_network != nullptr; }
    /// Another bridge has this line: nothing is sent or said any more.
    void leave();
    /// Says everything that waits for its time.
    void settle();

Q_SIGNALS:
    void scanned();
    void noticed(BridgeLog::Level level, const QString &sentence);

private:
    // The order in which all is said again: what is said of the lines themselves first, then values, then
    // documents.
    static constexpr int LineOrders = 1 << 20;
    static constexpr int GroupOrders = 1 << 19;
    static constexpr int DocumentOrders = 1 << 27;

    /// When what is said of a node was said last, or is due.
    struct Pace
    {
        int order = 0;
        qint64 saidMs = 0;
        bool isWaiting = false;
        size_t documentKey = 0;
        qint64 documentDueMs = 0;
        QByteArray state;
        /// The position is not known any more, and is taken away once the document does without it.
        bool isForgetting = false;
    };

    static bool isHere(const VOXNetworkNode &node);
    void timerEvent(QTimerEvent *event) override;
    void handleLine();
    void handleNode(VOXNetworkNode *node);
    void answerCall(unsigned int addr, const MqttMessage &message, const QByteArray &payload);
    void checkScan();
    Pace &paceOf(unsigned int addr);
    void say(VOXNetworkMotor &motor, Pace &pace);
    void sayHealth(const VOXNetworkNode &node);
    void sayNextHealth();
    void sayGroups();
    void sayStats();
    void sayWaiting(qint64 nowMs);
    void forgetPosition(unsigned int addr, Pace &pace);
    void checkDocument(const VOXNetworkMotor &motor, Pace &pace);
    void sayDocument(const VOXNetworkMotor &motor, Pace &pace);
    void sayLineDocuments();
    QString areaOf(unsigned int addr) const;

    const SiteConfig &m_site;
    const LineConfig &m_line;
    /// Of what is said of the line itself, and of the units of its nodes and groups.
    const int m_lineOrder;
    const int m_order;
    int m_lastOrder = 0;
    Publisher &m_publisher;
    const LineTopics m_topics;
    const DiscoveryDocument m_documents;
    std::unique_ptr<VOXNetwork> m_network;
    std::unique_ptr<GroupReader> m_groups;
    std::unique_ptr<LineCommands> m_commands;
    std::unique_ptr<RemoteCalls> m_calls;
    QMap<unsigned int, Pace> m_paces;
    QSet<unsigned int> m_remembered;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
    qint64 m_statsDueMs = 0;
    qint64 m_healthDueMs = 0;
    unsigned int m_lastHealth = 0;
    quint64 m_frames = 0;
    quint64 m_toldFrames = 0;
    bool m_isScanning = false;
    bool m_isScanned = false;
    bool m_areGroupsNews = false;
};

#endif

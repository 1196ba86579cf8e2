#ifndef BRIDGE_H
#define BRIDGE_H

#include "vox/bridge/bridgelog.h"
#include "vox/bridge/mqttlink.h"
#include "vox/bridge/nameguard.h"
#include "vox/bridge/publisher.h"
#include "vox/bridge/siteconfig.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>

#include <memory>
#include <vector>

class LineBridge;

/// The lines of a site on a broker.
///
/// The lines are served whether the broker is there or not; when it comes, all is said again. It also is the
/// memory of which nodes there were.
class Bridge : public QObject
{
    Q_OBJECT

public:
    Bridge(const SiteConfig &site, const QByteArray &password, BridgeLog::Level level);
    ~Bridge() override;

    void start();
    /// Says goodbye, and then is done.
    void end();

Q_SIGNALS:
    /// Broker and lines have been looked at for the first time. @p text is for people.
    void ready(const QString &text);
    /// The program is to end with this code.
    void done(int exitCode);

private:
    MqttLink::Options linkOptions(const QByteArray &password) const;
    QByteArray own(const char *leaf) const;
    void timerEvent(QTimerEvent *event) override;

    void handleConnected(int version);
    void handleLost(const QString &reason, int retryMs);
    void handleMessage(const MqttMessage &message);
    bool handleOwn(const MqttMessage &message);
    void handleInstance(const MqttMessage &message);
    void handleHomeAssistant(const MqttMessage &message);
    void handleOwner(const MqttMessage &message);
    void handleForget(const MqttMessage &message);
    void handleDocument(const MqttMessage &message);
    void handleCommand(const MqttMessage &message);
    void goLive();
    void subscribeCommands();
    void sayOnline();
    void sayAllSoon();
    void claimLines();
    void leave(LineBridge &line, const QByteArray &owner);
    void sayStats();
    void forgetOld();
    void checkReady();
    void finish(int exitCode);
    void tell(BridgeLog::Level level, const QString &sentence) { m_log.tell(level, sentence); }

    const SiteConfig m_site;
    NameGuard m_guard;
    MqttLink m_link;
    Publisher m_publisher;
    std::vector<std::unique_ptr<LineBridge>> m_lines;
    BridgeLog m_log;
    QBasicTimer m_instanceTimer;
    /// What others have said at the start: bridges that are online, who has a line, and what nobody serves
    /// any more.
    QSet<QByteArray> m_onlineBridges;
    QHash<QByteArray, QByteArray> m_owners;
    QVector<QByteArray> m_old;
    QSet<QByteArray> m_toldRetained;
    QElapsedTimer m_sinceStatus;
    QString m_lastProblem;
    /// What is wrong with the bridge as a whole.
    QString m_problem;
    bool m_isListening = false;
    bool m_isEchoed = false;
    bool m_isReady = false;
    bool m_isEnding = false;
    bool m_isDone = false;
};

#endif

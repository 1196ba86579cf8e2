#ifndef PANELLINE_H
#define PANELLINE_H

#include "panel/framelist.h"
#include "panel/linehistory.h"
#include "panel/recordedline.h"
#include "panel/site.h"

#include "network/voxnetwork.h"

#include <QObject>
#include <QPointer>

#include <array>
#include <memory>

class BusMessage;

/// A line of the panel: its network, and what has lately been on the line.
class PanelLine : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString name READ name CONSTANT)
    Q_PROPERTY(QString busName READ busName CONSTANT)
    Q_PROPERTY(VOXNetwork *network READ networkPointer NOTIFY networkChanged)
    Q_PROPERTY(FrameList *frames READ frames CONSTANT)
    Q_PROPERTY(bool open READ isOpen NOTIFY stateChanged)
    Q_PROPERTY(bool closed READ isClosed NOTIFY stateChanged)
    Q_PROPERTY(QString problem READ problem NOTIFY stateChanged)
    Q_PROPERTY(QString planStretch READ planStretch NOTIFY stateChanged)
    Q_PROPERTY(int loadPercent READ loadPercent NOTIFY ticked)
    Q_PROPERTY(int maxLoad READ maxLoad CONSTANT)
    Q_PROPERTY(QString lastFrame READ lastFrame NOTIFY ticked)
    Q_PROPERTY(double frameRate READ frameRate NOTIFY ticked)
    Q_PROPERTY(int failedChecks READ failedChecks NOTIFY ticked)
    Q_PROPERTY(int unanswered READ unanswered NOTIFY ticked)
    Q_PROPERTY(bool scanning READ isScanning NOTIFY scanningChanged)
    Q_PROPERTY(QString scanResult READ scanResult NOTIFY scanningChanged)
    Q_PROPERTY(double scanProgress READ scanProgress NOTIFY scanProgressed)

public:
    enum Sending { Sends, OnlyListens, Replays };

    /// @p bus stays the caller's; null opens the bus that the line names.
    PanelLine(const SiteLine &line, VOXBus *bus, Sending sending, QObject *parent);
    ~PanelLine() override;

    QString name() const { return m_line.name; }
    QString busName() const { return m_line.bus; }
    const SiteLine &site() const { return m_line; }
    VOXNetwork &network() const { return *m_network; }
    VOXNetwork *networkPointer() const { return m_network.get(); }
    FrameList *frames() { return &m_frames; }
    const LineHistory &history() const { return m_history; }
    /// Sentences about what should not be on the line.
    const QStringList &notices() const { return m_notices; }

    bool isOpen() const { return m_network->line() == VOXNetwork::Open; }
    bool isClosed() const { return m_network->line() == VOXNetwork::Closed; }
    QString problem() const;
    QString planStretch() const { return m_network->planStretch(); }
    int loadPercent() const;
    int maxLoad() const { return m_network->scheduler().limits().maxLoadPercent; }
    QString lastFrame() const { return m_frames.lastFrame(); }
    double frameRate() const;
    int failedChecks() const;
    int unanswered() const;
    bool isScanning() const { return m_isScanning; }
    QString scanResult() const { return m_scanResult; }
    /// How much of a range has been asked, from 0 to 1; -1 while it cannot be told.
    double scanProgress() const;

    /// The name of the façade that a node belongs to.
    QString facadeOf(VOX::Addr addr) const;
    /// Forgets all that was heard, as if the line began now.
    void restart();

    Q_INVOKABLE void scan();
    Q_INVOKABLE void scanRange(const QString &first, const QString &last);

    ///@{
    /// What was on a recorded line @p ms after its beginning, and how far that has been played since.
    void play(const LineItem &item, qint64 ms);
    void playUntil(qint64 ms);
    ///@}
    /// Milliseconds of the clock of history(): in a recording, its own time.
    qint64 historyMs() const;

Q_SIGNALS:
    /// The nodes of the network go next.
    void networkGoing();
    /// There is another network.
    void networkChanged();
    void stateChanged();
    void scanningChanged();
    void scanProgressed();
    /// Once a second, for what has been counted; in a recording, of its own time.
    void ticked();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void makeNetwork();
    void listenTo(VOXBus &bus);
    void handleWritten(const QByteArray &frame);
    void handleHeard(const BusMessage &message);
    void noteScanned(VOX::Addr addr);
    void endExchange(qint64 nowMs);
    LineHistory::Kind takenLane();
    void addStranger(const VOXMessage &frame);
    static qint64 nowMs();

    const SiteLine m_line;
    const QPointer<VOXBus> m_bus;
    const Sending m_sending;
    std::unique_ptr<VOXNetwork> m_network;
    FrameList m_frames;
    LineHistory m_history;
    RecordedLine m_recorded;
    qint64 m_playedMs = 0;
    qint64 m_toldSecond = 0;
    QStringList m_notices;
    bool m_isScanning = false;
    QString m_scanResult;
    // The range that is asked, and the address that was asked last.
    VOX::Addr m_scanFirst = 0;
    VOX::Addr m_scanLast = 0;
    VOX::Addr m_scanAt = 0;
    QBasicTimer m_timer;
    // The exchange that is on the line.
    qint64 m_exchangeMs = -1;
    LineHistory::Kind m_kind = LineHistory::Polls;
    std::array<quint64, VOXScheduler::LaneCount> m_sent{};
};

#endif

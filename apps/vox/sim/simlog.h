#ifndef SIMLOG_H
#define SIMLOG_H

#include "vox/line/pcapfile.h"

#include <QBasicTimer>
#include <QObject>

class VOXBus;
class VOXSimulation;

/// Shows, and writes into a capture, what hosts and the nodes of a simulation say, on any bus: whole frames,
/// and bytes that are none.
class SimLog : public QObject
{
    Q_OBJECT

public:
    enum Form { Silent, Text, Json };

    explicit SimLog(Form form)
        : m_form(form)
    {
    }

    /// Writes a capture, too. False if that cannot be; @p problem says why.
    bool open(const QString &fileName, QString *problem);
    /// Begins, as soon as @p simulation is on @p bus. Both must outlive it.
    void watch(const VOXBus &bus, const VOXSimulation &simulation);
    /// Shows the bytes of hosts that may have become a frame, because nothing follows any more.
    void flush();
    /// Whether the capture could not be written.
    bool hasFailed() const { return m_hasFailed; }

Q_SIGNALS:
    /// The capture cannot be written any more.
    void failed();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void handleDiscarded(const QByteArray &bytes);
    void handle(const QByteArray &bytes);
    void take(const LineItem &item);

    const Form m_form;
    PcapWriter m_capture;
    bool m_isWriting = false;
    bool m_hasFailed = false;
    /// What the bus has dropped, and when it began to. A receiver drops a damaged frame byte by byte, and
    /// waits meanwhile.
    QByteArray m_discarded;
    qint64 m_discardedNs = 0;
    QBasicTimer m_pause;
};

#endif

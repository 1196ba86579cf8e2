#ifndef LINETAP_H
#define LINETAP_H

#include "vox/line/framescanner.h"
#include "vox/line/porterrors.h"

#include <QBasicTimer>
#include <QObject>

#include <memory>

class QIODevice;
class QSocketNotifier;
struct VOXBusUrl;

/// Listens to a bus, and never sends. What comes has the time at which its last byte came: of a datagram as
/// the system tells it, of a serial line when it was read.
class LineTap : public QObject
{
public:
    /// Null if that bus cannot be listened to; @p problem says why. Calls @p found with each item that comes.
    static std::unique_ptr<LineTap> open(const VOXBusUrl &url, std::function<void(const LineItem &)> found,
                                         QString *problem);

    /// The same on a line that is open already, and outlives this.
    static std::unique_ptr<LineTap> on(QIODevice *line, std::function<void(const LineItem &)> found);
    ~LineTap() override;

    /// Nanoseconds since 1970, by a clock that nobody sets.
    static qint64 nowNs();

    /// Shows the bytes that have come and not been shown yet.
    void flush() { m_scanner.flush(); }
    /// What the driver of a serial port has counted since it was opened here. Empty if it counts nothing, and
    /// for other buses.
    std::optional<PortErrors> portErrors() const;
    /// Called when the line has gone, with the reason.
    std::function<void(const QString &)> onGone;

    /// A text that says what can be seen on this kind of bus; empty if everything can.
    const QString &limitation() const { return m_limitation; }

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    explicit LineTap(std::function<void(const LineItem &)> found);
    bool openSerial(const VOXBusUrl &url, QString *problem);
    bool openSocket(const VOXBusUrl &url, QString *problem);
    void listen(QIODevice *line);
    bool readDatagram();

    FrameScanner m_scanner;
    QBasicTimer m_pauseTimer;
    QString m_limitation;
    int m_socket = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    qint64 m_timeNs = 0;
    int m_portDescriptor = -1;
    PortErrors m_firstPortErrors;
};

#endif

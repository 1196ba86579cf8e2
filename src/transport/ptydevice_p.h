#ifndef VOX_TRANSPORT_PTYDEVICE_P_H
#define VOX_TRANSPORT_PTYDEVICE_P_H

#include <QIODevice>

class QSocketNotifier;

/// One end of a serial line whose other end is a port of the system: a pseudo-terminal that any program can
/// open as its serial port, close, and open again. The next user finds the answers that the one before has
/// not read.
class PtyDevice : public QIODevice
{
public:
    explicit PtyDevice(QObject *parent = nullptr);
    ~PtyDevice() override;

    /// The path of the port. Known once the device has been opened.
    const QString &portName() const { return m_portName; }

    bool open(OpenMode mode) override;
    void close() override;
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_received.size() + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    void receive();
    bool fail();

    int m_master = -1;
    int m_port = -1;
    QString m_portName;
    QByteArray m_received;
    QSocketNotifier *m_notifier = nullptr;
};

#endif

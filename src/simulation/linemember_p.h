#ifndef VOX_SIMULATION_LINEMEMBER_P_H
#define VOX_SIMULATION_LINEMEMBER_P_H

#include <vox/simulation/voxline.h>

#include <QIODevice>
#include <QPointer>

/// A member of a VOXLine: what it is given to send goes there, what arrives is kept until it is read.
class LineMember : public QIODevice
{
    Q_OBJECT

public:
    explicit LineMember(VOXLine &line)
        : m_line(&line)
    {
    }
    ~LineMember() override;

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_received.size() + QIODevice::bytesAvailable(); }
    qint64 bytesToWrite() const override { return bytesToSend; }
    void close() override;

    /// Keeps a byte; announce() then tells of it.
    void receive(char byte);
    /// So many bytes that it was given are on the line; announce() then tells of them.
    void complete(qint64 count);
    /// Announces what has happened since the last time. Not from inside of itself, as with other devices.
    void announce();

    bool isMute = false;
    /// When its last byte is on the line.
    qint64 sendsUntil = 0;
    qint64 bytesToSend = 0;

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QPointer<VOXLine> m_line;
    QByteArray m_received;
    qint64 m_completed = 0;
    bool m_hasNews = false;
    bool m_isAnnouncing = false;
};

#endif

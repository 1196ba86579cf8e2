#ifndef MQTTSOCKET_H
#define MQTTSOCKET_H

#include <QElapsedTimer>
#include <QSocketNotifier>

#include <functional>

struct mosquitto;

/// The socket of a client of libmosquitto in the event loop. Lets the library read and write when it can.
class MqttSocket
{
public:
    /// Is given the result of each reading and writing. It may call silence(), and must not destroy the
    /// socket.
    using Report = std::function<void(int result)>;

    /// @p client has begun to connect, and must outlive it. @p isTls: the library may hold packets that the
    /// socket does not tell of.
    MqttSocket(mosquitto *client, bool isTls, Report report);

    /// Whether the library is reading, and may not be told to write.
    bool isReading() const { return m_isReading; }
    /// Milliseconds since something came; of the time before, since it was made. Answers to pings count, of
    /// which the library tells nothing.
    qint64 silentForMs() const { return m_heard.elapsed(); }
    /// To be called whenever the library has got something to write.
    void updateWriting();
    /// Nothing is read or written from here any more. A notifier of a socket that the library has closed
    /// would never rest, or serve the next file.
    void silence();

private:
    void read();
    void write();

    mosquitto *m_client;
    const int m_socket;
    const bool m_isTls;
    Report m_report;
    QElapsedTimer m_heard;
    QSocketNotifier m_reading;
    QSocketNotifier m_writing;
    bool m_isReading = false;
    bool m_isSilent = false;
};

#endif

#include "vox/bridge/mqttsocket.h"

#include <mosquitto.h>
#include <sys/ioctl.h>

#include <utility>

namespace {
/// Packets that are read before others have their turn.
constexpr int MaxReads = 64;
constexpr int TlsReads = 8;
}

MqttSocket::MqttSocket(mosquitto *client, bool isTls, Report report)
    : m_client(client)
    , m_socket(mosquitto_socket(client))
    , m_isTls(isTls)
    , m_report(std::move(report))
    , m_reading(m_socket, QSocketNotifier::Read)
    , m_writing(m_socket, QSocketNotifier::Write)
{
    m_heard.start();
    QObject::connect(&m_reading, &QSocketNotifier::activated, &m_reading, [this] { read(); });
    QObject::connect(&m_writing, &QSocketNotifier::activated, &m_writing, [this] { write(); });
}

void MqttSocket::read()
{
    m_heard.start();
    for (int i = 0; i < MaxReads && !m_isSilent; ++i) {
        m_isReading = true;
        m_report(mosquitto_loop_read(m_client, 1));
        m_isReading = false;
        int pending = 0;
        const bool hasMore = !m_isSilent && ::ioctl(m_socket, FIONREAD, &pending) == 0 && pending > 0;
        if (!hasMore && (!m_isTls || i >= TlsReads))
            break;
    }
    updateWriting();
}

void MqttSocket::write()
{
    m_report(mosquitto_loop_write(m_client, 1));
    updateWriting();
}

void MqttSocket::updateWriting()
{
    if (!m_isSilent)
        m_writing.setEnabled(mosquitto_want_write(m_client));
}

void MqttSocket::silence()
{
    m_isSilent = true;
    m_reading.setEnabled(false);
    m_writing.setEnabled(false);
}

#include "simulation/localsockets_p.h"

#include <QSocketNotifier>

#include <array>

#include <arpa/inet.h>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

LocalSockets::LocalSockets()
    : m_poll(::epoll_create1(EPOLL_CLOEXEC))
    , m_probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof address;
    const timeval limit{1, 0};
    // It talks to itself.
    const bool isReady = ::bind(m_probe, generic, size) == 0 && ::getsockname(m_probe, generic, &size) == 0
        && ::connect(m_probe, generic, size) == 0
        && ::setsockopt(m_probe, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
    if (m_poll < 0 || !isReady)
        qFatal("[VOXVirtualTime]: there is no socket on 127.0.0.1");
}

LocalSockets::~LocalSockets()
{
    ::close(m_probe);
    ::close(m_poll);
}

void LocalSockets::add(QSocketNotifier *notifier)
{
    if (notifier->type() == QSocketNotifier::Write)
        m_writers.append(notifier);
    if (notifier->type() != QSocketNotifier::Read)
        return;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = notifier;
    ::epoll_ctl(m_poll, EPOLL_CTL_ADD, static_cast<int>(notifier->socket()), &event);
    ++m_readers;
}

void LocalSockets::remove(QSocketNotifier *notifier)
{
    m_writers.removeAll(notifier);
    if (notifier->type() != QSocketNotifier::Read)
        return;
    ::epoll_ctl(m_poll, EPOLL_CTL_DEL, static_cast<int>(notifier->socket()), nullptr);
    --m_readers;
}

void LocalSockets::letAllArrive()
{
    char byte = 0;
    ::send(m_probe, &byte, 1, 0);
    ssize_t received = 0;
    do {
        received = ::recv(m_probe, &byte, 1, 0);
    } while (received < 0 && errno == EINTR);
    if (received != 1)
        qFatal("[VOXVirtualTime]: 127.0.0.1 does not deliver");
}

QList<QSocketNotifier *> LocalSockets::ready()
{
    QList<QSocketNotifier *> found = m_writers;
    if (m_readers == 0)
        return found;
    letAllArrive();
    std::array<epoll_event, 64> events;
    const int count = ::epoll_wait(m_poll, events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i)
        found.append(static_cast<QSocketNotifier *>(events[static_cast<std::size_t>(i)].data.ptr));
    return found;
}

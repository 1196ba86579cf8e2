#ifndef VOX_SIMULATION_LOCALSOCKETS_P_H
#define VOX_SIMULATION_LOCALSOCKETS_P_H

#include <QList>

class QSocketNotifier;

/// Tells which sockets have something to do, when only this machine sends.
class LocalSockets
{
public:
    LocalSockets();
    ~LocalSockets();
    Q_DISABLE_COPY_MOVE(LocalSockets)

    void add(QSocketNotifier *notifier);
    void remove(QSocketNotifier *notifier);
    /// Those that have got something, when the system has delivered all that was sent before; and those that
    /// want to send, which they always can.
    QList<QSocketNotifier *> ready();

private:
    void letAllArrive();

    const int m_poll;
    // What is sent goes the same way as all else, behind it.
    const int m_probe;
    int m_readers = 0;
    QList<QSocketNotifier *> m_writers;
};

#endif

#include "support/ptypair.h"

#include <QFile>
#include <QSocketNotifier>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

PtyPair::PtyPair()
{
    plug(m_ends[0]);
    plug(m_ends[1]);
}

PtyPair::~PtyPair()
{
    unplug(0);
    unplug(1);
}

void PtyPair::unplug(int port)
{
    End &end = m_ends[port];
    delete end.listener;
    ::close(end.slave);
    ::close(end.master);
    end = {};
}

void PtyPair::plug(End &end)
{
    end.master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (end.master < 0 || ::grantpt(end.master) != 0 || ::unlockpt(end.master) != 0)
        return;
    end.name = QFile::decodeName(::ptsname(end.master));
    // As long as the port is open here as well, the wire survives that it is closed and opened elsewhere.
    end.slave = ::open(::ptsname(end.master), O_RDWR | O_NOCTTY);
    auto *notifier = new QSocketNotifier(end.master, QSocketNotifier::Read, this);
    end.listener = notifier;
    connect(notifier, &QSocketNotifier::activated, this,
            [this, &end] { carry(end, m_ends[&end == &m_ends[0] ? 1 : 0]); });
}

void PtyPair::carry(const End &from, const End &to)
{
    char bytes[256];
    const ssize_t count = ::read(from.master, bytes, sizeof bytes);
    if (count <= 0 || ::write(to.master, bytes, static_cast<std::size_t>(count)) != count)
        qWarning("the wire of the pseudo-terminals is broken");
}

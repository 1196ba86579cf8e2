#include "vox/signalwatcher.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
// A handler may do little more than write: it wakes the event loop through a pipe.
std::array<int, 2> wakePipe = {-1, -1};

extern "C" void wake(int)
{
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(wakePipe[1], &byte, 1);
}

int openPipe()
{
    return ::pipe2(wakePipe.data(), O_CLOEXEC | O_NONBLOCK) == 0 ? wakePipe[0] : -1;
}
}

SignalWatcher::SignalWatcher(QObject *parent)
    : QObject(parent)
    , m_notifier(openPipe(), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        if (::read(wakePipe[0], &byte, 1) == 1)
            Q_EMIT interrupted();
    });
    std::signal(SIGINT, wake);
    std::signal(SIGTERM, wake);
}

SignalWatcher::~SignalWatcher()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    m_notifier.setEnabled(false);
    ::close(wakePipe[0]);
    ::close(wakePipe[1]);
}

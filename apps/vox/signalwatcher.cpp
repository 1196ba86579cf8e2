#include "vox/signalwatcher.h"

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace {
// A handler may do little more than write: it wakes the event loop through a pipe.
std::array<int, 2> wakePipe = {-1, -1};
constexpr char InterruptByte = 0;
constexpr char ReportByte = 1;
constexpr char ResizeByte = 2;

constexpr std::chrono::milliseconds SecondSignal(50);
constexpr std::array<int, 5> Signals = {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGWINCH};

extern "C" void wake(int number)
{
    const char byte = number == SIGUSR1 ? ReportByte : number == SIGWINCH ? ResizeByte : InterruptByte;
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
        if (::read(wakePipe[0], &byte, 1) != 1)
            return;
        if (byte == ReportByte) {
            Q_EMIT reportRequested();
        } else if (byte == ResizeByte) {
            Q_EMIT resized();
        } else {
            m_isInterrupted = true;
            Q_EMIT interrupted();
        }
    });
    for (const int number : Signals) {
        // A program under nohup ignores SIGHUP.
        if (std::signal(number, wake) == SIG_IGN && number == SIGHUP)
            std::signal(number, SIG_IGN);
    }
}

SignalWatcher::~SignalWatcher()
{
    // 'timeout' sends a signal to its program, and then to the group of both. The second one is not to end
    // what the first has begun.
    if (m_isInterrupted)
        std::this_thread::sleep_for(SecondSignal);
    for (const int number : Signals)
        std::signal(number, SIG_DFL);
    m_notifier.setEnabled(false);
    ::close(wakePipe[0]);
    ::close(wakePipe[1]);
}

#include "vox/top/terminal.h"

#include "vox/console.h"
#include "vox/top/screen.h"

#include <array>
#include <csignal>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {
/// How the terminal was. Read in signal handlers.
termios before;
volatile std::sig_atomic_t isTaken = 0;

constexpr std::array<int, 6> Faults = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGQUIT};

// An exception that nobody catches is an abort, too.
extern "C" void giveBackAtFault(int number)
{
    if (isTaken) {
        constexpr char Bytes[] = "\x1b[0m\x1b[?25h\x1b[?1049l";
        ::tcsetattr(STDIN_FILENO, TCSANOW, &before);
        [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, Bytes, sizeof Bytes - 1);
    }
    std::signal(number, SIG_DFL);
    std::raise(number);
}
}

bool Terminal::isCapable()
{
    const QString name = qEnvironmentVariable("TERM");
    return isTerminal() && !name.isEmpty() && name != QLatin1String("dumb");
}

QSize Terminal::size()
{
    constexpr int Columns = 80;
    constexpr int Rows = 24;
    winsize size{};
    const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
    return isKnown ? QSize(size.ws_col, size.ws_row) : QSize(Columns, Rows);
}

Terminal::Terminal(QObject *parent)
    : QObject(parent)
{
    take();
    for (const int number : Faults)
        std::signal(number, giveBackAtFault);
    if (::isatty(STDIN_FILENO) != 1)
        return;
    m_input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
    connect(m_input.get(), &QSocketNotifier::activated, this, &Terminal::readKeys);
}

Terminal::~Terminal()
{
    giveBack();
    for (const int number : Faults)
        std::signal(number, SIG_DFL);
}

void Terminal::take()
{
    if (::tcgetattr(STDIN_FILENO, &before) == 0) {
        isTaken = 1;
        termios settings = before;
        settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        // Ctrl-Z comes as a key, so that the screen can be given back first.
        settings.c_cc[VSUSP] = _POSIX_VDISABLE;
        settings.c_cc[VMIN] = 1;
        settings.c_cc[VTIME] = 0;
        ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    }
    printBytes(Screen::begin());
}

void Terminal::giveBack()
{
    // What was stopped by Ctrl-S would keep the last bytes back.
    ::tcflow(STDOUT_FILENO, TCOON);
    printBytes(Screen::end());
    if (isTaken) {
        isTaken = 0;
        ::tcsetattr(STDIN_FILENO, TCSANOW, &before);
    }
}

void Terminal::readKeys()
{
    std::array<char, 256> bytes;
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count <= 0) {
        // Nobody types any more.
        m_input->setEnabled(false);
        return;
    }
    const QVector<Key> keys = Key::read(QByteArray(bytes.data(), static_cast<int>(count)));
    for (const Key &key : keys) {
        if (key.kind != Key::Suspend) {
            Q_EMIT keyPressed(key);
            continue;
        }
        giveBack();
        waitForOutput();
        std::raise(SIGSTOP);
        take();
        Q_EMIT resumed();
    }
}

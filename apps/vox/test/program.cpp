#include "vox/test/program.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int GraceMs = 2000;
constexpr int PollMs = 10;
constexpr int MaxOutput = 1 << 20;
}

Program::Program()
{
    setProcessChannelMode(MergedChannels);
    // Processes whose parents have ended become children of this one, and can be found.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    setChildProcessModifier(prepareChild);
#endif
    connect(this, &QProcess::readyRead, this, [this] {
        m_output += readAll();
        m_output = m_output.right(MaxOutput);
    });
}

Program::~Program()
{
    end();
}

/// Runs in the child, before the program does.
void Program::prepareChild()
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

bool Program::run(const QStringList &command, const QString &folder, QString *problem)
{
    QString name = command.constFirst();
    if (name.contains(QLatin1Char('/')) && QFileInfo(name).isRelative())
        name = QDir(folder).filePath(QDir::cleanPath(name));
    setWorkingDirectory(folder);
    start(name, command.mid(1));
    if (!waitForStarted()) {
        *problem = QStringLiteral("%1 cannot be started: %2").arg(command.constFirst(), errorString());
        return false;
    }
    m_group = processId();
    return true;
}

bool Program::end()
{
    if (m_group == 0)
        return true;
    signalGroup(SIGTERM);
    const bool isDone = waitForGroup(GraceMs) || hasEnded();
    signalGroup(SIGKILL);
    waitForGroup(GraceMs);
    killOrphans();
    m_group = 0;
    return isDone;
}

QString Program::fate() const
{
    if (!hasEnded())
        return QStringLiteral("still runs");
    if (exitStatus() == NormalExit)
        return QStringLiteral("ended with code %1").arg(exitCode());
    return QStringLiteral("died of signal %1 (%2)")
        .arg(exitCode())
        .arg(QString::fromLocal8Bit(::strsignal(exitCode())));
}

void Program::signalGroup(int number) const
{
    ::kill(-static_cast<pid_t>(m_group), number);
}

/// Whether all of the group have ended within @p ms.
bool Program::waitForGroup(int ms)
{
    const auto group = static_cast<pid_t>(m_group);
    QTimer pulse;
    pulse.start(PollMs);
    for (const QDeadlineTimer deadline(ms); !deadline.hasExpired();) {
        // What has ended stays in its group until it is waited for. QProcess waits for the program itself.
        while (hasEnded() && ::waitpid(-group, nullptr, WNOHANG) > 0)
            continue;
        if (hasEnded() && ::kill(-group, 0) != 0)
            return true;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return false;
}

/// Kills what has left the group, now that its parents have ended.
void Program::killOrphans()
{
    for (;;) {
        QFile file(QStringLiteral("/proc/self/task/%1/children").arg(::getpid()));
        if (!file.open(QIODevice::ReadOnly))
            return;
        const QList<QByteArray> children = file.readAll().simplified().split(' ');
        if (children.constFirst().isEmpty())
            return;
        for (const QByteArray &child : children) {
            ::kill(child.toInt(), SIGKILL);
            ::waitpid(child.toInt(), nullptr, 0);
        }
    }
}

#ifndef WATCHING_H
#define WATCHING_H

#include <QMutex>
#include <QStringList>

#include <functional>

/// Keeps the warnings of its scope, or the messages of another kind; nothing is printed meanwhile. One at a
/// time.
class WarningLog
{
public:
    explicit WarningLog(QtMsgType kind = QtWarningMsg)
    {
        s_kind = kind;
        s_texts.clear();
    }
    ~WarningLog() { qInstallMessageHandler(m_previous); }
    Q_DISABLE_COPY_MOVE(WarningLog)

    QStringList texts() const
    {
        const QMutexLocker locker(&s_mutex);
        return s_texts;
    }

private:
    static void keep(QtMsgType type, const QMessageLogContext &, const QString &text)
    {
        const QMutexLocker locker(&s_mutex);
        if (type == s_kind)
            s_texts.append(text);
    }

    static inline QMutex s_mutex;
    static inline QtMsgType s_kind = QtWarningMsg;
    static inline QStringList s_texts;
    const QtMessageHandler m_previous = qInstallMessageHandler(keep);
};

/// Runs the event loop until @p condition holds, and looks after each event; false after five seconds.
bool waitFor(const std::function<bool()> &condition);

/// Whether a scenario, which returns the milliseconds that it took, never takes less than @p least, and no
/// more than @p most: that in the best of several runs, because the machine may be busy. Empty if so, else
/// what is wrong.
QByteArray timing(int least, int most, const std::function<double()> &scenario);

#endif

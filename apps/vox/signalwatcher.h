#ifndef SIGNALWATCHER_H
#define SIGNALWATCHER_H

#include <QObject>
#include <QSocketNotifier>

/// Turns SIGINT, SIGTERM, SIGHUP, SIGUSR1 and SIGWINCH into Qt signals. A program has one at a time.
class SignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SignalWatcher(QObject *parent = nullptr);
    ~SignalWatcher() override;

Q_SIGNALS:
    void interrupted();
    /// Emitted at SIGUSR1.
    void reportRequested();
    /// Emitted at SIGWINCH: the terminal has another size.
    void resized();

private:
    QSocketNotifier m_notifier;
    bool m_isInterrupted = false;
};

#endif

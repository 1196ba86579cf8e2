#ifndef SIGNALWATCHER_H
#define SIGNALWATCHER_H

#include <QObject>
#include <QSocketNotifier>

/// Turns SIGINT, SIGTERM, SIGHUP and SIGUSR1 into Qt signals. A program has one at a time.
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

private:
    QSocketNotifier m_notifier;
};

#endif

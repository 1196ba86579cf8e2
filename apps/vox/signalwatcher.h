#ifndef SIGNALWATCHER_H
#define SIGNALWATCHER_H

#include <QObject>
#include <QSocketNotifier>

/// Turns SIGINT and SIGTERM into a Qt signal. One at a time in a program.
class SignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SignalWatcher(QObject *parent = nullptr);
    ~SignalWatcher() override;

Q_SIGNALS:
    void interrupted();

private:
    QSocketNotifier m_notifier;
};

#endif

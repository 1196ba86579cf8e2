#ifndef STOPKEY_H
#define STOPKEY_H

#include <QObject>

/// Tells of Esc in any window before anything else hears of it. What Esc closes is closed, too.
class StopKey : public QObject
{
    Q_OBJECT

public:
    /// Installs itself on the application.
    explicit StopKey(QObject *parent = nullptr);

Q_SIGNALS:
    void pressed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

#endif

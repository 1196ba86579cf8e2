#ifndef PICTURESAVER_H
#define PICTURESAVER_H

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QQuickItemGrabResult>
#include <QQuickWindow>

#include <functional>

/// Saves a picture of a window once what it shows is there.
class PictureSaver : public QObject
{
    Q_OBJECT

public:
    /// Waits @p afterMs, and then at most five seconds more for @p isSettled.
    PictureSaver(QQuickWindow &window, const QString &fileName, int afterMs, std::function<bool()> isSettled,
                 QObject *parent = nullptr);

Q_SIGNALS:
    /// @p problem is empty if the picture has been saved.
    void finished(const QString &problem);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void grab();

    QQuickWindow &m_window;
    const QString m_fileName;
    const int m_afterMs;
    const std::function<bool()> m_isSettled;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
    QSharedPointer<QQuickItemGrabResult> m_result;
};

#endif

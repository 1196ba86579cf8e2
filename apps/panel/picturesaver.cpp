#include "panel/picturesaver.h"

#include <QQuickItem>
#include <QTimerEvent>

namespace {
constexpr int CheckMs = 100;
constexpr int PatienceMs = 5000;
}

PictureSaver::PictureSaver(QQuickWindow &window, const QString &fileName, int afterMs,
                           std::function<bool()> isSettled, QObject *parent)
    : QObject(parent)
    , m_window(window)
    , m_fileName(fileName)
    , m_afterMs(afterMs)
    , m_isSettled(std::move(isSettled))
{
    m_clock.start();
    m_timer.start(CheckMs, this);
}

void PictureSaver::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const qint64 passed = m_clock.elapsed();
    if (passed < m_afterMs || (!m_isSettled() && passed < m_afterMs + PatienceMs))
        return;
    m_timer.stop();
    grab();
}

void PictureSaver::grab()
{
    // Grabbing the window gives nothing on the platform without displays. The page has a colour of its own.
    m_result = m_window.contentItem()->grabToImage();
    if (!m_result) {
        Q_EMIT finished(tr("The window cannot be drawn here."));
        return;
    }
    connect(m_result.data(), &QQuickItemGrabResult::ready, this, [this] {
        Q_EMIT finished(m_result->image().save(m_fileName) ? QString()
                                                           : tr("%1 cannot be written.").arg(m_fileName));
    });
}

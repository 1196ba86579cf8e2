#include "panel/stopkey.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

StopKey::StopKey(QObject *parent)
    : QObject(parent)
{
    qGuiApp->installEventFilter(this);
}

bool StopKey::eventFilter(QObject *watched, QEvent *event)
{
    // The window is the first to get a key. A key that is held stops once.
    if (event->type() == QEvent::KeyPress && qobject_cast<QWindow *>(watched)) {
        const auto *const key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Escape && !key->isAutoRepeat())
            Q_EMIT pressed();
    }
    return QObject::eventFilter(watched, event);
}

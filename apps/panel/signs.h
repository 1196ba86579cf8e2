#ifndef SIGNS_H
#define SIGNS_H

#include <QImage>
#include <QQuickImageProvider>

class QPainter;

/// The signs of the panel, drawn: fonts do not have them everywhere.
namespace Signs {
enum Sign : int {
    Up,
    Down,
    Stop,
    Wink,
    Lock,
    Refused,
    Cross,
    Check,
    Unknown,
    Undo,
    Save,
    Play,
    Pause,
    ArrowUp,
    ArrowDown,
    HalfDisc
};

/// Draws @p sign into the square @p rect.
void paint(QPainter &painter, Sign sign, const QRectF &rect, const QColor &colour);
}

/// "image://sign/NAME/COLOUR": for QML.
class SignProvider : public QQuickImageProvider
{
public:
    SignProvider();
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};

#endif

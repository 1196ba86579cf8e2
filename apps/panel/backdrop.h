#ifndef BACKDROP_H
#define BACKDROP_H

#include <QImage>
#include <QQuickImageProvider>
#include <QUrl>

/// The picture of a building behind its shades: a PNG, JPEG or SVG file. It takes no more memory than a
/// window needs, and loads nothing that it links to.
namespace Backdrop {
/// In its own pixels; empty if it cannot be shown, with @p problem saying why and what to do.
QSize sizeOf(const QString &fileName, QString *problem);
/// As sizeOf() has it, but at most @p width pixels wide, and 4096 each way. Null if it cannot be shown.
QImage read(const QString &fileName, int width);
/// What QML shows; another one once the file has changed.
QUrl urlOf(const QString &fileName);
}

/// Reads pictures beside the window's thread.
class BackdropProvider : public QQuickImageProvider
{
public:
    BackdropProvider();
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};

#endif

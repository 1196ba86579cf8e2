#include "panel/signs.h"

#include <QPainter>
#include <QPainterPath>

namespace {
/// On a grid of 24.
constexpr double Grid = 24;
constexpr double Stroke = 2;

struct Row
{
    const char *name;
    void (*draw)(QPainterPath &path);
    bool isFilled;
};

void up(QPainterPath &path)
{
    path.moveTo(5, 15);
    path.lineTo(12, 8.5);
    path.lineTo(19, 15);
}

void down(QPainterPath &path)
{
    path.moveTo(5, 9);
    path.lineTo(12, 15.5);
    path.lineTo(19, 9);
}

void stop(QPainterPath &path)
{
    path.addRoundedRect(QRectF(6, 6, 12, 12), 1.5, 1.5);
}

void wink(QPainterPath &path)
{
    path.moveTo(12, 3);
    path.quadTo(13, 11, 21, 12);
    path.quadTo(13, 13, 12, 21);
    path.quadTo(11, 13, 3, 12);
    path.quadTo(11, 11, 12, 3);
}

void lock(QPainterPath &path)
{
    path.setFillRule(Qt::OddEvenFill);
    path.addRoundedRect(QRectF(5, 10.5, 14, 10.5), 1.5, 1.5);
    path.moveTo(7, 10.5);
    path.lineTo(7, 8);
    path.arcTo(QRectF(7, 3, 10, 10), 180, -180);
    path.lineTo(17, 10.5);
    path.lineTo(14.6, 10.5);
    path.lineTo(14.6, 8);
    path.arcTo(QRectF(9.4, 5.4, 5.2, 5.2), 0, 180);
    path.lineTo(9.4, 10.5);
    path.closeSubpath();
}

void refused(QPainterPath &path)
{
    path.moveTo(12, 5);
    path.lineTo(12, 13.5);
    path.moveTo(12, 18.4);
    path.lineTo(12, 18.6);
}

void cross(QPainterPath &path)
{
    path.moveTo(6, 6);
    path.lineTo(18, 18);
    path.moveTo(18, 6);
    path.lineTo(6, 18);
}

void check(QPainterPath &path)
{
    path.moveTo(5, 12.5);
    path.lineTo(10, 17.5);
    path.lineTo(19, 7);
}

void unknown(QPainterPath &path)
{
    path.moveTo(8.5, 9);
    path.cubicTo(8.5, 3.8, 15.8, 3.8, 15.8, 8.6);
    path.cubicTo(15.8, 11.8, 12, 11.6, 12, 14.8);
    path.moveTo(12, 18.7);
    path.lineTo(12, 18.9);
}

void undo(QPainterPath &path)
{
    path.moveTo(8, 5);
    path.lineTo(4, 9);
    path.lineTo(8, 13);
    path.moveTo(4, 9);
    path.lineTo(14, 9);
    path.arcTo(QRectF(9, 9, 10, 10), 90, -180);
    path.lineTo(9, 19);
}

void save(QPainterPath &path)
{
    path.moveTo(12, 4);
    path.lineTo(12, 15);
    path.moveTo(7, 10.5);
    path.lineTo(12, 15.5);
    path.lineTo(17, 10.5);
    path.moveTo(5, 20);
    path.lineTo(19, 20);
}

void play(QPainterPath &path)
{
    path.moveTo(8, 5);
    path.lineTo(19, 12);
    path.lineTo(8, 19);
    path.closeSubpath();
}

void pause(QPainterPath &path)
{
    path.addRect(QRectF(7, 5, 3.6, 14));
    path.addRect(QRectF(13.4, 5, 3.6, 14));
}

void arrowUp(QPainterPath &path)
{
    path.moveTo(12, 19);
    path.lineTo(12, 5);
    path.moveTo(6.5, 10.5);
    path.lineTo(12, 5);
    path.lineTo(17.5, 10.5);
}

void arrowDown(QPainterPath &path)
{
    path.moveTo(12, 5);
    path.lineTo(12, 19);
    path.moveTo(6.5, 13.5);
    path.lineTo(12, 19);
    path.lineTo(17.5, 13.5);
}

void halfDisc(QPainterPath &path)
{
    path.setFillRule(Qt::OddEvenFill);
    path.addEllipse(QRectF(3, 3, 18, 18));
    path.moveTo(12, 5);
    path.arcTo(QRectF(5, 5, 14, 14), 90, 180);
    path.closeSubpath();
}

const Row rows[] = {
    {"up", up, false},         {"down", down, false},       {"stop", stop, true},
    {"wink", wink, true},      {"lock", lock, true},        {"refused", refused, false},
    {"cross", cross, false},   {"check", check, false},     {"unknown", unknown, false},
    {"undo", undo, false},     {"save", save, false},       {"play", play, true},
    {"pause", pause, true},    {"arrowUp", arrowUp, false}, {"arrowDown", arrowDown, false},
    {"theme", halfDisc, true},
};
static_assert(std::size(rows) == Signs::HalfDisc + 1);
}

void Signs::paint(QPainter &painter, Sign sign, const QRectF &rect, const QColor &colour)
{
    const Row &row = rows[sign];
    QPainterPath path;
    row.draw(path);
    const double scale = rect.width() / Grid;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect.topLeft());
    painter.scale(scale, scale);
    const double width = Stroke / std::min(1.0, scale);
    painter.setPen(row.isFilled ? QPen(Qt::NoPen)
                                : QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(row.isFilled ? QBrush(colour) : QBrush(Qt::NoBrush));
    painter.drawPath(path);
    painter.restore();
}

SignProvider::SignProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

QImage SignProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const QString name = id.section(QLatin1Char('/'), 0, 0);
    const QColor colour(QLatin1Char('#') + id.section(QLatin1Char('/'), 1));
    QImage image(requestedSize.isValid() ? requestedSize : QSize(24, 24),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        if (name == QLatin1String(rows[i].name))
            Signs::paint(painter, static_cast<Signs::Sign>(i), image.rect(), colour);
    }
    *size = image.size();
    return image;
}

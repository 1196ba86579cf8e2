#include "panel/shadepainter.h"

#include "panel/facadelayout.h"

#include <QCache>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <vector>

namespace {
constexpr double FoldPitch = 12;
constexpr double SlatPitch = 6;
constexpr double HatchPitch = 8;
constexpr int MinutesPerHour = 60;
constexpr int CachedKilobytes = 32 * 1024;
constexpr int BytesPerKilobyte = 1024;

QCache<QString, QImage> &cache()
{
    static QCache<QString, QImage> cache(CachedKilobytes);
    return cache;
}

/// @p first and what follows @p pitch by @p pitch, below @p end.
std::vector<double> steps(double first, double end, double pitch)
{
    std::vector<double> all;
    const int count = std::max(0, static_cast<int>(std::ceil((end - first) / pitch)));
    all.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        all.push_back(first + i * pitch);
    return all;
}

void hatch(QPainter &painter, const QRectF &rect, const QColor &colour, double width)
{
    painter.save();
    painter.setClipRect(rect);
    painter.setPen(QPen(colour, width));
    const double first = rect.left() - rect.height();
    for (const double offset : steps(0, rect.right() - first, HatchPitch * 1.4))
        painter.drawLine(QPointF(first + offset, rect.bottom()),
                         QPointF(first + offset + rect.height(), rect.top()));
    painter.restore();
}

QFont fontOf(int pixels)
{
    QFont font(QStringLiteral("Open Sans"));
    font.setFamilies({QStringLiteral("Open Sans"), QStringLiteral("DejaVu Sans")});
    font.setPixelSize(pixels);
    font.setWeight(QFont::DemiBold);
    return font;
}
}

ShadePainter::ShadePainter(const QSizeF &cell, double pixelRatio, Theme::Mode mode)
    : m_cell(cell)
    , m_window(FacadeLayout::windowOf(cell))
    , m_ratio(pixelRatio)
    , m_mode(mode)
{
}

bool ShadePainter::isSmall() const
{
    return m_cell.width() < FacadeLayout::ShortLabelWidth;
}

double ShadePainter::frameWidth() const
{
    return isSmall() ? 1 : 3;
}

double ShadePainter::hemHeight() const
{
    return isSmall() ? 2 : 3;
}

QRectF ShadePainter::inner() const
{
    const double frame = frameWidth();
    return m_window.adjusted(frame, frame, -frame, -frame);
}

QImage ShadePainter::make(const QString &key, const QSizeF &size,
                          const std::function<void(QPainter &)> &paint) const
{
    const QString whole = QStringLiteral("%1 %2x%3 %4 %5")
                              .arg(key)
                              .arg(m_cell.width())
                              .arg(m_cell.height())
                              .arg(m_ratio)
                              .arg(static_cast<int>(m_mode));
    if (const QImage *const image = cache().object(whole))
        return *image;
    QImage image((size * m_ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(m_ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter);
    painter.end();
    cache().insert(whole, new QImage(image), static_cast<int>(image.sizeInBytes()) / BytesPerKilobyte + 1);
    return image;
}

QImage ShadePainter::window(const ShadeLook &look) const
{
    const auto key =
        QStringLiteral("window %1 %2 %3").arg(look.state).arg(look.isDoubled).arg(look.hasCloth());
    return make(key, m_cell, [&](QPainter &painter) {
        if (look.isDoubled)
            paintFrame(painter, m_window.translated(-frameWidth() - 1, -frameWidth() - 1));
        if (look.state == ShadeLook::Dead)
            paintDead(painter, look);
        else if (look.hasCloth())
            paintFrame(painter, m_window);
        else
            paintDashed(painter, look);
    });
}

void ShadePainter::paintFrame(QPainter &painter, const QRectF &window) const
{
    const double frame = frameWidth();
    const QRectF glass = window.adjusted(frame, frame, -frame, -frame);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour(Theme::Frame));
    painter.drawRoundedRect(window, isSmall() ? 1 : 2, isSmall() ? 1 : 2);
    painter.fillRect(glass, colour(Theme::Glass));
    QPainterPath light;
    light.moveTo(glass.right() - glass.width() * 0.38, glass.top());
    light.lineTo(glass.topRight());
    light.lineTo(glass.right(), glass.top() + glass.height() * 0.42);
    light.closeSubpath();
    painter.fillPath(light, colour(Theme::GlassLight));
    if (!isSmall())
        painter.fillRect(QRectF(glass.left(), std::floor(glass.center().y()), glass.width(), 1),
                         colour(Theme::Frame));
}

void ShadePainter::paintDashed(QPainter &painter, const ShadeLook &look) const
{
    painter.setPen(QPen(colour(Theme::Outline), isSmall() ? 1 : 2, Qt::CustomDashLine));
    QPen pen(colour(Theme::Outline), isSmall() ? 1 : 1.6);
    pen.setDashPattern({2.4, 2.4});
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(m_window.adjusted(0.8, 0.8, -0.8, -0.8), 2, 2);
    if (look.state != ShadeLook::Unknown)
        return;
    const double side = std::min(28.0, m_window.width() * 0.5);
    QRectF sign(0, 0, side, side);
    sign.moveCenter(m_window.center());
    Signs::paint(painter, Signs::Unknown, sign, colour(Theme::Ink2));
}

void ShadePainter::paintDead(QPainter &painter, const ShadeLook &) const
{
    QPainterPath shape;
    shape.addRoundedRect(m_window, 2, 2);
    painter.fillPath(shape, colour(Theme::BadTint));
    QColor line = colour(Theme::Bad);
    line.setAlphaF(0.55);
    hatch(painter, m_window, line, isSmall() ? 1.4 : 2.2);
    painter.setPen(QPen(colour(Theme::Bad), isSmall() ? 1 : 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(m_window.adjusted(1, 1, -1, -1), 2, 2);
}

QImage ShadePainter::cloth(const ShadeLook &look) const
{
    const QSizeF size = inner().size();
    const auto key =
        QStringLiteral("cloth %1 %2").arg(look.kind).arg(look.kind == ShadeLook::Slats ? look.tilt : 0);
    return make(key, size, [&](QPainter &painter) {
        const QColor fold = m_mode == Theme::Dark ? QColor(0, 0, 0, 44) : QColor(0, 0, 0, 26);
        painter.setRenderHint(QPainter::Antialiasing, false);
        if (look.kind == ShadeLook::Slats) {
            // Open slats are seen by their edges.
            const int tilt = look.tilt < 0 || look.tilt > 100 ? 100 : look.tilt;
            const double height = std::max(1.0, std::round(1 + (SlatPitch - 2) * tilt / 100));
            for (const double y : steps(0, size.height(), SlatPitch))
                painter.fillRect(QRectF(0, y, size.width(), height), colour(Theme::Cloth));
            return;
        }
        painter.fillRect(QRectF(QPointF(), size), colour(Theme::Cloth));
        if (isSmall())
            return;
        if (look.kind == ShadeLook::Curtain) {
            for (const double x : steps(FoldPitch / 2, size.width(), FoldPitch / 2))
                painter.fillRect(QRectF(x, 0, 1, size.height()), fold);
            return;
        }
        for (const double y : steps(FoldPitch, size.height(), FoldPitch))
            painter.fillRect(QRectF(0, y, size.width(), 1), fold);
    });
}

void ShadePainter::paintCorner(QPainter &painter, Signs::Sign sign, Theme::Role plate, Theme::Role ink) const
{
    const double side = isSmall() ? 10 : std::max(16.0, std::min(24.0, m_cell.width() / 3));
    const QRectF disc(std::min(m_window.right() - side * 0.62, m_cell.width() - side - 0.5),
                      std::max(0.5, m_window.top() - side * 0.3), side, side);
    painter.setPen(QPen(colour(ink), 1));
    painter.setBrush(colour(plate));
    painter.drawEllipse(disc);
    const double inset = side * 0.22;
    Signs::paint(painter, sign, disc.adjusted(inset, inset, -inset, -inset), colour(ink));
}

QImage ShadePainter::signs(const ShadeLook &look) const
{
    const bool isDead = look.state == ShadeLook::Dead;
    const bool isOffline = look.state == ShadeLook::Offline;
    if (!isDead && !isOffline && !look.isLocked && !look.isRefused && look.motion == ShadeLook::Resting)
        return {};
    const bool hasTime = isDead && !isSmall();
    const auto key = QStringLiteral("signs %1 %2 %3 %4 %5")
                         .arg(look.state)
                         .arg(look.motion)
                         .arg(look.isLocked)
                         .arg(look.isRefused)
                         .arg(hasTime ? look.silentMinutes : 0);
    return make(key, m_cell, [&](QPainter &painter) {
        if (isOffline) {
            QColor grey = colour(Theme::Ink2);
            grey.setAlphaF(0.6);
            hatch(painter, m_window, grey, isSmall() ? 1 : 1.6);
        }
        const double side = std::round(std::min(std::max(m_window.width() * 0.36, 10.0), 48.0));
        if (look.motion != ShadeLook::Resting && !isSmall()) {
            QRectF disc(0, 0, side, side);
            disc.moveCenter(QPointF(m_window.center().x(), m_window.bottom() - m_window.height() * 0.25));
            painter.setPen(Qt::NoPen);
            painter.setBrush(colour(Theme::Accent));
            painter.drawEllipse(disc);
            const double inset = side * 0.18;
            Signs::paint(painter, look.motion == ShadeLook::Up ? Signs::ArrowUp : Signs::ArrowDown,
                         disc.adjusted(inset, inset, -inset, -inset), colour(Theme::OnAccent));
        } else if (look.motion != ShadeLook::Resting) {
            paintCorner(painter, look.motion == ShadeLook::Up ? Signs::ArrowUp : Signs::ArrowDown,
                        Theme::Accent, Theme::OnAccent);
        }
        if (isDead) {
            QRectF disc(0, 0, side * 1.2, side * 1.2);
            disc.moveCenter(
                QPointF(m_window.center().x(), m_window.top() + m_window.height() * (hasTime ? 0.42 : 0.5)));
            painter.setPen(QPen(colour(Theme::Bad), 1.2));
            painter.setBrush(colour(Theme::Surface));
            painter.drawEllipse(disc);
            const double inset = disc.width() * 0.16;
            Signs::paint(painter, Signs::Cross, disc.adjusted(inset, inset, -inset, -inset),
                         colour(Theme::Bad));
        }
        if (hasTime) {
            const QFont font = fontOf(11);
            painter.setFont(font);
            const int minutes = look.silentMinutes;
            const QString text = minutes < 1 ? ShadeLook::tr("< 1 min")
                : minutes < MinutesPerHour   ? ShadeLook::tr("%1 min").arg(minutes)
                                             : ShadeLook::tr("%1 h").arg(minutes / MinutesPerHour);
            const double width =
                std::min(m_window.width() - 6, QFontMetricsF(font).horizontalAdvance(text) + 8);
            QRectF plate(0, 0, width, 15);
            plate.moveCenter(QPointF(m_window.center().x(), m_window.bottom() - 11));
            painter.setPen(Qt::NoPen);
            painter.setBrush(colour(Theme::Surface));
            painter.drawRoundedRect(plate, 7.5, 7.5);
            painter.setPen(colour(Theme::Bad));
            painter.drawText(plate, Qt::AlignCenter, text);
        }
        if (look.isRefused)
            paintCorner(painter, Signs::Refused, Theme::WarningTint, Theme::Warning);
        else if (look.isLocked)
            paintCorner(painter, Signs::Lock, Theme::Surface, Theme::Ink);
    });
}

QImage ShadePainter::ring(Ring ring) const
{
    if (ring == NoRing)
        return {};
    return make(QStringLiteral("ring %1").arg(ring), m_cell, [&](QPainter &painter) {
        QPen pen(colour(Theme::Accent), isSmall() ? 1.5 : 2.5);
        if (ring == FocusRing)
            pen.setDashPattern({2, 2});
        else if (ring == JumpRing)
            pen.setWidthF(1);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        const QRectF rect(QPointF(), m_cell);
        painter.drawRoundedRect(rect.adjusted(1.5, 1.5, -1.5, -1.5), isSmall() ? 2 : 5, isSmall() ? 2 : 5);
    });
}

QImage ShadePainter::mark() const
{
    const QSizeF size(6, 8);
    return make(QStringLiteral("mark"), size, [&](QPainter &painter) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour(Theme::Ink));
        painter.drawPolygon(QPolygonF({QPointF(0, 0), QPointF(6, 4), QPointF(0, 8)}));
    });
}

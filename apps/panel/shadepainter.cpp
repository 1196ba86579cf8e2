#include "panel/shadepainter.h"

#include "panel/facadelayout.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

namespace {
constexpr double FoldPitch = 12;
constexpr double SlatPitch = 6;
constexpr double HatchPitch = 8;
constexpr double WholeWay = 100;
constexpr int MinutesPerHour = 60;
const QSizeF MarkSize(6, 8);

/// The parts that have been drawn, each under all that it depends on.
class Parts
{
public:
    using Key = std::vector<int>;

    /// Null if it has not been drawn.
    QImage find(const Key &key) const
    {
        const auto found = m_parts.find(key);
        return found == m_parts.end() ? QImage() : found->second;
    }
    void keep(const Key &key, const QImage &image)
    {
        // A window that is pulled larger leaves sizes behind that are never seen again.
        m_bytes += image.sizeInBytes();
        if (m_bytes > MostBytes) {
            m_parts.clear();
            m_bytes = image.sizeInBytes();
        }
        m_parts[key] = image;
    }

private:
    static constexpr qint64 MostBytes = qint64{32} * 1024 * 1024;

    std::map<Key, QImage> m_parts;
    qint64 m_bytes = 0;
};

Parts &parts()
{
    static Parts parts;
    return parts;
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

int ShadePainter::hemHeight() const
{
    return isSmall() ? 2 : 3;
}

QRectF ShadePainter::inner() const
{
    const double frame = frameWidth();
    return m_window.adjusted(frame, frame, -frame, -frame);
}

double ShadePainter::rowOf(int percent) const
{
    return inner().top() + std::round(inner().height() * percent / WholeWay);
}

int ShadePainter::extentOf(const ShadeLook &look, double percent) const
{
    const double whole = look.kind == ShadeLook::Curtain ? inner().width() / 2 : inner().height();
    return std::max(hemHeight(), static_cast<int>(std::lround(whole * percent / WholeWay)));
}

double ShadePainter::discSide() const
{
    return std::round(std::clamp(m_window.width() * 0.36, 10.0, 48.0));
}

// A picture is put together from parts: one node for a shade costs less in each frame than one for each part.

QImage ShadePainter::picture(const ShadeLook &look, int extent, Ring ring) const
{
    QImage picture = window(look);
    QPainter painter(&picture);
    if (look.hasCloth() && look.kind == ShadeLook::Curtain)
        drawCurtain(painter, cloth(look), extent);
    else if (look.hasCloth())
        drawBlind(painter, cloth(look), extent);
    drawMotion(painter, look);
    painter.drawImage(QPointF(), signs(look));
    painter.drawImage(QPointF(), this->ring(ring));
    return picture;
}

/// The cloth that comes from above, with its hem at its lower edge.
void ShadePainter::drawBlind(QPainter &painter, const QImage &cloth, int extent) const
{
    const QRectF glass = inner();
    const QSizeF shown(glass.width(), extent - hemHeight());
    if (!shown.isEmpty())
        painter.drawImage(QRectF(glass.topLeft(), shown), cloth, QRectF(QPointF(), shown * m_ratio));
    painter.fillRect(QRectF(glass.left(), glass.top() + shown.height(), glass.width(), hemHeight()),
                     colour(Theme::Hem));
}

/// Two cloths from both sides.
void ShadePainter::drawCurtain(QPainter &painter, const QImage &cloth, int extent) const
{
    const QRectF glass = inner();
    const QSizeF shown(extent - hemHeight(), glass.height());
    const QSizeF hem(hemHeight(), glass.height());
    const double right = glass.width() - shown.width();
    if (!shown.isEmpty()) {
        painter.drawImage(QRectF(glass.topLeft(), shown), cloth, QRectF(QPointF(), shown * m_ratio));
        painter.drawImage(QRectF(glass.topLeft() + QPointF(right, 0), shown), cloth,
                          QRectF(QPointF(right, 0) * m_ratio, shown * m_ratio));
    }
    painter.fillRect(QRectF(glass.topLeft() + QPointF(shown.width(), 0), hem), colour(Theme::Hem));
    painter.fillRect(QRectF(glass.topLeft() + QPointF(right - hemHeight(), 0), hem), colour(Theme::Hem));
}

/// Where a moving one goes, and where it was last read.
void ShadePainter::drawMotion(QPainter &painter, const ShadeLook &look) const
{
    if (look.motion == ShadeLook::Resting)
        return;
    const QRectF glass = inner();
    if (look.target >= 0)
        painter.fillRect(
            QRectF(glass.left(), std::min(rowOf(look.target), glass.bottom() - 1), glass.width(), 1),
            colour(Theme::Cloth));
    if (look.reading < 0 || isSmall())
        return;
    const QRectF mark(QPointF(std::max(0.0, glass.left() - 10), rowOf(look.reading) - MarkSize.height() / 2),
                      MarkSize);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour(Theme::Ink));
    painter.drawPolygon(
        QPolygonF({mark.topLeft(), QPointF(mark.right(), mark.center().y()), mark.bottomLeft()}));
    painter.restore();
}

QImage ShadePainter::part(Part part, std::initializer_list<int> whatCounts, const QSizeF &size,
                          const std::function<void(QPainter &)> &paint) const
{
    const QSize pixels = (size * m_ratio).toSize();
    Parts::Key key(whatCounts);
    key.insert(key.end(), {part, pixels.width(), pixels.height(), qRound(m_ratio * WholeWay), m_mode});
    if (QImage image = parts().find(key); !image.isNull())
        return image;
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(m_ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter);
    painter.end();
    parts().keep(key, image);
    return image;
}

QImage ShadePainter::window(const ShadeLook &look) const
{
    return part(WindowPart, {look.state, look.isDoubled, look.hasCloth()}, m_cell, [&](QPainter &painter) {
        if (look.isDoubled)
            paintFrame(painter, m_window.translated(-frameWidth() - 1, -frameWidth() - 1));
        if (look.state == ShadeLook::Dead)
            paintDead(painter);
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

void ShadePainter::paintDead(QPainter &painter) const
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
    return part(ClothPart, {look.kind, look.kind == ShadeLook::Slats ? look.tilt : 0}, size,
                [&](QPainter &painter) {
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
    return part(SignsPart,
                {look.state, look.motion, look.isLocked, look.isRefused, isDead ? look.silentMinutes : 0},
                m_cell, [&](QPainter &painter) { paintSigns(painter, look); });
}

void ShadePainter::paintSigns(QPainter &painter, const ShadeLook &look) const
{
    if (look.state == ShadeLook::Offline) {
        QColor grey = colour(Theme::Ink2);
        grey.setAlphaF(0.6);
        hatch(painter, m_window, grey, isSmall() ? 1 : 1.6);
    }
    if (look.motion != ShadeLook::Resting)
        paintArrow(painter, look.motion);
    if (look.state == ShadeLook::Dead)
        paintCross(painter, look);
    if (look.isRefused)
        paintCorner(painter, Signs::Refused, Theme::WarningTint, Theme::Warning);
    else if (look.isLocked)
        paintCorner(painter, Signs::Lock, Theme::Surface, Theme::Ink);
}

void ShadePainter::paintArrow(QPainter &painter, ShadeLook::Motion motion) const
{
    const Signs::Sign arrow = motion == ShadeLook::Up ? Signs::ArrowUp : Signs::ArrowDown;
    if (isSmall()) {
        paintCorner(painter, arrow, Theme::Accent, Theme::OnAccent);
        return;
    }
    QRectF disc(0, 0, discSide(), discSide());
    disc.moveCenter(QPointF(m_window.center().x(), m_window.bottom() - m_window.height() * 0.25));
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour(Theme::Accent));
    painter.drawEllipse(disc);
    const double inset = discSide() * 0.18;
    Signs::paint(painter, arrow, disc.adjusted(inset, inset, -inset, -inset), colour(Theme::OnAccent));
}

/// With the time of its silence, where there is room.
void ShadePainter::paintCross(QPainter &painter, const ShadeLook &look) const
{
    QRectF disc(0, 0, discSide() * 1.2, discSide() * 1.2);
    disc.moveCenter(
        QPointF(m_window.center().x(), m_window.top() + m_window.height() * (isSmall() ? 0.5 : 0.42)));
    painter.setPen(QPen(colour(Theme::Bad), 1.2));
    painter.setBrush(colour(Theme::Surface));
    painter.drawEllipse(disc);
    const double inset = disc.width() * 0.16;
    Signs::paint(painter, Signs::Cross, disc.adjusted(inset, inset, -inset, -inset), colour(Theme::Bad));
    if (isSmall())
        return;
    const QFont font = fontOf(11);
    painter.setFont(font);
    const int minutes = look.silentMinutes;
    const QString text = minutes < 1 ? ShadeLook::tr("< 1 min")
        : minutes < MinutesPerHour   ? ShadeLook::tr("%1 min").arg(minutes)
                                     : ShadeLook::tr("%1 h").arg(minutes / MinutesPerHour);
    const double width = std::min(m_window.width() - 6, QFontMetricsF(font).horizontalAdvance(text) + 8);
    QRectF plate(0, 0, width, 15);
    plate.moveCenter(QPointF(m_window.center().x(), m_window.bottom() - 11));
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour(Theme::Surface));
    painter.drawRoundedRect(plate, 7.5, 7.5);
    painter.setPen(colour(Theme::Bad));
    painter.drawText(plate, Qt::AlignCenter, text);
}

QImage ShadePainter::ring(Ring ring) const
{
    if (ring == NoRing)
        return {};
    return part(RingPart, {ring}, m_cell, [&](QPainter &painter) {
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

#include "panel/stripitem.h"

#include "panel/picturenode.h"
#include "panel/signs.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {
constexpr double MsPerSecond = 1000;
constexpr double MarkSide = 12;
constexpr double Percent = 100;
constexpr double DashPitch = 8;
const Theme::Role roles[] = {Theme::LanePoll, Theme::LaneReadBack, Theme::LaneUser, Theme::LaneOther};
static_assert(std::size(roles) == LineHistory::KindCount);

void drawDashes(QPainter &painter, double y, double width, const QColor &colour)
{
    for (int i = 0; i * DashPitch < width; ++i)
        painter.fillRect(QRectF(i * DashPitch, y, DashPitch / 2, 1), colour);
}
}

StripItem::StripItem(QQuickItem *parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
    connect(this, &StripItem::lineChanged, this, &QQuickItem::update);
}

void StripItem::setLine(PanelLine *line)
{
    if (m_line)
        m_line->disconnect(this);
    m_line = line;
    if (line)
        connect(line, &PanelLine::ticked, this, &StripItem::takeSeconds);
    takeSeconds();
    Q_EMIT lineChanged();
}

void StripItem::setDark(bool isDark)
{
    m_mode = isDark ? Theme::Dark : Theme::Light;
    Q_EMIT lineChanged();
}

/// An empty minute that goes on looks as it did: nothing is drawn while a line is silent.
void StripItem::takeSeconds()
{
    Minute minute;
    for (std::size_t i = 0; m_line && i < minute.size(); ++i) {
        // The present second is not over yet.
        minute[i] = m_line->history().second(m_line->historyMs(), LineHistory::Seconds - static_cast<int>(i));
    }
    if (minute == m_minute)
        return;
    m_minute = minute;
    update();
}

QSGNode *StripItem::updatePaintNode(QSGNode *old, UpdatePaintNodeData *)
{
    if (size().isEmpty()) {
        delete old;
        return nullptr;
    }
    const double ratio = window()->effectiveDevicePixelRatio();
    QImage image((size() * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const double pitch = width() / LineHistory::Seconds;
    for (std::size_t i = 0; i < m_minute.size(); ++i) {
        const double left = std::round(static_cast<double>(i) * pitch);
        const double right = std::round(static_cast<double>(i + 1) * pitch) - 1;
        drawSecond(painter, m_minute[i], left, std::max(1.0, right - left));
    }
    // What the host may take at most; a low strip has no room for it.
    if (m_line && height() > 2 * MarkSide)
        drawDashes(painter, std::round(height() * (1 - m_line->maxLoad() / Percent)), width(),
                   Theme::colour(Theme::Ink2, m_mode));
    painter.end();
    return pictureNode(old, *window(), image, boundingRect());
}

void StripItem::drawSecond(QPainter &painter, const LineHistory::Second &second, double left,
                           double barWidth) const
{
    double bottom = height();
    for (std::size_t kind = 0; kind < LineHistory::KindCount; ++kind) {
        const double top = std::max(0.0, bottom - std::round(height() * second.takenMs[kind] / MsPerSecond));
        painter.fillRect(QRectF(left, top, barWidth, bottom - top), Theme::colour(roles[kind], m_mode));
        bottom = top;
    }
    const QRectF square(std::round(left + (barWidth - MarkSide) / 2), 2, MarkSide, MarkSide);
    if (second.unanswered > 0)
        Signs::paint(painter, Signs::Cross, square, Theme::colour(Theme::Bad, m_mode));
    else if (second.failed > 0)
        Signs::paint(painter, Signs::Refused, square, Theme::colour(Theme::Warning, m_mode));
}

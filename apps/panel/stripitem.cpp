#include "panel/stripitem.h"

#include "panel/scenenodes.h"
#include "panel/signs.h"

#include <QPainter>

#include <cmath>
#include <vector>

namespace {
constexpr double MsPerSecond = 1000;
constexpr double MarkSide = 12;
const Theme::Role roles[] = {Theme::LanePoll, Theme::LaneReadBack, Theme::LaneUser, Theme::LaneOther};
static_assert(std::size(roles) == LineHistory::KindCount);

/// The bars, and the mark over each.
class StripNode : public PartsNode
{
public:
    explicit StripNode(QQuickWindow &window)
    {
        for (int i = 0; i < LineHistory::Seconds * LineHistory::KindCount; ++i)
            bars.push_back(std::make_unique<Bar>(window));
        for (int i = 0; i < LineHistory::Seconds; ++i)
            marks.push_back(std::make_unique<Picture>(window));
    }
    ~StripNode() override { removeAllChildNodes(); }

    void arrange()
    {
        std::vector<const Part *> parts;
        for (const auto &bar : bars)
            parts.push_back(bar.get());
        for (const auto &mark : marks)
            parts.push_back(mark.get());
        PartsNode::arrange(parts);
    }

    std::vector<std::unique_ptr<Bar>> bars;
    std::vector<std::unique_ptr<Picture>> marks;
};

QImage markImage(Signs::Sign sign, const QColor &colour, double ratio)
{
    QImage image(QSizeF(MarkSide * ratio, MarkSide * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    Signs::paint(painter, sign, QRectF(0, 0, MarkSide, MarkSide), colour);
    return image;
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
        connect(line, &PanelLine::ticked, this, &QQuickItem::update);
    Q_EMIT lineChanged();
}

void StripItem::setDark(bool isDark)
{
    m_mode = isDark ? Theme::Dark : Theme::Light;
    Q_EMIT lineChanged();
}

QSGNode *StripItem::updatePaintNode(QSGNode *old, UpdatePaintNodeData *)
{
    auto *const node = old ? static_cast<StripNode *>(old) : new StripNode(*window());
    const double ratio = window()->effectiveDevicePixelRatio();
    const QImage cross = markImage(Signs::Cross, Theme::colour(Theme::Bad, m_mode), ratio);
    const QImage failed = markImage(Signs::Refused, Theme::colour(Theme::Warning, m_mode), ratio);
    const qint64 now = PanelLine::nowMs();
    const double pitch = width() / LineHistory::Seconds;
    for (int i = 0; i < LineHistory::Seconds; ++i) {
        const double left = std::round(i * pitch);
        const double barWidth = std::max(1.0, std::round((i + 1) * pitch) - left - 1);
        // The present second is not over yet.
        const LineHistory::Second second =
            m_line ? m_line->history().second(now, LineHistory::Seconds - i) : LineHistory::Second();
        double bottom = height();
        for (std::size_t kind = 0; kind < LineHistory::KindCount; ++kind) {
            const double part = std::round(height() * second.takenMs[kind] / MsPerSecond);
            const double top = std::max(0.0, bottom - part);
            node->bars[static_cast<std::size_t>(i) * LineHistory::KindCount + kind]->set(
                QRectF(left, top, barWidth, bottom - top), Theme::colour(roles[kind], m_mode));
            bottom = top;
        }
        const QImage mark = second.unanswered > 0 ? cross : second.failed > 0 ? failed : QImage();
        const QRectF square(0, 0, MarkSide, MarkSide);
        node->marks[static_cast<std::size_t>(i)]->set(
            mark, square.translated(std::round(left + (barWidth - MarkSide) / 2), 2), square);
    }
    node->arrange();
    return node;
}

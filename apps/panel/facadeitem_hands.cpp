// What is done to it with a mouse, with fingers and with keys.
#include "panel/facadeitem.h"

#include "network/voxnetworknode.h"

#include <QGuiApplication>
#if QT_VERSION_MAJOR >= 6
#    include <QInputDevice>
#endif
#include <QStyleHints>

#include <algorithm>

namespace {
constexpr int FingerWidth = 44;

QPointF positionOf(const QMouseEvent &event)
{
#if QT_VERSION_MAJOR >= 6
    return event.position();
#else
    return event.localPos();
#endif
}

QPointF positionOf(const QHoverEvent &event)
{
#if QT_VERSION_MAJOR >= 6
    return event.position();
#else
    return event.posF();
#endif
}

struct Finger
{
    QPointF item;
    QPointF scene;
    bool isNew;
    bool isUp;
};

QVector<Finger> fingersOf(const QTouchEvent &event)
{
    QVector<Finger> fingers;
#if QT_VERSION_MAJOR >= 6
    for (const QEventPoint &point : event.points())
        fingers.append({point.position(), point.scenePosition(), point.state() == QEventPoint::Pressed,
                        point.state() == QEventPoint::Released});
#else
    const auto &points = event.touchPoints();
    for (const QTouchEvent::TouchPoint &point : points)
        fingers.append({point.pos(), point.scenePos(), point.state() == Qt::TouchPointPressed,
                        point.state() == Qt::TouchPointReleased});
#endif
    return fingers;
}

bool isAdding(const QInputEvent &event)
{
    return event.modifiers() & (Qt::ControlModifier | Qt::ShiftModifier);
}
}

void FacadeItem::showSelection()
{
    for (int i = 0; i < m_shades.size(); ++i) {
        m_shades[i]->setSelected(m_selection && m_selection->contains(m_shades[i]->node()));
        m_shades[i]->setCurrent(hasActiveFocus() && i == m_current);
    }
}

ShadeItem *FacadeItem::shadeAt(const QPointF &point) const
{
    // The one on top is the last one.
    for (int i = static_cast<int>(m_layout.cells.size()) - 1; i >= 0; --i) {
        if (i < m_shades.size() && m_layout.cells[i].contains(point))
            return m_shades[i];
    }
    return nullptr;
}

void FacadeItem::select(ShadeItem *shade, bool isToggling)
{
    if (!m_selection)
        return;
    if (!shade && !isToggling)
        m_selection->clear();
    else if (shade && isToggling)
        m_selection->toggle(shade->node());
    else if (shade)
        m_selection->choose(shade->node());
    if (shade)
        Q_EMIT opened();
}

void FacadeItem::mousePressEvent(QMouseEvent *event)
{
    press(positionOf(*event));
    setKeepMouseGrab(true);
}

void FacadeItem::mouseMoveEvent(QMouseEvent *event)
{
    move(positionOf(*event), isAdding(*event));
}

void FacadeItem::mouseReleaseEvent(QMouseEvent *event)
{
    release(positionOf(*event), isAdding(*event));
}

void FacadeItem::press(const QPointF &point)
{
    m_pressed = point;
    m_isBand = false;
    m_dragged = m_isArranging ? shadeAt(m_pressed) : nullptr;
    forceActiveFocus(Qt::MouseFocusReason);
}

void FacadeItem::move(const QPointF &point, bool isAddingTo)
{
    const QPointF way = point - m_pressed;
    m_isBand |= way.manhattanLength() >= QGuiApplication::styleHints()->startDragDistance();
    if (!m_isBand)
        return;
    if (m_dragged) {
        drag(point);
        return;
    }
    m_band = QRectF(m_pressed, point).normalized();
    selectBand(isAddingTo);
    Q_EMIT bandChanged();
}

void FacadeItem::release(const QPointF &point, bool isAddingTo)
{
    if (m_dragged && m_isBand) {
        drop();
    } else if (!m_isBand) {
        ShadeItem *const shade = shadeAt(point);
        if (shade)
            m_current = static_cast<int>(m_shades.indexOf(shade));
        select(shade, isAddingTo);
    } else if (m_selection && m_selection->count() > 0) {
        Q_EMIT opened();
    }
    endBand();
    showSelection();
}

void FacadeItem::endBand()
{
    m_isBand = false;
    m_dragged = nullptr;
    m_band = QRectF();
    Q_EMIT bandChanged();
}

/// One finger does what a mouse does; two zoom and move what is seen, until both are gone.
void FacadeItem::touchEvent(QTouchEvent *event)
{
    const QVector<Finger> fingers = fingersOf(*event);
    if (event->type() == QEvent::TouchCancel || fingers.isEmpty()) {
        mouseUngrabEvent();
        return;
    }
    setKeepTouchGrab(true);
    const Finger &first = fingers.first();
    if (event->type() == QEvent::TouchBegin)
        m_isPinch = false;
    if (fingers.size() > 1) {
        pinch(first.scene, fingers[1].scene, fingers[1].isNew || first.isNew);
    } else if (m_isPinch) {
        // The last finger of two.
    } else if (first.isNew) {
        press(first.item);
    } else if (!first.isUp) {
        move(first.item, false);
    } else if (!m_isBand && cellWidth() < FingerWidth && m_zoom < mostZoom()) {
        // A finger would not know which it has met.
        Q_EMIT zoomWanted(first.item);
    } else {
        release(first.item, false);
    }
}

void FacadeItem::pinch(const QPointF &one, const QPointF &other, bool isFirst)
{
    const QLineF line(one, other);
    if (!m_isPinch || isFirst) {
        endBand();
        polish();
    } else if (m_pinch.length() > 0 && line.length() > 0) {
        Q_EMIT pinched(line.length() / m_pinch.length(), m_pinch.center(), line.center());
    }
    m_isPinch = true;
    m_pinch = line;
}

void FacadeItem::mouseDoubleClickEvent(QMouseEvent *event)
{
    mousePressEvent(event);
    Q_EMIT fitWanted();
}

void FacadeItem::drag(const QPointF &point)
{
    const QRectF room = m_pictureRect;
    const QPointF inside(qBound(room.left(), point.x(), room.right()),
                         qBound(room.top(), point.y(), room.bottom()));
    const QSizeF half = m_dragged->size() / 2;
    m_dragged->setPosition((inside - QPointF(half.width(), half.height())).toPoint());
}

/// By a hundredth of the picture.
void FacadeItem::nudge(int dx, int dy)
{
    constexpr double Share = 0.01;
    if (m_current < 0 || m_current >= m_shades.size())
        return;
    m_dragged = m_shades[m_current];
    drag(QRectF(m_dragged->position(), m_dragged->size()).center()
         + QPointF(dx * m_pictureRect.width() * Share, dy * m_pictureRect.height() * Share));
    drop();
}

void FacadeItem::drop()
{
    const QPointF middle =
        QRectF(m_dragged->position(), m_dragged->size()).center() - m_pictureRect.topLeft();
    m_places->setPlace(m_dragged->key(),
                       QPointF(middle.x() / m_pictureRect.width(), middle.y() / m_pictureRect.height()));
    m_dragged = nullptr;
    polish();
}

void FacadeItem::mouseUngrabEvent()
{
    endBand();
    polish();
}

/// The shades of which the middle is inside.
void FacadeItem::selectBand(bool isAddingTo)
{
    if (!m_selection)
        return;
    QVector<VOXNetworkNode *> nodes;
    for (ShadeItem *const shade : qAsConst(m_shades)) {
        const bool isInside = m_band.contains(QRectF(shade->position(), shade->size()).center());
        if (shade->node() && (isInside || (isAddingTo && shade->isSelected())))
            nodes += shade->node();
    }
    m_selection->set(nodes);
}

void FacadeItem::selectAll()
{
    QVector<VOXNetworkNode *> nodes;
    for (ShadeItem *const shade : qAsConst(m_shades))
        nodes += shade->node();
    if (m_selection)
        m_selection->set(nodes);
}

void FacadeItem::refresh()
{
    for (ShadeItem *const shade : qAsConst(m_shades))
        shade->refresh();
}

void FacadeItem::hoverMoveEvent(QHoverEvent *event)
{
    setHovered(shadeAt(positionOf(*event)));
}

void FacadeItem::hoverLeaveEvent(QHoverEvent *)
{
    setHovered(nullptr);
}

void FacadeItem::setHovered(ShadeItem *shade)
{
    if (shade == m_hovered)
        return;
    if (m_hovered && m_shades.contains(m_hovered))
        m_hovered->setHovered(false);
    m_hovered = shade;
    if (shade)
        shade->setHovered(true);
    Q_EMIT hoveredChanged();
}

// Keys

void FacadeItem::setCurrent(int index)
{
    if (index < 0 || index >= m_layout.cells.size())
        return;
    m_current = index;
    showSelection();
    Q_EMIT shown(m_layout.cells[index]);
}

void FacadeItem::keyPressEvent(QKeyEvent *event)
{
    struct Step
    {
        int key;
        int dx;
        int dy;
    };
    static const Step steps[] = {
        {Qt::Key_Left, -1, 0}, {Qt::Key_Right, 1, 0}, {Qt::Key_Up, 0, -1}, {Qt::Key_Down, 0, 1}};
    for (const Step &step : steps) {
        if (event->key() == step.key && m_isArranging && event->modifiers() & Qt::AltModifier)
            return nudge(step.dx, step.dy);
        if (event->key() == step.key)
            return setCurrent(m_layout.neighbour(m_current, step.dx, step.dy));
    }
    ShadeItem *const shade = m_current >= 0 && m_current < m_shades.size() ? m_shades[m_current] : nullptr;
    if (event->key() == Qt::Key_Space)
        select(shade, true);
    else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        select(shade, false);
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else
        event->ignore();
}

void FacadeItem::focusInEvent(QFocusEvent *event)
{
    QQuickItem::focusInEvent(event);
    if (m_current < 0 && !m_shades.isEmpty())
        m_current = 0;
    showSelection();
}

void FacadeItem::focusOutEvent(QFocusEvent *event)
{
    QQuickItem::focusOutEvent(event);
    showSelection();
}

bool FacadeItem::find(const QString &text)
{
    const auto isMatch = [&](const ShadeItem *shade) {
        return shade->node()
            && (shade->label().contains(text, Qt::CaseInsensitive)
                || shade->node()->addressText().contains(text, Qt::CaseInsensitive));
    };
    const auto found = std::find_if(m_shades.cbegin(), m_shades.cend(), isMatch);
    if (text.isEmpty() || found == m_shades.cend())
        return false;
    setCurrent(static_cast<int>(found - m_shades.cbegin()));
    select(*found, false);
    return true;
}

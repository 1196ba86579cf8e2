#include "panel/shadeitem.h"

#include "network/voxnetworkmotor.h"
#include "panel/facadelayout.h"
#include "panel/picturenode.h"

#include <QElapsedTimer>
#include <QQuickWindow>
#include <QRegularExpression>

#include <utility>

namespace {
/// So often the caption of a moving shade changes: more often nobody reads it, and each time takes a layout.
constexpr int CaptionMs = 200;
}

ShadeItem::ShadeItem(QQuickItem *parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
    connect(this, &ShadeItem::lookChanged, this, &QQuickItem::update);
}

qint64 ShadeItem::nowMs()
{
    static const QElapsedTimer clock = [] {
        QElapsedTimer timer;
        timer.start();
        return timer;
    }();
    return clock.elapsed();
}

QObject *ShadeItem::nodeObject() const
{
    return m_node;
}

VOXNetworkMotor *ShadeItem::motor() const
{
    return qobject_cast<VOXNetworkMotor *>(m_node);
}

void ShadeItem::setNodeObject(QObject *object)
{
    auto *const node = qobject_cast<VOXNetworkNode *>(object);
    if (node == m_node)
        return;
    if (m_node)
        m_node->disconnect(this);
    m_node = node;
    m_motion.reset();
    if (node) {
        connect(node, &VOXNetworkNode::changed, this, &ShadeItem::noteNews);
        connect(node, &VOXNetworkNode::presenceChanged, this, &ShadeItem::noteNews);
    }
    Q_EMIT nodeChanged();
    refresh();
    Q_EMIT lookChanged();
}

void ShadeItem::setMark(bool &mark, bool value)
{
    if (std::exchange(mark, value) != value)
        Q_EMIT lookChanged();
}

void ShadeItem::setFacade(const QString &facade)
{
    m_facade = facade;
    Q_EMIT placeChanged();
}

void ShadeItem::setLineOpen(bool isOpen)
{
    setMark(m_isLineOpen, isOpen);
    refresh();
}

void ShadeItem::setDark(bool isDark)
{
    setMark(m_isDark, isDark);
}

void ShadeItem::setSelected(bool isSelected)
{
    setMark(m_isSelected, isSelected);
}

void ShadeItem::setCurrent(bool isCurrent)
{
    setMark(m_isCurrent, isCurrent);
}

void ShadeItem::setHovered(bool isHovered)
{
    setMark(m_isHovered, isHovered);
}

QString ShadeItem::label() const
{
    if (!m_node)
        return {};
    return m_node->label().isEmpty() ? m_node->addressText() : m_node->label();
}

QString ShadeItem::shortLabel() const
{
    if (!m_node)
        return {};
    const QString name = m_node->label();
    if (name.isEmpty())
        return m_node->addressText().mid(2);
    static const QRegularExpression number(QStringLiteral("^[\\d.]+\\d(?=\\s)"));
    const QRegularExpressionMatch match = number.match(name);
    return match.hasMatch() ? match.captured() : name;
}

QString ShadeItem::words() const
{
    return m_look.words();
}

double ShadeItem::windowBottom() const
{
    return FacadeLayout::windowOf(size()).bottom();
}

/// Many nodes may tell something between two frames.
void ShadeItem::noteNews()
{
    m_isInMotion = true;
    m_hasNews = true;
    Q_EMIT motionBegun();
}

void ShadeItem::refresh()
{
    if (!m_node)
        return;
    const ShadeLook look = ShadeLook::of(*m_node, m_isLineOpen);
    const bool wasDead = isDead();
    const bool isOther = std::exchange(m_look, look) != look;
    const bool hasOtherLabel = std::exchange(m_shownLabel, label()) != m_shownLabel;
    const qint64 now = nowMs();
    updateEstimate(now);
    updateValue();
    if (hasOtherLabel)
        Q_EMIT placeChanged();
    if (isOther || hasOtherLabel)
        Q_EMIT lookChanged();
    if (wasDead != isDead())
        Q_EMIT troubleChanged();
    m_isInMotion = m_look.motion != ShadeLook::Resting || m_motion.isRunning(now);
    if (m_isInMotion)
        Q_EMIT motionBegun();
}

void ShadeItem::updateEstimate(qint64 nowMs)
{
    const VOXNetworkMotor *const motor = this->motor();
    const std::optional<int> estimate = motor ? motor->estimatedPercent() : std::nullopt;
    if (estimate && m_look.hasCloth())
        m_motion.set(*estimate, nowMs);
    else
        m_motion.reset();
    const int extent = painter().extentOf(m_look, m_motion.shown(nowMs));
    const bool hasRing = m_motion.hasRing(nowMs);
    if (extent != m_extent || hasRing != m_hasRing)
        update();
    m_extent = extent;
    m_hasRing = hasRing;
}

void ShadeItem::updateValue()
{
    QString value = QStringLiteral("—");
    const VOXNetworkMotor *const motor = this->motor();
    if (m_look.state == ShadeLook::Dead || m_look.state == ShadeLook::NotAsked)
        value.clear();
    else if (m_look.motion != ShadeLook::Resting && motor && motor->estimatedPercent())
        value = QStringLiteral("≈%1").arg(*motor->estimatedPercent());
    else if (m_look.reading >= 0)
        value = QString::number(m_look.reading);
    if (std::exchange(m_value, value) != value)
        Q_EMIT valueChanged();
}

bool ShadeItem::advance(qint64 nowMs)
{
    if (std::exchange(m_hasNews, false))
        refresh();
    updateEstimate(nowMs);
    if (nowMs - m_captionMs >= CaptionMs) {
        m_captionMs = nowMs;
        updateValue();
    }
    m_isInMotion = m_look.motion != ShadeLook::Resting || m_motion.isRunning(nowMs);
    return m_isInMotion;
}

ShadePainter ShadeItem::painter() const
{
    const double ratio = window() ? window()->effectiveDevicePixelRatio() : 1;
    return ShadePainter(size(), ratio, m_isDark ? Theme::Dark : Theme::Light);
}

QSGNode *ShadeItem::updatePaintNode(QSGNode *old, UpdatePaintNodeData *)
{
    if (size().isEmpty()) {
        delete old;
        return nullptr;
    }
    const ShadePainter::Ring ring = m_isSelected ? ShadePainter::SelectedRing
        : m_isCurrent                            ? ShadePainter::FocusRing
        : m_hasRing                              ? ShadePainter::JumpRing
                                                 : ShadePainter::NoRing;
    return pictureNode(old, *window(), painter().picture(m_look, m_extent, ring), boundingRect());
}

void ShadeItem::handleGeometry(const QRectF &now, const QRectF &before)
{
    if (now.size() == before.size())
        return;
    updateEstimate(nowMs());
    update();
    Q_EMIT sizeChanged();
}

#if QT_VERSION_MAJOR >= 6
void ShadeItem::geometryChange(const QRectF &now, const QRectF &before)
{
    QQuickItem::geometryChange(now, before);
    handleGeometry(now, before);
}
#else
void ShadeItem::geometryChanged(const QRectF &now, const QRectF &before)
{
    QQuickItem::geometryChanged(now, before);
    handleGeometry(now, before);
}
#endif

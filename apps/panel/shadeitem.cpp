#include "panel/shadeitem.h"

#include "network/voxnetworkmotor.h"
#include "panel/facadelayout.h"
#include "panel/scenenodes.h"

#include <QElapsedTimer>
#include <QQuickWindow>
#include <QRegularExpression>

#include <cmath>
#include <utility>

namespace {
constexpr double WholeWay = 100;
/// Less of a change is not drawn, in pixels.
constexpr double Visible = 0.25;

/// The parts of one shade.
struct ShadeNode : PartsNode
{
    explicit ShadeNode(QQuickWindow &window)
        : windowPicture(window)
        , cloth(window)
        , otherCloth(window)
        , hem(window)
        , otherHem(window)
        , target(window)
        , signs(window)
        , mark(window)
        , ring(window)
    {
    }
    ~ShadeNode() override { removeAllChildNodes(); }

    void arrange()
    {
        PartsNode::arrange(
            {&windowPicture, &cloth, &otherCloth, &hem, &otherHem, &target, &signs, &mark, &ring});
    }

    Picture windowPicture;
    Picture cloth;
    Picture otherCloth;
    Bar hem;
    Bar otherHem;
    Bar target;
    Picture signs;
    Picture mark;
    Picture ring;
};

/// The cloth that comes from above, with its hem at its lower edge.
void drawBlind(ShadeNode &node, const QImage &cloth, const QRectF &glass, double percent, double hemHeight,
               const QColor &hem)
{
    const double height = std::max(hemHeight, std::round(glass.height() * percent / WholeWay));
    const QSizeF shown(glass.width(), height - hemHeight);
    node.cloth.set(cloth, QRectF(glass.topLeft(), shown), QRectF(QPointF(), shown));
    node.otherCloth.set({}, {}, {});
    node.hem.set(QRectF(glass.left(), glass.top() + height - hemHeight, glass.width(), hemHeight), hem);
    node.otherHem.set({}, hem);
}

/// Two cloths from both sides.
void drawCurtain(ShadeNode &node, const QImage &cloth, const QRectF &glass, double percent, double hemHeight,
                 const QColor &hem)
{
    const double width = std::max(hemHeight, std::round(glass.width() * percent / WholeWay / 2));
    const QSizeF shown(width - hemHeight, glass.height());
    const QSizeF edge(hemHeight, glass.height());
    node.cloth.set(cloth, QRectF(glass.topLeft(), shown), QRectF(QPointF(), shown));
    node.otherCloth.set(cloth, QRectF(QPointF(glass.right() - shown.width(), glass.top()), shown),
                        QRectF(QPointF(glass.width() - shown.width(), 0), shown));
    node.hem.set(QRectF(QPointF(glass.left() + shown.width(), glass.top()), edge), hem);
    node.otherHem.set(QRectF(QPointF(glass.right() - width, glass.top()), edge), hem);
}
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
    if (!estimate || !m_look.hasCloth()) {
        m_motion.reset();
        return;
    }
    m_motion.set(*estimate, nowMs);
    m_shown = m_motion.shown(nowMs);
    m_hasRing = m_motion.hasRing(nowMs);
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
    const double before = m_shown;
    const bool hadRing = m_hasRing;
    updateEstimate(nowMs);
    updateValue();
    const QRectF glass = painter().inner();
    const bool isDifferent = std::round(before / WholeWay * glass.height() / Visible)
        != std::round(m_shown / WholeWay * glass.height() / Visible);
    if (isDifferent || hadRing != m_hasRing)
        update();
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
    auto *const node = old ? static_cast<ShadeNode *>(old) : new ShadeNode(*window());
    const ShadePainter paint = painter();
    const Theme::Mode mode = m_isDark ? Theme::Dark : Theme::Light;
    const QRectF all(QPointF(), size());
    const QRectF glass = paint.inner();
    node->windowPicture.set(paint.window(m_look), all, all);
    const QColor hem = Theme::colour(Theme::Hem, mode);
    if (!m_look.hasCloth()) {
        node->cloth.set({}, {}, {});
        node->otherCloth.set({}, {}, {});
        node->hem.set({}, hem);
        node->otherHem.set({}, hem);
    } else if (m_look.kind == ShadeLook::Curtain)
        drawCurtain(*node, paint.cloth(m_look), glass, m_shown, paint.hemHeight(), hem);
    else
        drawBlind(*node, paint.cloth(m_look), glass, m_shown, paint.hemHeight(), hem);
    const bool isMoving = m_look.motion != ShadeLook::Resting;
    const auto rowOf = [&](int percent) {
        return glass.top() + std::round(glass.height() * percent / WholeWay);
    };
    node->target.set(isMoving && m_look.target >= 0 ? QRectF(
                         glass.left(), std::min(rowOf(m_look.target), glass.bottom() - 1), glass.width(), 1)
                                                    : QRectF(),
                     Theme::colour(Theme::Cloth, mode));
    node->signs.set(paint.signs(m_look), all, all);
    const QRectF mark(0, 0, 6, 8);
    const bool hasMark = isMoving && m_look.reading >= 0 && width() >= FacadeLayout::ShortLabelWidth;
    node->mark.set(
        hasMark ? paint.mark() : QImage(),
        mark.translated(std::max(0.0, glass.left() - 10), rowOf(m_look.reading) - mark.height() / 2), mark);
    const ShadePainter::Ring ring = m_isSelected ? ShadePainter::SelectedRing
        : m_isCurrent                            ? ShadePainter::FocusRing
        : m_hasRing                              ? ShadePainter::JumpRing
                                                 : ShadePainter::NoRing;
    node->ring.set(paint.ring(ring), all, all);
    node->arrange();
    return node;
}

#if QT_VERSION_MAJOR >= 6
void ShadeItem::geometryChange(const QRectF &now, const QRectF &before)
{
    QQuickItem::geometryChange(now, before);
    if (now.size() != before.size())
        Q_EMIT sizeChanged();
    update();
}
#else
void ShadeItem::geometryChanged(const QRectF &now, const QRectF &before)
{
    QQuickItem::geometryChanged(now, before);
    if (now.size() != before.size())
        Q_EMIT sizeChanged();
    update();
}
#endif

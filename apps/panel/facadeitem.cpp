#include "panel/facadeitem.h"

#include "network/voxnetworknode.h"

#include <QQuickWindow>
#include <QSGRectangleNode>

#include <algorithm>
#include <optional>

namespace {
/// So many shades and fewer move at 60 Hz.
constexpr int FewShades = 100;
constexpr int FewMs = 16;
constexpr int ManyMs = 33;
constexpr int ManyMoving = 150;
}

FacadeItem::FacadeItem(QQuickItem *parent)
    : QQuickItem(parent)
{
    setAcceptedMouseButtons(Qt::LeftButton);
    setAcceptHoverEvents(true);
    setAcceptTouchEvents(true);
    setActiveFocusOnTab(true);
    setFlag(ItemHasContents);
    connect(this, &FacadeItem::arrangingChanged, this, &QQuickItem::polish);
}

void FacadeItem::setArea(const QSizeF &area)
{
    if (area == m_area)
        return;
    m_area = area;
    polish();
    Q_EMIT areaChanged();
}

void FacadeItem::setZoom(double zoom)
{
    if (zoom == m_zoom)
        return;
    m_zoom = zoom;
    polish();
    Q_EMIT zoomChanged();
}

double FacadeItem::mostZoom() const
{
    constexpr double Most = 8;
    constexpr double LargestZoomed = 480;
    return cellWidth() > 0 ? qBound(1.0, LargestZoomed * m_zoom / cellWidth(), Most) : 1;
}

void FacadeItem::setSelection(Selection *selection)
{
    m_selection = selection;
    if (selection)
        connect(selection, &Selection::changed, this, &FacadeItem::showSelection);
    Q_EMIT selectionChanged();
}

void FacadeItem::setPlaces(Places *places)
{
    m_places = places;
    const auto read = [this] {
        m_pictureSize = m_places->pictureSize();
        polish();
    };
    if (places) {
        connect(places, &Places::changed, this, read);
        read();
    }
    Q_EMIT placesChanged();
}

bool FacadeItem::isPlaced() const
{
    return m_places && (m_isArranging || m_places->hasAny() || !m_pictureSize.isEmpty());
}

QRectF FacadeItem::fittedPicture() const
{
    constexpr double Margin = 16;
    const QRectF room = QRectF(QPointF(), m_area).adjusted(Margin, Margin, -Margin, -Margin);
    if (m_pictureSize.isEmpty())
        return room;
    QRectF rect(QPointF(), m_pictureSize.scaled(room.size(), Qt::KeepAspectRatio));
    rect.moveCenter(room.center());
    return rect;
}

// The shades

void FacadeItem::itemChange(ItemChange change, const ItemChangeData &data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemChildAddedChange) {
        if (auto *const shade = qobject_cast<ShadeItem *>(data.item))
            addShade(shade);
    } else if (change == ItemChildRemovedChange) {
        // It may be half destroyed, and no ShadeItem any more.
        for (ShadeItem *const shade : qAsConst(m_shades)) {
            if (data.item == shade)
                return removeShade(shade);
        }
    }
}

void FacadeItem::addShade(ShadeItem *shade)
{
    m_shades += shade;
    connect(shade, &ShadeItem::nodeChanged, this, &QQuickItem::polish);
    connect(shade, &ShadeItem::placeChanged, this, &QQuickItem::polish);
    connect(shade, &ShadeItem::motionBegun, this, &FacadeItem::startClock);
    connect(shade, &ShadeItem::troubleChanged, this, &FacadeItem::layoutChanged);
    polish();
}

void FacadeItem::removeShade(ShadeItem *shade)
{
    if (!m_shades.removeOne(shade))
        return;
    if (m_hovered == shade)
        setHovered(nullptr);
    if (m_dragged == shade)
        m_dragged = nullptr;
    m_current = std::min(m_current, static_cast<int>(m_shades.size()) - 1);
    polish();
}

void FacadeItem::updatePolish()
{
    QVector<FacadePlace> places;
    for (const ShadeItem *const shade : qAsConst(m_shades)) {
        const VOXNetworkNode *const node = shade->node();
        places += node ? FacadePlace::of(shade->facade(), node->label(), node->address()) : FacadePlace();
    }
    if (isPlaced()) {
        QVector<std::optional<QPointF>> middles;
        for (const ShadeItem *const shade : qAsConst(m_shades))
            middles += m_places->place(shade->key());
        const QRectF picture = fittedPicture();
        m_layout = FacadeLayout::onPicture(middles, picture);
        m_pictureRect = QRectF(picture.topLeft() * m_zoom, picture.size() * m_zoom);
    } else {
        m_layout = FacadeLayout::of(places, m_area);
    }
    m_fittedSize = m_layout.size;
    if (m_zoom > 1)
        m_layout = m_layout.scaled(m_zoom);
    for (int i = 0; i < m_layout.cells.size(); ++i) {
        m_shades[i]->setPosition(m_layout.cells[i].topLeft());
        m_shades[i]->setSize(m_layout.cells[i].size());
    }
    setImplicitSize(m_layout.size.width(), m_layout.size.height());
    showSelection();
    Q_EMIT layoutChanged();
}

double FacadeItem::cellWidth() const
{
    return m_layout.cells.isEmpty() ? 0 : m_layout.cells.first().width();
}

QVariantList FacadeItem::blocks() const
{
    QVariantList blocks;
    for (const FacadeLayout::Block &block : m_layout.blocks) {
        const auto troubles = std::count_if(block.cells.cbegin(), block.cells.cend(), [&](int cell) {
            return cell < m_shades.size() && m_shades[cell]->isDead();
        });
        blocks += QVariantMap{{QStringLiteral("name"), block.name},
                              {QStringLiteral("rect"), block.wall},
                              {QStringLiteral("troubles"), static_cast<int>(troubles)}};
    }
    return blocks;
}

QVariantList FacadeItem::floors() const
{
    QVariantList floors;
    for (const FacadeLayout::Floor &floor : m_layout.floors)
        floors += QVariantMap{{QStringLiteral("name"), floor.name}, {QStringLiteral("y"), floor.y}};
    return floors;
}

QVariantList FacadeItem::rules() const
{
    QVariantList rules;
    for (const QRectF &rule : m_layout.rules)
        rules += rule;
    return rules;
}

QRectF FacadeItem::rectOf(QObject *node) const
{
    for (const ShadeItem *const shade : m_shades) {
        if (node && shade->nodeObject() == node)
            return QRectF(shade->position(), shade->size());
    }
    return {};
}

// The clock

void FacadeItem::startClock()
{
    if (m_clock.isActive())
        return;
    m_clock.start(m_shades.size() <= FewShades ? FewMs : ManyMs, Qt::PreciseTimer, this);
    Q_EMIT movingChanged();
}

void FacadeItem::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_clock.timerId())
        advance();
    else
        QQuickItem::timerEvent(event);
}

void FacadeItem::advance()
{
    const qint64 now = ShadeItem::nowMs();
    int moving = 0;
    for (ShadeItem *const shade : qAsConst(m_shades)) {
        if (shade->isInMotion())
            moving += shade->advance(now);
    }
    if (moving >= ManyMoving)
        update();
    if (moving > 0)
        return;
    m_clock.stop();
    Q_EMIT movingChanged();
}

/// Behind all shades: a rectangle that cannot be seen. A renderer without a GPU works out which part of each
/// node is to be drawn again, which for many small pieces takes longer than to draw all.
QSGNode *FacadeItem::updatePaintNode(QSGNode *old, UpdatePaintNodeData *)
{
    auto *const node = old ? static_cast<QSGRectangleNode *>(old) : window()->createRectangleNode();
    node->setRect(boundingRect());
    node->setColor(Qt::transparent);
    node->markDirty(QSGNode::DirtyMaterial);
    return node;
}

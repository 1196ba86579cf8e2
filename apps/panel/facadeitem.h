#ifndef FACADEITEM_H
#define FACADEITEM_H

#include "panel/facadelayout.h"
#include "panel/places.h"
#include "panel/selection.h"
#include "panel/shadeitem.h"

#include <QBasicTimer>
#include <QLineF>
#include <QQuickItem>
#include <QVariantList>

/// The façade: places the shades that are its children, moves them by one clock, and takes what mouse and
/// keys do with them.
class FacadeItem : public QQuickItem
{
    Q_OBJECT
    Q_PROPERTY(QSizeF area READ area WRITE setArea NOTIFY areaChanged)
    Q_PROPERTY(double zoom READ zoom WRITE setZoom NOTIFY zoomChanged)
    Q_PROPERTY(QSizeF fittedSize READ fittedSize NOTIFY layoutChanged)
    Q_PROPERTY(double mostZoom READ mostZoom NOTIFY layoutChanged)
    Q_PROPERTY(Selection *selection READ selection WRITE setSelection NOTIFY selectionChanged)
    Q_PROPERTY(Places *places READ places WRITE setPlaces NOTIFY placesChanged)
    Q_PROPERTY(bool arranging MEMBER m_isArranging NOTIFY arrangingChanged)
    Q_PROPERTY(bool placed READ isPlaced NOTIFY layoutChanged)
    Q_PROPERTY(QRectF pictureRect READ pictureRect NOTIFY layoutChanged)
    Q_PROPERTY(QVariantList blocks READ blocks NOTIFY layoutChanged)
    Q_PROPERTY(QVariantList floors READ floors NOTIFY layoutChanged)
    Q_PROPERTY(QVariantList rules READ rules NOTIFY layoutChanged)
    Q_PROPERTY(double cellWidth READ cellWidth NOTIFY layoutChanged)
    Q_PROPERTY(QRectF band READ band NOTIFY bandChanged)
    Q_PROPERTY(ShadeItem *hovered READ hovered NOTIFY hoveredChanged)
    Q_PROPERTY(bool moving READ isMoving NOTIFY movingChanged)

public:
    explicit FacadeItem(QQuickItem *parent = nullptr);

    /// What there is room for.
    QSizeF area() const { return m_area; }
    void setArea(const QSizeF &area);
    /// So many times as large as what fits into the area.
    double zoom() const { return m_zoom; }
    void setZoom(double zoom);
    /// What all takes without zoom.
    QSizeF fittedSize() const { return m_fittedSize; }
    /// Beyond that a shade would be larger than anybody needs.
    double mostZoom() const;
    Selection *selection() const { return m_selection; }
    void setSelection(Selection *selection);

    Places *places() const { return m_places; }
    void setPlaces(Places *places);
    /// Whether shades stand where somebody has put them.
    bool isPlaced() const;
    /// Where the picture behind the shades is.
    QRectF pictureRect() const { return m_pictureRect; }

    ///@{
    /// The layout for QML: objects with "name", "rect" and the number of "troubles"; with "name" and "y";
    /// rectangles.
    QVariantList blocks() const;
    QVariantList floors() const;
    QVariantList rules() const;
    ///@}
    double cellWidth() const;
    QRectF band() const { return m_band; }
    ShadeItem *hovered() const { return m_hovered; }
    bool isMoving() const { return m_clock.isActive(); }

    /// Where the shade of @p node is; empty if there is none.
    Q_INVOKABLE QRectF rectOf(QObject *node) const;
    /// Makes the shade whose name or address has @p text in it the current one; false if there is none.
    Q_INVOKABLE bool find(const QString &text);
    Q_INVOKABLE void selectAll();
    /// Takes what has changed with time alone: a refusal grows old, a silence long.
    Q_INVOKABLE void refresh();

Q_SIGNALS:
    void areaChanged();
    void zoomChanged();
    void selectionChanged();
    void placesChanged();
    void arrangingChanged();
    void layoutChanged();
    void bandChanged();
    void hoveredChanged();
    void movingChanged();
    /// A shade was chosen by keys or mouse, and its card is wanted.
    void opened();
    /// The current shade is at @p rect.
    void shown(const QRectF &rect);
    ///@{
    /// A finger wants to see more at @p point; a double click wants to see all.
    void zoomWanted(const QPointF &point);
    void fitWanted();
    /// Two fingers are so many times as far apart, and what was at @p from is at @p to, in the window.
    void pinched(double factor, const QPointF &from, const QPointF &to);
    ///@}

protected:
    void itemChange(ItemChange change, const ItemChangeData &data) override;
    void updatePolish() override;
    void timerEvent(QTimerEvent *event) override;
    QSGNode *updatePaintNode(QSGNode *old, UpdatePaintNodeData *data) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseUngrabEvent() override;
    void touchEvent(QTouchEvent *event) override;
    void hoverMoveEvent(QHoverEvent *event) override;
    void hoverLeaveEvent(QHoverEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    void addShade(ShadeItem *shade);
    void removeShade(ShadeItem *shade);
    void startClock();
    void advance();
    void showSelection();
    void setCurrent(int index);
    void setHovered(ShadeItem *shade);
    void press(const QPointF &point);
    void move(const QPointF &point, bool isAddingTo);
    void release(const QPointF &point, bool isAddingTo);
    void endBand();
    void pinch(const QPointF &one, const QPointF &other, bool isFirst);
    ShadeItem *shadeAt(const QPointF &point) const;
    void selectBand(bool isAdding);
    void select(ShadeItem *shade, bool isAdding);
    QRectF fittedPicture() const;
    void drag(const QPointF &point);
    void drop();
    void nudge(int dx, int dy);

    QSizeF m_area;
    QSizeF m_fittedSize;
    double m_zoom = 1;
    QPointer<Selection> m_selection;
    QVector<ShadeItem *> m_shades;
    FacadeLayout m_layout;
    QBasicTimer m_clock;
    int m_current = -1;
    ShadeItem *m_hovered = nullptr;
    QPointer<Places> m_places;
    QRectF m_pictureRect;
    QSizeF m_pictureSize;
    bool m_isArranging = false;
    ShadeItem *m_dragged = nullptr;
    QPointF m_pressed;
    bool m_isBand = false;
    QRectF m_band;
    bool m_isPinch = false;
    QLineF m_pinch;
};

#endif

#ifndef FACADELAYOUT_H
#define FACADELAYOUT_H

#include <QRectF>
#include <QString>
#include <QVector>

#include <optional>

/// What decides the place of a shade: its façade, its floor, and its order among its neighbours.
struct FacadePlace
{
    /// The place of a node: floors come from labels such as "3.08 Office" and "308 Office".
    static FacadePlace of(const QString &facade, const QString &label, unsigned int addr);

    QString facade;
    std::optional<int> floor;
    QString order;
};

/// Where everything of the façade view stands, in pixels from its upper left corner.
struct FacadeLayout
{
    /// The plate behind the shades of one façade.
    struct Block
    {
        QString name;
        QRectF wall;
        /// The shades on it, by their indices, in order.
        QVector<int> cells;
    };
    struct Floor
    {
        QString name;
        /// Of the middle of its windows.
        double y;
    };

    ///@{
    /// The width of a cell decides what it shows.
    static constexpr int LabelWidth = 120;
    static constexpr int ShortLabelWidth = 44;
    static constexpr int MinWidth = 20;
    ///@}

    /// Façades side by side with their floors at one height; or, where cells would be too small, one below
    /// the other. What does not fit is higher than @p area.
    static FacadeLayout of(const QVector<FacadePlace> &places, const QSizeF &area);

    /// The same, but for cells that stand by their middles on a picture, in 0 to 1 of @p picture; those
    /// without such a place stand along the lower edge.
    static FacadeLayout onPicture(const QVector<std::optional<QPointF>> &middles, const QRectF &picture);
    /// The window in a cell of this size, in the coordinates of the cell.
    static QRectF windowOf(const QSizeF &cell);
    /// All of it larger, in the same order, so that what is under a point stays there.
    FacadeLayout scaled(double factor) const;

    /// The nearest cell in the direction (@p dx, @p dy) from cell @p index; @p index itself if there is none.
    int neighbour(int index, int dx, int dy) const;

    QVector<Block> blocks;
    QVector<Floor> floors;
    /// Lines between floors, from left to right.
    QVector<QRectF> rules;
    /// By index of the place.
    QVector<QRectF> cells;
    QSizeF size;
};

#endif

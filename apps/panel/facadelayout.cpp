#include "panel/facadelayout.h"

#include <QMap>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace {
constexpr double Aspect = 106.0 / 72;
constexpr double WindowAspect = 72.0 / 56;
constexpr double Margin = 16;
constexpr double Gutter = 24;
constexpr double Gap = 16;
constexpr double TitleHeight = 28;
constexpr double TitleTop = 12;
constexpr double Padding = 4;
constexpr double Bottom = 8;
constexpr int LargestCell = 160;
constexpr int OnlyCell = 308;
constexpr double CaptionHeight = 22;
constexpr double LargeCaptionHeight = 52;
constexpr double InsetShare = 1.0 / 9;
/// Floors at one height are worth cells that are so many times smaller.
constexpr double MostLost = 1.6;

using Row = QVector<int>;

/// The shades of one façade, floor by floor, the highest first.
struct Facade
{
    QString name;
    QMap<int, Row> floors;

    int columns() const
    {
        int most = 0;
        for (const Row &row : floors)
            most = std::max(most, static_cast<int>(row.size()));
        return most;
    }
    Row all() const
    {
        Row all;
        for (auto row = floors.cend(); row != floors.cbegin();)
            all += *--row;
        return all;
    }
};

QVector<Facade> facadesOf(const QVector<FacadePlace> &places)
{
    QVector<Facade> facades;
    Row order(places.size());
    for (int i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](int one, int other) { return places[one].order < places[other].order; });
    for (const FacadePlace &place : places) {
        const auto isOfPlace = [&](const Facade &facade) { return facade.name == place.facade; };
        if (std::none_of(facades.cbegin(), facades.cend(), isOfPlace))
            facades.append({place.facade, {}});
    }
    for (const int index : qAsConst(order)) {
        const FacadePlace &place = places[index];
        const auto facade = std::find_if(facades.begin(), facades.end(),
                                         [&](const Facade &each) { return each.name == place.facade; });
        facade->floors[place.floor.value_or(0)] += index;
    }
    return facades;
}

QMap<int, int> floorsOf(const QVector<FacadePlace> &places)
{
    QMap<int, int> floors;
    for (const FacadePlace &place : places) {
        if (place.floor)
            ++floors[*place.floor];
    }
    return floors;
}

double heightOf(double width)
{
    if (width < FacadeLayout::LabelWidth)
        return std::round(width * Aspect);
    // Two lines of text need no more room under a large window than under a small one.
    const double inset = std::round(width * InsetShare);
    return inset + std::round((width - 2 * inset) * WindowAspect) + LargeCaptionHeight;
}

/// Floors at one height over all façades.
struct Elevation
{
    Elevation(const QVector<Facade> &all, QList<int> numbers)
        : facades(all)
        , floors(std::move(numbers))
    {
        std::sort(floors.begin(), floors.end(), std::greater<>());
        for (const Facade &facade : facades)
            columns += facade.columns();
    }

    double frameWidth() const
    {
        return 2 * Margin + Gutter + facades.size() * 2 * Padding + (facades.size() - 1) * Gap;
    }
    double frameHeight() const { return TitleTop + TitleHeight + 2 * Padding + Bottom; }

    double cellWidth(const QSizeF &area) const
    {
        const double byWidth = (area.width() - frameWidth()) / columns;
        const double byHeight = (area.height() - frameHeight()) / floors.size() / Aspect;
        double width = std::floor(std::min(byWidth, byHeight));
        // Two lines of text need more room.
        while (width > FacadeLayout::MinWidth
               && frameHeight() + floors.size() * heightOf(width) > area.height())
            --width;
        return width;
    }

    FacadeLayout layout(double width, int count) const
    {
        FacadeLayout layout;
        layout.cells.resize(count);
        const double height = heightOf(width);
        const double top = TitleTop + TitleHeight;
        double x = Margin + Gutter;
        for (const Facade &facade : facades) {
            const QRectF wall(x, top, facade.columns() * width + 2 * Padding,
                              floors.size() * height + 2 * Padding);
            layout.blocks.append({facade.name, wall, facade.all()});
            for (int i = 0; i < floors.size(); ++i) {
                const Row row = facade.floors.value(floors[i]);
                const double y = top + Padding + i * height;
                for (int j = 0; j < row.size(); ++j)
                    layout.cells[row[j]] = QRectF(x + Padding + j * width, y, width, height);
                if (i > 0)
                    layout.rules += QRectF(x + Padding, y - 1, wall.width() - 2 * Padding, 1);
            }
            x = wall.right() + Gap;
        }
        const QRectF window = FacadeLayout::windowOf(QSizeF(width, height));
        for (int i = 0; i < floors.size(); ++i)
            layout.floors.append(
                {QString::number(floors[i]), top + Padding + i * height + window.center().y()});
        layout.size = QSizeF(x - Gap + Margin, top + floors.size() * height + 2 * Padding + Bottom);
        return layout;
    }

    const QVector<Facade> &facades;
    QList<int> floors;
    int columns = 0;
};

/// The shades of each façade in as many rows as there is room for, whatever their floors.
QVector<Facade> inRows(const QVector<Facade> &facades, int rows)
{
    QVector<Facade> all;
    for (const Facade &facade : facades) {
        Facade dense{facade.name, {}};
        const Row cells = facade.all();
        const int columns = (static_cast<int>(cells.size()) + rows - 1) / rows;
        for (int i = 0; i < cells.size(); ++i)
            dense.floors[-(i / columns)] += cells[i];
        all += dense;
    }
    return all;
}

/// Façades side by side, as dense as they can be.
struct Dense
{
    double cellWidth(const QSizeF &area, double largest) const
    {
        double width = largest;
        while (width >= FacadeLayout::MinWidth && !fits(area, width))
            --width;
        return width;
    }

    FacadeLayout layout(double width, const QSizeF &area, int count) const
    {
        const QVector<Facade> rows = inRows(facades, rowsAt(area, width));
        FacadeLayout layout = Elevation(rows, numbers(rows)).layout(width, count);
        // Rows are no floors.
        layout.floors.clear();
        layout.rules.clear();
        return layout;
    }

private:
    int rowsAt(const QSizeF &area, double width) const
    {
        const double frame = Elevation(facades, {0}).frameHeight();
        return std::max(1, static_cast<int>((area.height() - frame) / heightOf(width)));
    }
    bool fits(const QSizeF &area, double width) const
    {
        const QVector<Facade> rows = inRows(facades, rowsAt(area, width));
        return Elevation(rows, numbers(rows)).cellWidth(area) >= width;
    }
    static QList<int> numbers(const QVector<Facade> &rows)
    {
        QMap<int, int> all;
        for (const Facade &facade : rows) {
            for (auto row = facade.floors.cbegin(); row != facade.floors.cend(); ++row)
                all.insert(row.key(), 0);
        }
        return all.keys();
    }

public:
    const QVector<Facade> &facades;
};

/// Façades one below the other, each as wide as all.
struct Flow
{
    double titleHeight(const Facade &facade) const { return facade.name.isEmpty() ? 0 : TitleHeight; }

    int columnsAt(double width, double areaWidth) const
    {
        return std::max(1, static_cast<int>((areaWidth - 2 * Margin - 2 * Padding) / width));
    }

    double heightAt(double width, double areaWidth) const
    {
        const int columns = columnsAt(width, areaWidth);
        double height = TitleTop + Bottom - Gap;
        for (const Facade &facade : facades) {
            const double rows = std::ceil(static_cast<double>(facade.all().size()) / columns);
            height += titleHeight(facade) + rows * heightOf(width) + 2 * Padding + Gap;
        }
        return height;
    }

    double cellWidth(const QSizeF &area, double largest) const
    {
        double width = largest;
        while (width > FacadeLayout::MinWidth
               && (heightAt(width, area.width()) > area.height()
                   || width > area.width() - 2 * (Margin + Padding)))
            --width;
        return width;
    }

    FacadeLayout layout(double width, const QSizeF &area, int count) const
    {
        FacadeLayout layout;
        layout.cells.resize(count);
        const int columns = columnsAt(width, area.width());
        const double height = heightOf(width);
        double y = TitleTop;
        for (const Facade &facade : facades) {
            const Row all = facade.all();
            y += titleHeight(facade);
            const int used = std::min(columns, static_cast<int>(all.size()));
            const double rows = std::ceil(static_cast<double>(all.size()) / columns);
            const QRectF wall(Margin, y, used * width + 2 * Padding, rows * height + 2 * Padding);
            layout.blocks.append({facade.name, wall, all});
            for (int i = 0; i < all.size(); ++i) {
                const int row = i / columns;
                layout.cells[all[i]] = QRectF(wall.x() + Padding + i % columns * width,
                                              y + Padding + row * height, width, height);
            }
            layout.size.setWidth(std::max(layout.size.width(), wall.right() + Margin));
            y = wall.bottom() + Gap;
        }
        layout.size.setHeight(y - Gap + Bottom);
        return layout;
    }

    const QVector<Facade> &facades;
};

void shift(FacadeLayout &layout, double dx, double dy)
{
    for (QRectF &cell : layout.cells)
        cell.translate(dx, dy);
    for (FacadeLayout::Block &block : layout.blocks)
        block.wall.translate(dx, dy);
    for (QRectF &rule : layout.rules)
        rule.translate(dx, dy);
    for (FacadeLayout::Floor &floor : layout.floors)
        floor.y += dy;
    layout.size += QSizeF(dx, dy);
}
}

FacadePlace FacadePlace::of(const QString &facade, const QString &label, unsigned int addr)
{
    static const QRegularExpression number(QStringLiteral("^(\\d{1,4})(\\.?)"));
    const QRegularExpressionMatch match = number.match(label);
    FacadePlace place{facade, std::nullopt,
                      label + QString::number(addr, 16).rightJustified(6, QLatin1Char('0'))};
    if (match.hasMatch()) {
        const int digits = match.captured(1).toInt();
        place.floor = match.capturedLength(2) > 0 || digits < 100 ? digits : digits / 100;
    }
    return place;
}

FacadeLayout FacadeLayout::of(const QVector<FacadePlace> &places, const QSizeF &area)
{
    if (places.isEmpty() || area.isEmpty())
        return {};
    const int count = static_cast<int>(places.size());
    const QVector<Facade> facades = facadesOf(places);
    const QMap<int, int> floors = floorsOf(places);
    const double largest = count == 1 ? OnlyCell : LargestCell;
    const bool hasFloors = std::all_of(places.cbegin(), places.cend(),
                                       [](const FacadePlace &place) { return place.floor.has_value(); });
    const Elevation elevation(facades, floors.keys());
    const Flow flow{facades};
    const Dense dense{facades};
    const double stackedWidth = flow.cellWidth(area, largest);
    const double denseWidth = facades.size() > 1 ? dense.cellWidth(area, largest) : 0;
    const double flowWidth = std::max(stackedWidth, denseWidth);
    const double floorWidth = hasFloors ? std::min(largest, elevation.cellWidth(area)) : 0;
    const bool isLegible = floorWidth >= ShortLabelWidth && floorWidth * MostLost >= flowWidth;
    const bool isElevation = floors.size() > 1 && (isLegible || floorWidth >= flowWidth);
    FacadeLayout layout = isElevation ? elevation.layout(floorWidth, count)
        : denseWidth > stackedWidth   ? dense.layout(denseWidth, area, count)
                                      : flow.layout(stackedWidth, area, count);
    // A few shades stand in the middle.
    const double cellWidth = isElevation ? floorWidth : flowWidth;
    constexpr double MostEmpty = 0.25;
    const QSizeF rest = (area - layout.size).expandedTo(QSizeF(0, 0));
    if (cellWidth >= largest)
        shift(layout, std::floor(rest.width() / 2), std::floor(rest.height() / 2));
    else if (rest.width() > MostEmpty * area.width())
        shift(layout, std::floor(rest.width() / 2), 0);
    return layout;
}

FacadeLayout FacadeLayout::onPicture(const QVector<std::optional<QPointF>> &middles, const QRectF &picture)
{
    constexpr double CellsAcross = 16;
    constexpr double LargestPlaced = 96;
    FacadeLayout layout;
    const double width = std::round(
        std::clamp(picture.width() / CellsAcross, static_cast<double>(ShortLabelWidth), LargestPlaced));
    const QSizeF cell(width, heightOf(width));
    const int columns = std::max(1, static_cast<int>(picture.width() / width));
    const auto left = std::count(middles.cbegin(), middles.cend(), std::nullopt);
    const double rows = std::ceil(static_cast<double>(left) / columns);
    const QPointF tray(picture.left(), picture.bottom() - rows * cell.height());
    int inTray = 0;
    for (const std::optional<QPointF> &middle : middles) {
        QRectF rect(QPointF(), cell);
        if (middle) {
            const QPointF point(picture.left() + middle->x() * picture.width(),
                                picture.top() + middle->y() * picture.height());
            rect.moveTo((point - QPointF(cell.width(), cell.height()) / 2).toPoint());
        } else {
            rect.moveTo(tray
                        + QPointF(inTray % columns * cell.width(),
                                  static_cast<int>(inTray / columns) * cell.height()));
            ++inTray;
        }
        layout.cells += rect;
    }
    layout.size = QSizeF(picture.right(), picture.bottom());
    return layout;
}

FacadeLayout FacadeLayout::scaled(double factor) const
{
    FacadeLayout layout = *this;
    // Equal cells stay equal: what is drawn for one is drawn for all.
    const auto scale = [factor](const QRectF &rect) {
        return QRectF((rect.topLeft() * factor).toPoint(), (rect.size() * factor).toSize());
    };
    for (QRectF &cell : layout.cells)
        cell = scale(cell);
    for (Block &block : layout.blocks)
        block.wall = scale(block.wall);
    for (QRectF &rule : layout.rules)
        rule = QRectF((rule.topLeft() * factor).toPoint(), QSizeF(std::round(rule.width() * factor), 1));
    for (Floor &floor : layout.floors)
        floor.y = std::round(floor.y * factor);
    layout.size *= factor;
    return layout;
}

QRectF FacadeLayout::windowOf(const QSizeF &cell)
{
    if (cell.width() < ShortLabelWidth)
        return QRectF(2, 2, cell.width() - 4, cell.height() - 4);
    const double inset = std::round(cell.width() * InsetShare);
    const double width = cell.width() - 2 * inset;
    const double height = std::min(std::round(width * WindowAspect), cell.height() - inset - CaptionHeight);
    return QRectF(inset, inset, width, height);
}

int FacadeLayout::neighbour(int index, int dx, int dy) const
{
    if (index < 0 || index >= cells.size())
        return cells.isEmpty() ? -1 : 0;
    const QPointF from = cells[index].center();
    int best = index;
    double bestWay = 0;
    for (int i = 0; i < cells.size(); ++i) {
        const QPointF way = cells[i].center() - from;
        const double along = way.x() * dx + way.y() * dy;
        const double across = std::abs(way.x() * dy) + std::abs(way.y() * dx);
        // What stands straight ahead goes before what is only near.
        const double weighted = along + 3 * across;
        if (along > 1 && (best == index || weighted < bestWay)) {
            best = i;
            bestWay = weighted;
        }
    }
    return best;
}

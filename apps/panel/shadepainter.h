#ifndef SHADEPAINTER_H
#define SHADEPAINTER_H

#include "panel/shadelook.h"
#include "panel/signs.h"
#include "panel/theme.h"

#include <QImage>
#include <QRectF>

#include <functional>

/// Draws the parts of a shade that do not move, as pictures of one size and theme. Equal ones are drawn once.
class ShadePainter
{
public:
    ShadePainter(const QSizeF &cell, double pixelRatio, Theme::Mode mode);

    /// The window in its frame, without cloth: of the whole cell.
    QImage window(const ShadeLook &look) const;
    /// All of the cloth, of the size of inner().
    QImage cloth(const ShadeLook &look) const;
    /// Signs and plates over it: of the whole cell. Null if there are none.
    QImage signs(const ShadeLook &look) const;
    /// Around a cell: selected, where the keys are, or where a shade has just jumped.
    enum Ring { NoRing, SelectedRing, FocusRing, JumpRing };
    QImage ring(Ring ring) const;
    /// The mark of a last reading: a small triangle, whose point is at the middle of its right side.
    QImage mark() const;

    /// The glass, in the coordinates of the cell.
    QRectF inner() const;
    /// Pixels of the hem; less on small windows.
    double hemHeight() const;

private:
    QImage make(const QString &key, const QSizeF &size, const std::function<void(QPainter &)> &paint) const;
    bool isSmall() const;
    double frameWidth() const;
    void paintFrame(QPainter &painter, const QRectF &window) const;
    void paintDashed(QPainter &painter, const ShadeLook &look) const;
    void paintDead(QPainter &painter, const ShadeLook &look) const;
    void paintCorner(QPainter &painter, Signs::Sign sign, Theme::Role plate, Theme::Role ink) const;
    QColor colour(Theme::Role role) const { return Theme::colour(role, m_mode); }

    QSizeF m_cell;
    QRectF m_window;
    double m_ratio;
    Theme::Mode m_mode;
};

#endif

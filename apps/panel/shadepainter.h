#ifndef SHADEPAINTER_H
#define SHADEPAINTER_H

#include "panel/shadelook.h"
#include "panel/signs.h"
#include "panel/theme.h"

#include <QImage>
#include <QRectF>

#include <functional>

/// Draws shades as pictures of one size and theme. Parts that are equal are drawn once.
class ShadePainter
{
public:
    /// Around a cell: selected, where the keys are, or where a shade has just jumped.
    enum Ring : int { NoRing, SelectedRing, FocusRing, JumpRing };

    ShadePainter(const QSizeF &cell, double pixelRatio, Theme::Mode mode);

    /// The whole cell. @p extent is that of extentOf().
    QImage picture(const ShadeLook &look, int extent, Ring ring) const;
    /// The cloth alone, or the slats, as long as the glass.
    QImage cloth(const ShadeLook &look) const;
    /// How far the cloth reaches at @p percent, its hem included: from above, or from each side. Never less
    /// than the hem, so that a shade is always seen.
    int extentOf(const ShadeLook &look, double percent) const;

    /// The glass, in the coordinates of the cell.
    QRectF inner() const;
    /// Pixels of the hem; less on small windows.
    int hemHeight() const;

private:
    enum Part : int { WindowPart, ClothPart, SignsPart, RingPart };

    QImage window(const ShadeLook &look) const;
    QImage signs(const ShadeLook &look) const;
    QImage ring(Ring ring) const;
    QImage part(Part part, std::initializer_list<int> whatCounts, const QSizeF &size,
                const std::function<void(QPainter &)> &paint) const;
    bool isSmall() const;
    double frameWidth() const;
    double discSide() const;
    double rowOf(int percent) const;
    void drawBlind(QPainter &painter, const QImage &cloth, int extent) const;
    void drawCurtain(QPainter &painter, const QImage &cloth, int extent) const;
    void drawMotion(QPainter &painter, const ShadeLook &look) const;
    void paintFrame(QPainter &painter, const QRectF &window) const;
    void paintDashed(QPainter &painter, const ShadeLook &look) const;
    void paintDead(QPainter &painter) const;
    void paintSigns(QPainter &painter, const ShadeLook &look) const;
    void paintArrow(QPainter &painter, ShadeLook::Motion motion) const;
    void paintCross(QPainter &painter, const ShadeLook &look) const;
    void paintCorner(QPainter &painter, Signs::Sign sign, Theme::Role plate, Theme::Role ink) const;
    QColor colour(Theme::Role role) const { return Theme::colour(role, m_mode); }

    QSizeF m_cell;
    QRectF m_window;
    double m_ratio;
    Theme::Mode m_mode;
};

#endif

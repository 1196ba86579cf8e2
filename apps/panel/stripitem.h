#ifndef STRIPITEM_H
#define STRIPITEM_H

#include "panel/panelline.h"
#include "panel/theme.h"

#include <QQuickItem>

class QPainter;

/// The last minute of a line as bars of a second each, the newest at the right.
class StripItem : public QQuickItem
{
    Q_OBJECT
    Q_PROPERTY(PanelLine *line READ line WRITE setLine NOTIFY lineChanged)
    Q_PROPERTY(bool dark READ isDark WRITE setDark NOTIFY lineChanged)

public:
    explicit StripItem(QQuickItem *parent = nullptr);

    PanelLine *line() const { return m_line; }
    void setLine(PanelLine *line);
    bool isDark() const { return m_mode == Theme::Dark; }
    void setDark(bool isDark);

Q_SIGNALS:
    void lineChanged();

protected:
    QSGNode *updatePaintNode(QSGNode *old, UpdatePaintNodeData *data) override;

private:
    using Minute = std::array<LineHistory::Second, LineHistory::Seconds>;

    void takeSeconds();
    void drawSecond(QPainter &painter, const LineHistory::Second &second, double left, double barWidth) const;

    Minute m_minute{};
    QPointer<PanelLine> m_line;
    Theme::Mode m_mode = Theme::Light;
};

#endif

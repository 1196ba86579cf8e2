#ifndef SCREEN_H
#define SCREEN_H

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QVector>

/// Turns lines into the bytes that show them on a terminal, and sends only what has changed. Knows no device:
/// whoever uses it writes the bytes, all of them and in their order.
class Screen
{
public:
    enum Style { Plain, Heading, Faint, Moving, Warning, Bad };

    struct Line
    {
        QString text;
        Style style = Plain;

        bool operator==(const Line &other) const { return text == other.text && style == other.style; }
        bool operator!=(const Line &other) const { return !(*this == other); }
    };

    Screen(QSize size, bool hasColour);

    QSize size() const { return m_size; }
    /// Everything is drawn anew then.
    void setSize(QSize size);

    /// Takes the whole terminal, whose content comes back with end().
    static QByteArray begin();
    static QByteArray end();

    /// Makes the screen show @p lines, from its top; what does not fit is cut off. Empty if they are shown.
    QByteArray draw(const QVector<Line> &lines);

private:
    QByteArray bytesOf(const Line &line) const;

    QSize m_size;
    bool m_hasColour;
    QVector<Line> m_shown;
    bool m_isCleared = false;
};

#endif

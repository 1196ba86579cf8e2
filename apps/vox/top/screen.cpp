#include "vox/top/screen.h"

#include "vox/console.h"

#include <array>

namespace {
// Of the standard for terminals.
constexpr const char *Clear = "\x1b[H\x1b[2J";
constexpr const char *RestOfLine = "\x1b[K";
constexpr const char *Normal = "\x1b[0m";
constexpr std::array<const char *, Screen::Bad + 1> Styles = {"",         "\x1b[7m",  "\x1b[2m",
                                                              "\x1b[36m", "\x1b[33m", "\x1b[31m"};
}

Screen::Screen(QSize size, bool hasColour)
    : m_size(size)
    , m_hasColour(hasColour)
{
}

void Screen::setSize(QSize size)
{
    m_size = size;
    m_isCleared = false;
}

QByteArray Screen::begin()
{
    return "\x1b[?1049h\x1b[?25l";
}

QByteArray Screen::end()
{
    return "\x1b[0m\x1b[?25h\x1b[?1049l";
}

QByteArray Screen::draw(const QVector<Line> &lines)
{
    QByteArray bytes;
    if (!m_isCleared) {
        bytes += Clear;
        m_shown = QVector<Line>(m_size.height());
        m_isCleared = true;
    }
    for (int row = 0; row < m_size.height(); ++row) {
        Line line = lines.value(row);
        line.text = printable(line.text.left(m_size.width()));
        if (line == m_shown.at(row))
            continue;
        bytes += "\x1b[" + QByteArray::number(row + 1) + ";1H" + bytesOf(line);
        m_shown[row] = line;
    }
    return bytes;
}

QByteArray Screen::bytesOf(const Line &line) const
{
    const QByteArray text = line.text.toLocal8Bit();
    // Behind the last column, this would remove the last character.
    const QByteArray rest = line.text.size() < m_size.width() ? RestOfLine : "";
    if (!m_hasColour || line.style == Plain)
        return text + rest;
    return Styles.at(static_cast<std::size_t>(line.style)) + text + Normal + rest;
}

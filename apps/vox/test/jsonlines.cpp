#include "vox/test/jsonlines.h"

#include <algorithm>
#include <cctype>
#include <cstring>

JsonLines::JsonLines(const QByteArray &text)
    : m_text(text)
{
    scanValue(QString());
}

int JsonLines::lineOf(QString path) const
{
    // The root is there, with an empty path.
    while (!m_lines.contains(path)) {
        const auto end = std::max(path.lastIndexOf(QLatin1Char('.')), path.lastIndexOf(QLatin1Char('[')));
        path = end < 0 ? QString() : path.left(end);
    }
    return m_lines.value(path);
}

void JsonLines::scanValue(const QString &path)
{
    const char first = next();
    // A member has the line of its name.
    if (!m_lines.contains(path))
        m_lines.insert(path, m_line);
    if (first == '{')
        scanMembers(path);
    else if (first == '[')
        scanElements(path);
    else if (first == '"')
        takeText();
    else
        while (m_offset < m_text.size() && !std::strchr(",]} \t\r\n", m_text.at(m_offset)))
            ++m_offset;
}

void JsonLines::scanMembers(const QString &path)
{
    ++m_offset;
    while (next() == '"') {
        const int line = m_line;
        const QString name = QString::fromUtf8(takeText());
        const QString member = path.isEmpty() ? name : QStringLiteral("%1.%2").arg(path, name);
        m_lines.insert(member, line);
        next();
        ++m_offset;
        scanValue(member);
        if (next() == ',')
            ++m_offset;
    }
    ++m_offset;
}

void JsonLines::scanElements(const QString &path)
{
    ++m_offset;
    for (int index = 0; next() != ']' && m_offset < m_text.size(); ++index) {
        scanValue(QStringLiteral("%1[%2]").arg(path).arg(index));
        if (next() == ',')
            ++m_offset;
    }
    ++m_offset;
}

/// The text that begins here, without its quotes, as it is written.
QByteArray JsonLines::takeText()
{
    const int begin = ++m_offset;
    while (m_offset < m_text.size() && m_text.at(m_offset) != '"')
        m_offset += m_text.at(m_offset) == '\\' ? 2 : 1;
    return m_text.mid(begin, m_offset++ - begin);
}

/// The next character that is no space; 0 at the end.
char JsonLines::next()
{
    for (; m_offset < m_text.size() && std::isspace(static_cast<unsigned char>(m_text.at(m_offset)));
         ++m_offset)
        m_line += m_text.at(m_offset) == '\n' ? 1 : 0;
    return m_offset < m_text.size() ? m_text.at(m_offset) : '\0';
}

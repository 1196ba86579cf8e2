#ifndef JSONLINES_H
#define JSONLINES_H

#include <QByteArray>
#include <QHash>
#include <QString>

/// Tells in which line of a JSON text a place stands, by the path that VOXJsonPlace gives it.
class JsonLines
{
public:
    /// @p text is JSON without a mistake.
    explicit JsonLines(const QByteArray &text);

    /// The line, from 1, of "steps[3].expect.within". For a place that is not there, that of what it would be
    /// in.
    int lineOf(QString path) const;

private:
    void scanValue(const QString &path);
    void scanMembers(const QString &path);
    void scanElements(const QString &path);
    QByteArray takeText();
    char next();

    QByteArray m_text;
    int m_offset = 0;
    int m_line = 1;
    QHash<QString, int> m_lines;
};

#endif

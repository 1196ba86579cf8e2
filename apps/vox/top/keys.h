#ifndef KEYS_H
#define KEYS_H

#include <QByteArray>
#include <QChar>
#include <QVector>

/// A key of a terminal.
struct Key
{
    enum Kind { Character, Enter, Escape, Backspace, Suspend, Up, Down, PageUp, PageDown, Home, End };

    /// The keys that @p bytes are, as a terminal sends them together. Others are left out.
    static QVector<Key> read(const QByteArray &bytes);

    Kind kind = Character;
    QChar character;
};

#endif

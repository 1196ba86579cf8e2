#include "vox/top/keys.h"

#include <QString>

#include <algorithm>

namespace {
constexpr char EscapeByte = '\x1b';

struct Sequence
{
    const char *bytes;
    Key::Kind kind;
};

/// Behind the escape. Terminals differ in what they send.
constexpr Sequence Sequences[] = {
    {"[A", Key::Up},      {"OA", Key::Up},        {"[B", Key::Down}, {"OB", Key::Down},
    {"[5~", Key::PageUp}, {"[6~", Key::PageDown}, {"[H", Key::Home}, {"OH", Key::Home},
    {"[1~", Key::Home},   {"[F", Key::End},       {"OF", Key::End},  {"[4~", Key::End},
};

/// How many bytes of @p bytes, behind an escape, are one key that is not known.
int unknownLength(const QByteArray &bytes)
{
    if (!bytes.startsWith('[') && !bytes.startsWith('O'))
        return 0;
    int length = 1;
    while (length < bytes.size() && (bytes.at(length) < '@' || bytes.at(length) > '~'))
        ++length;
    return std::min(length + 1, static_cast<int>(bytes.size()));
}

/// Reads the key that begins with an escape at the beginning of @p bytes, and removes it.
void readSequence(QByteArray *bytes, QVector<Key> *keys)
{
    bytes->remove(0, 1);
    for (const Sequence &sequence : Sequences) {
        if (!bytes->startsWith(sequence.bytes))
            continue;
        keys->append(Key{sequence.kind, {}});
        bytes->remove(0, static_cast<int>(qstrlen(sequence.bytes)));
        return;
    }
    const int length = unknownLength(*bytes);
    if (length == 0)
        keys->append(Key{Key::Escape, {}});
    bytes->remove(0, length);
}

Key keyOf(QChar character)
{
    switch (character.unicode()) {
    case '\r':
    case '\n':
        return {Key::Enter, {}};
    case '\b':
    case '\x7f':
        return {Key::Backspace, {}};
    case '\x1a':
        return {Key::Suspend, {}};
    default:
        return {Key::Character, character};
    }
}
}

QVector<Key> Key::read(const QByteArray &bytes)
{
    QVector<Key> keys;
    QByteArray left = bytes;
    while (!left.isEmpty()) {
        if (left.startsWith(EscapeByte)) {
            readSequence(&left, &keys);
            continue;
        }
        const int end = left.indexOf(EscapeByte);
        const QString text = QString::fromLocal8Bit(end < 0 ? left : left.left(end));
        left = end < 0 ? QByteArray() : left.mid(end);
        for (const QChar character : text)
            keys += keyOf(character);
    }
    return keys;
}

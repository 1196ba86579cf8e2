#ifndef COVERCOMMAND_H
#define COVERCOMMAND_H

#include <QByteArray>
#include <QString>

/// What a payload from the broker tells a cover to do. Positions are 0 for closed to 100 for open.
struct CoverCommand
{
    enum Kind { Open, Close, Stop, Wink, Position, Intermediate };

    /// The longest payload that is looked at.
    static constexpr int MaxBytes = 1024;

    /// Reads the payload of a topic "set": a word, or a JSON object. False if it is not understood; @p
    /// problem says why. Its id is read even then, if it has one.
    static bool read(const QByteArray &payload, CoverCommand *command, QString *problem);
    /// Reads the payload of a topic "position/set": a number.
    static bool readPosition(const QByteArray &payload, CoverCommand *command, QString *problem);

    /// The same for the motor; the id does not count.
    bool isSame(const CoverCommand &other) const { return kind == other.kind && value == other.value; }

    Kind kind = Stop;
    int value = 0;
    /// By which the sender knows the result again; empty if none is wanted.
    QByteArray id;
};

/// Whether the JSON text @p bytes is nested no deeper than @p most.
bool isShallow(const QByteArray &bytes, int most);
/// Whether @p text can be the id of a command or a call.
bool isCommandId(const QString &text);

#endif

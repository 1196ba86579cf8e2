#ifndef COMMANDFIELDS_H
#define COMMANDFIELDS_H

#include <QJsonValue>
#include <QString>
#include <QVector>

class VOXMessage;

/// One field of a frame's data area.
struct CommandField
{
    enum Kind {
        Number,
        /// Any byte but 0 is true.
        Flag,
        /// A node or group address.
        Address,
        /// Latin-1, up to the first zero byte.
        Text,
        /// One Latin-1 character.
        Letter,
        Bytes
    };

    const char *name;
    Kind kind;
    /// Bytes.
    int width;
    /// Of a number; empty if it has none.
    const char *unit = "";
    /// Of a number: the enumeration whose keys are its values.
    const char *enumeration = "";
};

/// A field and what a frame holds in it.
struct FieldValue
{
    CommandField field;
    QJsonValue value;

    /// For people, with the unit.
    QString toString() const;
};

/// Whether the layout of @p cmd is known; it may have no fields.
bool hasCommandFields(unsigned char cmd);
QVector<CommandField> commandFields(unsigned char cmd);

/// The fields of @p frame, as far as its data area goes.
QVector<FieldValue> decodeFields(const VOXMessage &frame);

#endif

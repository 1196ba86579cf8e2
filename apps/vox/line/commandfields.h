#ifndef COMMANDFIELDS_H
#define COMMANDFIELDS_H

#include <QJsonObject>
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
    /// Of a number: the value that says that there is none; -1 if every value is one.
    int none = -1;
};

/// A field and what a frame holds in it.
struct FieldValue
{
    CommandField field;
    QJsonValue value;

    bool isNone() const { return field.none >= 0 && value.toInt() == field.none; }
    /// For people, with the unit.
    QString toString() const;
    /// Null if there is none.
    QJsonValue toJson() const { return isNone() ? QJsonValue() : value; }
};

/// The key of @p value in the enumeration of @p field; empty if there is none.
QString enumerationKey(const CommandField &field, int value);

/// @p text with a question mark for what a terminal would not show, or would obey.
QString printable(const QString &text);

/// Whether the layout of @p cmd is known; it may have no fields.
bool hasCommandFields(unsigned char cmd);
QVector<CommandField> commandFields(unsigned char cmd);

/// The fields of @p frame, as far as its data area goes.
QVector<FieldValue> decodeFields(const VOXMessage &frame);
/// The same, by their names.
QJsonObject fieldsOf(const VOXMessage &frame);

#endif

#ifndef VOX_MESSAGES_VOXFIELD_H
#define VOX_MESSAGES_VOXFIELD_H

#include <vox/messages/vox_export.h>

#include <QMetaEnum>
#include <QVariant>
#include <QVector>

class QJsonObject;
class QJsonValue;
class VOXMessage;

/// One field of a command's data: what it is called, what it holds and how it is shown.
///
/// Fields are known of all commands of the KVR set, requests and replies, and of a part of the HRMv2 set.
/// They live as long as the library. From any thread.
/// @ingroup messages
struct VOX_EXPORT VOXField
{
    /// What the bytes mean.
    enum Kind {
        Number, ///< Little-endian, without a sign.
        Flag, ///< Any byte but 0 is true.
        Address, ///< Of a node or group, without a node type.
        Text, ///< Latin-1, up to the first zero byte.
        Letter, ///< One Latin-1 character.
        Bytes
    };

    /// What an id means that both sets have. Only code that knows the node can tell. Any other id is found
    /// either way.
    enum Meaning { InKVR, InHRMv2 };

    class Range;
    struct Value;

    const char *name; ///< What tools call it.
    Kind kind; ///< What its bytes mean.
    int width; ///< In bytes.
    const char *unit = ""; ///< Of a number; empty if it has none.
    int none = -1; ///< The number that says that there is no value; -1 if every number is a value.
    /// The class that holds the enumeration of the values of a number; null if these have no names.
    const QMetaObject *scope = nullptr;
    const char *enumName = ""; ///< The name of that enumeration; empty if there is none.

    /// Invalid if the values have no names.
    QMetaEnum enumeration() const;
    /// The name of @p value; empty if it has none. The status of a NACK is named as by KVR::toString().
    QString key(int value) const;

    /// Whether @p cmd belongs to the KVR set; its data may have no fields.
    static bool isKnown(unsigned char cmd);
    /// The fields that the command's frame has room for, in the order of their bytes.
    static Range of(unsigned char cmd, Meaning meaning = InKVR);

    /// The fields of @p frame in the order of their bytes, as far as its data goes.
    static QVector<Value> valuesOf(const VOXMessage &frame, Meaning meaning = InKVR);
    ///@{
    /// The same by name, with the values of Value::toVariant() and Value::toJson().
    static QVariantMap toVariantMap(const VOXMessage &frame, Meaning meaning = InKVR);
    static QJsonObject toJson(const VOXMessage &frame, Meaning meaning = InKVR);
    ///@}
};

/// Fields one after the other, for a loop.
class VOXField::Range
{
public:
    /// No fields.
    Range() = default;
    /// @p count fields from @p first on, which are not copied.
    Range(const VOXField *first, int count)
        : m_first(first)
        , m_count(count)
    {
    }

    ///@{
    /// As of any container.
    const VOXField *begin() const { return m_first; }
    const VOXField *end() const { return m_first + m_count; }
    int size() const { return m_count; }
    bool isEmpty() const { return m_count == 0; }
    const VOXField &at(int index) const { return m_first[index]; }
    ///@}

private:
    const VOXField *m_first = nullptr;
    int m_count = 0;
};

/// A field and what a frame holds in it.
struct VOX_EXPORT VOXField::Value
{
    /// Never null.
    const VOXField *field = nullptr;
    /// For a number its name, or an int if it has none; for a flag a bool; for any other field a text. The
    /// text of an address is VOX::toString(); bytes are hexadecimal with spaces.
    QVariant value;

    /// Whether the number says that there is no value.
    bool isNone() const;
    ///@{
    /// The value; null if there is none.
    QVariant toVariant() const;
    QJsonValue toJson() const;
    ///@}
    /// The value as people read it, with the unit. A character that a terminal would not show, or would obey,
    /// becomes a question mark.
    QString toString() const;
};

Q_DECLARE_TYPEINFO(VOXField::Value, Q_MOVABLE_TYPE);

#endif

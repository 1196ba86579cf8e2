#include "messages/voxfield.h"

#include "messages/hrmv2schema_p.h"
#include "messages/kvrschema_p.h"

#include <QJsonObject>

#include <utility>

using namespace VOXSchema;

namespace {
/// The fields of a command, as far as they are known; those without room in its frame are left out.
struct Entry
{
    const VOXField *first = nullptr;
    unsigned char count = 0;
    bool isKnown = false;
};

constexpr int CommandCount = 256;
using Entries = std::array<Entry, CommandCount>;

template <typename Commands, std::size_t... Rows>
constexpr void enter(Entries &entries, std::index_sequence<Rows...>)
{
    const auto enterOne = [&entries](auto command) {
        constexpr auto Command = static_cast<Commands>(decltype(command)::value);
        Entry &entry = entries[Command];
        entry.isKnown = true;
        if constexpr (hasLayout<Command>) {
            checkLayout<Command>();
            const auto &one = layout<Command>;
            entry.first = one.fields.data();
            entry.count = static_cast<unsigned char>(one.countIn(sentLength<Command>));
        }
    };
    (enterOne(std::integral_constant<int, VOXCmdTable::rowsOf<Commands>[Rows].cmd>()), ...);
}

template <typename Commands>
constexpr void enterAll(Entries &entries)
{
    enter<Commands>(entries, std::make_index_sequence<std::size(VOXCmdTable::rowsOf<Commands>)>());
}

template <typename... Commands>
constexpr Entries makeEntries()
{
    Entries entries{};
    (enterAll<Commands>(entries), ...);
    return entries;
}

constexpr Entries current = makeEntries<KVR::Cmd, KVR::MotorCmd, KVR::DiagCmd>();
constexpr Entries older = makeEntries<HRMv2::Cmd>();

int littleEndian(const QByteArray &bytes)
{
    int value = 0;
    for (int i = bytes.size() - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(i));
    return value;
}

QVariant decode(const VOXField &field, const QByteArray &bytes)
{
    switch (field.kind) {
    case VOXField::Flag:
        return littleEndian(bytes) != 0;
    case VOXField::Address:
        return VOX::toString(littleEndian(bytes));
    case VOXField::Text:
    case VOXField::Letter:
        return QString::fromLatin1(bytes.constData(),
                                   static_cast<int>(qstrnlen(bytes.constData(), uint(bytes.size()))));
    case VOXField::Bytes:
        return QString::fromLatin1(bytes.toHex(' ').toUpper());
    case VOXField::Number:
        break;
    }
    // Values of an enumeration without a name stay numbers.
    const int value = littleEndian(bytes);
    const QString key = field.key(value);
    return key.isEmpty() ? QVariant(value) : QVariant(key);
}

QString printable(QString text)
{
    for (QChar &character : text) {
        if (!character.isPrint())
            character = QLatin1Char('?');
    }
    return text;
}
}

QMetaEnum VOXField::enumeration() const
{
    return scope ? scope->enumerator(scope->indexOfEnumerator(enumName)) : QMetaEnum();
}

QString VOXField::key(int value) const
{
    // Motors have an enumeration of their own for the same byte.
    if (scope == &KVR::staticMetaObject && qstrcmp(enumName, "NackStatus") == 0) {
        const QString text = KVR::toString(static_cast<KVR::NackStatus>(value));
        // The text of a status without a key is its number.
        return text.at(0).isLetter() ? text : QString();
    }
    return scope ? QString::fromLatin1(enumeration().valueToKey(value)) : QString();
}

bool VOXField::isKnown(unsigned char cmd)
{
    return current[cmd].isKnown;
}

VOXField::Range VOXField::of(unsigned char cmd, Meaning meaning)
{
    const bool isOlder = older[cmd].isKnown && (meaning == InHRMv2 || !current[cmd].isKnown);
    const Entry &entry = isOlder ? older[cmd] : current[cmd];
    return {entry.first, entry.count};
}

QVector<VOXField::Value> VOXField::valuesOf(const VOXMessage &frame, Meaning meaning)
{
    QVector<Value> values;
    const QByteArray &bytes = frame.data();
    int offset = VOXMessage::HeaderLength;
    for (const VOXField &field : of(frame.cmd(), meaning)) {
        if (offset + field.width > bytes.size() - VOXMessage::CheckLength)
            break;
        values.append({&field, decode(field, bytes.mid(offset, field.width))});
        offset += field.width;
    }
    return values;
}

QVariantMap VOXField::toVariantMap(const VOXMessage &frame, Meaning meaning)
{
    QVariantMap map;
    const QVector<Value> values = valuesOf(frame, meaning);
    for (const Value &each : values)
        map.insert(QLatin1String(each.field->name), each.toVariant());
    return map;
}

QJsonObject VOXField::toJson(const VOXMessage &frame, Meaning meaning)
{
    QJsonObject object;
    const QVector<Value> values = valuesOf(frame, meaning);
    for (const Value &each : values)
        object.insert(QLatin1String(each.field->name), each.toJson());
    return object;
}

bool VOXField::Value::isNone() const
{
    return field->none >= 0 && value.toInt() == field->none;
}

QVariant VOXField::Value::toVariant() const
{
    return isNone() ? QVariant() : value;
}

QJsonValue VOXField::Value::toJson() const
{
    return QJsonValue::fromVariant(toVariant());
}

QString VOXField::Value::toString() const
{
    if (isNone())
        return QStringLiteral("none");
    const QString text = printable(value.toString());
    return *field->unit == '\0' ? text : text + QLatin1Char(' ') + QLatin1String(field->unit);
}

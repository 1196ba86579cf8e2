#ifndef VOX_MESSAGES_VOXSCHEMA_P_H
#define VOX_MESSAGES_VOXSCHEMA_P_H

#include <vox/messages/voxcmdtable_p.h>
#include <vox/messages/voxdatareader.h>
#include <vox/messages/voxdatawriter.h>
#include <vox/messages/voxfield.h>

#include <array>
#include <optional>
#include <type_traits>
#include <utility>

/// The form in which the layout of a command's data is written down, and functions that write and read data
/// by it.
///
/// The layouts themselves are in kvrschema_p.h and hrmv2schema_p.h. Nothing else says which fields a command
/// has, in which order, and how wide they are.
///
/// A field has one C++ type, which decides its width: quint8, quint16, bool and every enumeration travel as
/// one or two bytes, quint32 and VOX::Addr as three, QByteArray as many as its layout says.
namespace VOXSchema {

/// One field: @p FieldType is what it is in C++, @p FieldMember where a KVRAnswer keeps it.
template <typename FieldType, auto FieldMember = nullptr>
struct Field
{
    using Type = FieldType;
    static constexpr auto Member = FieldMember;

    VOXField info;
};

/// The fields of a command, in the order of their bytes.
template <typename... Fields>
struct Layout
{
    std::array<VOXField, sizeof...(Fields)> fields;
    /// The length of the frame that is sent; 0 if it is that of the descriptor.
    unsigned char length = 0;

    /// For data and descriptor that do not agree: frames of @p frameLength are sent. If these have no room
    /// for all fields, those that do not fit are not sent.
    constexpr Layout sentAs(unsigned char frameLength) const { return {fields, frameLength}; }

    constexpr int width() const { return widthOf(static_cast<int>(fields.size())); }

    /// The width of the first @p count fields.
    constexpr int widthOf(int count) const
    {
        int width = 0;
        for (int i = 0; i < count; ++i)
            width += fields[static_cast<std::size_t>(i)].width;
        return width;
    }

    /// How many of the fields a frame of @p frameLength bytes has room for.
    constexpr int countIn(int frameLength) const
    {
        int count = static_cast<int>(fields.size());
        while (VOXMessage::MinLength + widthOf(count) > frameLength)
            --count;
        return count;
    }
};

/// The layout of @p Command; null if it has none. Found by value and type: the two sets share ids.
template <auto Command>
inline constexpr auto layout = nullptr;

/// VOX_LAYOUT(KVR::CTRL_STOP) = fields(...);
#define VOX_LAYOUT(Command) \
    template <> \
    inline constexpr auto layout<Command>

template <auto Command>
inline constexpr bool hasLayout = !std::is_null_pointer_v<std::remove_cv_t<decltype(layout<Command>)>>;

///@{
/// The parts that layouts are made of.
template <typename... Fields>
constexpr Layout<Fields...> fields(Fields... each)
{
    return {{each.info...}};
}

/// The data of a command that has none.
inline constexpr Layout<> nothing = {};

template <typename Type>
struct Unwrapped
{
    using type = Type;
    static constexpr bool isOptional = false;
};
template <typename Type>
struct Unwrapped<std::optional<Type>>
{
    using type = Type;
    static constexpr bool isOptional = true;
};

/// The type of the member that @p Member points to.
template <typename Class, typename Type>
Unwrapped<Type> unwrap(Type Class::*Member);

template <typename Type>
constexpr VOXField describe(const char *name, const char *unit, bool isOptional)
{
    static_assert(
        std::is_enum_v<
            Type> || std::is_same_v<Type, bool> || std::is_same_v<Type, quint8> || std::is_same_v<Type, quint16> || std::is_same_v<Type, quint32>,
        "no type that travels");
    constexpr int AddrWidth = 3;
    constexpr int BitsPerByte = 8;
    if constexpr (std::is_enum_v<Type>)
        return {name, VOXField::Number, 1, "", -1, qt_getEnumMetaObject(Type()), qt_getEnumName(Type())};
    else if constexpr (std::is_same_v<Type, bool>)
        return {name, VOXField::Flag, 1};
    else {
        const int width = std::is_same_v<Type, quint32> ? AddrWidth : static_cast<int>(sizeof(Type));
        return {name, VOXField::Number, width, unit, isOptional ? (1 << BitsPerByte * width) - 1 : -1};
    }
}

/// A number, an enumeration or a flag.
template <typename Type>
constexpr Field<Type> field(const char *name, const char *unit = "")
{
    return {describe<Type>(name, unit, false)};
}

/// The same, with the type of @p Member, in which a KVRAnswer keeps it. An optional number is empty if all
/// its bytes are ff.
template <auto Member>
constexpr auto field(const char *name, const char *unit = "")
{
    using Type = decltype(unwrap(Member));
    return Field<typename Type::type, Member>{describe<typename Type::type>(name, unit, Type::isOptional)};
}

/// A letter, in a quint8.
template <auto Member = nullptr>
constexpr Field<quint8, Member> letter(const char *name)
{
    return {{name, VOXField::Letter, 1}};
}

template <auto Member = nullptr>
constexpr Field<VOX::Addr, Member> address(const char *name)
{
    return {{name, VOXField::Address, 3}};
}

template <auto Member = nullptr>
constexpr Field<QByteArray, Member> text(const char *name, int width)
{
    return {{name, VOXField::Text, width}};
}

template <auto Member = nullptr>
constexpr Field<QByteArray, Member> bytes(const char *name, int width)
{
    return {{name, VOXField::Bytes, width}};
}
///@}

/// The length of a frame that holds the fields of @p Command and no more.
template <auto Command>
inline constexpr int frameLength = VOXMessage::MinLength + layout<Command>.width();

/// The control byte of the frame that @p Command is sent in.
template <auto Command>
inline constexpr unsigned char sentLength = layout<Command>.length != 0
    ? layout<Command>.length
    : VOXCmdTable::findRow<Command>().size;

/// Does not compile if the layout of @p Command does not fit its descriptor and has no sentAs().
template <auto Command>
constexpr bool checkLayout()
{
    static_assert(hasLayout<Command>, "a command without a layout");
    constexpr int frame = VOXCmdTable::findRow<Command>().size & VOXMessage::LengthMask;
    constexpr bool fits = frame == frameLength<Command>;
    static_assert(fits || layout<Command>.length != 0,
                  "the layout does not fill the descriptor's frame: sentAs() says what is sent");
    static_assert(!fits || layout<Command>.length == 0,
                  "the layout fills the descriptor's frame: sentAs() has nothing to say");
    return true;
}

template <typename Commands, std::size_t... Rows>
constexpr bool checkLayouts(std::index_sequence<Rows...> rows)
{
    Q_UNUSED(rows)
    const auto check = [](auto command) {
        constexpr auto Command = static_cast<Commands>(decltype(command)::value);
        if constexpr (hasLayout<Command>)
            return checkLayout<Command>();
        else
            return true;
    };
    return (check(std::integral_constant<int, VOXCmdTable::rowsOf<Commands>[Rows].cmd>()) && ...);
}

/// The same for all commands of a set that have a layout.
template <typename Commands>
constexpr bool checkLayouts()
{
    return checkLayouts<Commands>(std::make_index_sequence<std::size(VOXCmdTable::rowsOf<Commands>)>());
}

///@{
/// Whether put() takes a value of type @p Value for @p FieldType, and whether take() takes such an output.
template <typename FieldType, typename Value>
inline constexpr bool isValue = std::is_same_v<Value, FieldType>;
/// An enumeration or a flag may be taken as the byte that travels, too, by code that checks it first.
template <typename FieldType, typename Output>
inline constexpr bool isOutput =
    std::is_same_v<
        Output,
        FieldType> || std::is_null_pointer_v<Output> || (std::is_same_v<Output, quint8> && (std::is_enum_v<FieldType> || std::is_same_v<FieldType, bool>));

/// For a command without a layout.
template <typename NoLayout>
struct Check
{
    template <typename... Values>
    static constexpr bool hasCount = true;
    template <typename... Values>
    static constexpr bool isPut()
    {
        return true;
    }
    template <typename... Outputs>
    static constexpr bool isTaken()
    {
        return true;
    }
};
template <typename... Fields>
struct Check<Layout<Fields...>>
{
    template <typename... Values>
    static constexpr bool hasCount = sizeof...(Values) == sizeof...(Fields);

    template <typename... Values>
    static constexpr bool isPut()
    {
        if constexpr (hasCount<Values...>)
            return (isValue<typename Fields::Type, Values> && ...);
        else
            return false;
    }
    template <typename... Outputs>
    static constexpr bool isTaken()
    {
        if constexpr (hasCount<Outputs...>)
            return (isOutput<typename Fields::Type, Outputs> && ...);
        else
            return false;
    }
};
template <auto Command>
using CheckOf = Check<std::remove_cv_t<decltype(layout<Command>)>>;

/// The type of an output without its reference or pointer.
template <typename Output>
using Bare = std::remove_pointer_t<std::remove_cv_t<std::remove_reference_t<Output>>>;
///@}

///@{
/// Writes or reads one field. If the data has no room for it, the data or the target stays as it was.
template <typename Value>
void writeField(VOXDataWriter &writer, const VOXField &field, const Value &value)
{
    if constexpr (std::is_same_v<Value, QByteArray>)
        writer.write(value.leftJustified(field.width, '\0', true).constData(),
                     static_cast<unsigned int>(field.width));
    else if constexpr (std::is_enum_v<Value>)
        writer << static_cast<quint8>(value);
    else
        writer << value;
}

template <typename Value>
void readField(VOXDataReader &reader, const VOXField &field, Value &value)
{
    if constexpr (std::is_same_v<Value, QByteArray>) {
        QByteArray whole(field.width, '\0');
        reader.read(whole.data(), static_cast<unsigned int>(field.width));
        if (!reader.fail())
            value = whole;
    } else if constexpr (std::is_enum_v<Value>) {
        quint8 number = 0;
        reader >> number;
        if (!reader.fail())
            value = static_cast<Value>(number);
    } else {
        reader >> value;
    }
}

inline void skipField(VOXDataReader &reader, const VOXField &field)
{
    for (int i = 0; i < field.width; ++i)
        reader >> static_cast<quint8 *>(nullptr);
}

template <typename Output>
void takeField(VOXDataReader &reader, const VOXField &field, Output &output)
{
    if constexpr (std::is_null_pointer_v<std::remove_cv_t<Output>>) {
        skipField(reader, field);
    } else if constexpr (std::is_pointer_v<Output>) {
        if (output)
            readField(reader, field, *output);
        else
            skipField(reader, field);
    } else {
        readField(reader, field, output);
    }
}
///@}

/// Writes the data of @p Command: a value per field, of exactly its type. Bytes are cut to their width or
/// filled with zero bytes.
template <auto Command, typename... Values>
void put(VOXDataWriter &writer, const Values &...values)
{
    using Is = CheckOf<Command>;
    static_assert(hasLayout<Command>, "the command has no layout in the schema of its set");
    static_assert(Is::template hasCount<Values...>, "the command has another number of fields");
    static_assert(!Is::template hasCount<Values...> || Is::template isPut<Values...>(),
                  "a value is not of its field's type: the command's layout tells which it is");
    if constexpr (hasLayout<Command> && Is::template isPut<Values...>()) {
        [[maybe_unused]] const VOXField *field = layout<Command>.fields.data();
        (writeField(writer, *field++, values), ...);
    }
}

/// The same, into the data area of @p message, which has to be prepared afterwards.
template <auto Command, typename... Values>
void put(VOXMessage &message, const Values &...values)
{
    VOXDataWriter writer(message);
    put<Command>(writer, values...);
}

/// Reads the data of @p Command: an output per field, a variable or a pointer to one. A null pointer skips
/// its field. Outputs change as far as the data goes. False if it was too short for one that was read; the
/// command of the frame is not looked at.
template <auto Command, typename... Outputs>
bool take(VOXDataReader &reader, Outputs &&...outputs)
{
    using Is = CheckOf<Command>;
    static_assert(hasLayout<Command>, "the command has no layout in the schema of its set");
    static_assert(Is::template hasCount<Outputs...>, "the command has another number of fields");
    static_assert(!Is::template hasCount<Outputs...> || Is::template isTaken<Bare<Outputs>...>(),
                  "an output is not of its field's type: the command's layout tells which it is");
    if constexpr (hasLayout<Command> && Is::template isTaken<Bare<Outputs>...>()) {
        [[maybe_unused]] const VOXField *field = layout<Command>.fields.data();
        (takeField(reader, *field++, outputs), ...);
    }
    return !reader.fail();
}

/// The same, from the data area of @p message.
template <auto Command, typename... Outputs>
bool take(const BusMessage &message, Outputs &&...outputs)
{
    VOXDataReader reader{VOXMessage(message)};
    return take<Command>(reader, outputs...);
}

}

#endif

#ifndef VOX_MESSAGES_VOXANSWEROF_P_H
#define VOX_MESSAGES_VOXANSWEROF_P_H

#include <vox/messages/voxschema_p.h>

/// How a reply becomes the value that its layout names.
namespace VOXSchema {

template <typename Value>
void keep(Value &kept, const Value &value, const VOXField &field)
{
    kept = value;
    if constexpr (std::is_same_v<Value, QByteArray>) {
        if (field.kind == VOXField::Text)
            kept.truncate(static_cast<int>(qstrnlen(kept.constData(), static_cast<uint>(kept.size()))));
    }
}

template <typename Value>
void keep(std::optional<Value> &kept, const Value &value, const VOXField &field)
{
    if (value != field.none)
        kept = value;
}

template <typename Field, typename Answer>
void takeInto(VOXDataReader &reader, const VOXField &field, Answer &answer)
{
    static_assert(!std::is_null_pointer_v<std::remove_cv_t<decltype(Field::Member)>>,
                  "a field of a reply without a member in its answer");
    typename Field::Type value{};
    readField(reader, field, value);
    keep(answer.*Field::Member, value, field);
}

template <typename... Fields, typename Answer>
void takeAll(VOXDataReader &reader, const Layout<Fields...> &layout, Answer &answer)
{
    const VOXField *field = layout.fields.data();
    (takeInto<Fields>(reader, *field++, answer), ...);
}

/// Empty if @p message is not the whole reply that @p Answer stands for.
template <typename Answer>
std::optional<Answer> answerOf(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (!frame.isValid() || frame.cmd() != Answer::Command)
        return std::nullopt;
    Answer answer;
    VOXDataReader reader(frame);
    takeAll(reader, layout<Answer::Command>, answer);
    return reader.fail() ? std::nullopt : std::optional<Answer>(answer);
}

}

#endif

#include "messages/kvranswer.h"

#include "messages/kvrschema_p.h"

using namespace VOXSchema;

namespace {
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
void take(VOXDataReader &reader, const VOXField &field, Answer &answer)
{
    static_assert(!std::is_null_pointer_v<std::remove_cv_t<decltype(Field::Member)>>,
                  "a field of a reply without a member in its KVRAnswer");
    typename Field::Type value{};
    readField(reader, field, value);
    keep(answer.*Field::Member, value, field);
}

template <typename... Fields, typename Answer>
void takeAll(VOXDataReader &reader, const Layout<Fields...> &layout, Answer &answer)
{
    const VOXField *field = layout.fields.data();
    (take<Fields>(reader, *field++, answer), ...);
}
}

template <typename Answer>
std::optional<Answer> KVRAnswer::from(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (!frame.isValid() || frame.cmd() != Answer::Command)
        return std::nullopt;
    Answer answer;
    VOXDataReader reader(frame);
    takeAll(reader, layout<Answer::Command>, answer);
    return reader.fail() ? std::nullopt : std::optional<Answer>(answer);
}

#define VOX_ANSWER(Answer) \
    template VOX_EXPORT std::optional<KVRAnswer::Answer> KVRAnswer::from<KVRAnswer::Answer>( \
        const BusMessage &);

VOX_ANSWER(GroupAddr)
VOX_ANSWER(NodeLabel)
VOX_ANSWER(NetworkConfig)
VOX_ANSWER(NodeSerialNumber)
VOX_ANSWER(NetworkErrorStat)
VOX_ANSWER(NetworkStat)
VOX_ANSWER(NodeStackVersion)
VOX_ANSWER(NodeAppVersion)
VOX_ANSWER(DataTest2)
VOX_ANSWER(DataTest3)
VOX_ANSWER(MotorPosition)
VOX_ANSWER(MotorStatus)
VOX_ANSWER(AppMode)
VOX_ANSWER(MotorLimits)
VOX_ANSWER(MotorDirection)
VOX_ANSWER(MotorRollingSpeed)
VOX_ANSWER(MotorTiltingSpeed)
VOX_ANSWER(MotorIP)
VOX_ANSWER(NetworkLock)
VOX_ANSWER(DCTLock)
VOX_ANSWER(TiltLimits)
VOX_ANSWER(MotorSoftStartStop)
VOX_ANSWER(TorqueLimitation)
VOX_ANSWER(FactoryDefault)
VOX_ANSWER(TotalMoveCount)
VOX_ANSWER(TotalRevCount)
VOX_ANSWER(ThermalCount)
VOX_ANSWER(ObstacleCount)
VOX_ANSWER(PowerCount)
VOX_ANSWER(ResetCount)
VOX_ANSWER(EncoderErrors)

#include "messages/kvrmotor.h"

QMetaEnum KVRMotor::AppModeMetaEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<AppMode>();
    return found;
}

QMetaEnum KVRMotor::MotorStateEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<State>();
    return found;
}

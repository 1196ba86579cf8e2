#include "messages/kvrmotor.h"

QMetaEnum KVRMotor::AppModeMetaEnum()
{
    static const int index = staticMetaObject.indexOfEnumerator("AppMode");
    return staticMetaObject.enumerator(index);
}

QMetaEnum KVRMotor::MotorStateEnum()
{
    static const int index = staticMetaObject.indexOfEnumerator("State");
    return staticMetaObject.enumerator(index);
}

#include "transport/voxbuswatch.h"

VOXBusWatch::VOXBusWatch(QObject *parent)
    : QObject(parent)
{
}

int VOXBusWatch::receivers() const
{
    return QObject::receivers(SIGNAL(dispatch(VOXMessage)));
}

#ifndef TB60LVSTUB_H
#define TB60LVSTUB_H

#include "devices/productstub.h"

/// An emulated TB60LV: a low-voltage tubular motor for roller blinds.
class VOX_EXPORT TB60LVStub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    TB60LVStub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

private:
    static const DataSheet &dataSheet();
};

#endif

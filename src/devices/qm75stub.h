#ifndef QM75STUB_H
#define QM75STUB_H

#include "devices/productstub.h"

/// An emulated QM75: a motor of one speed for roller blinds.
class VOX_EXPORT QM75Stub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    QM75Stub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

private:
    static const DataSheet &dataSheet();
};

#endif

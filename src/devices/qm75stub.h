#ifndef VOX_DEVICES_QM75STUB_H
#define VOX_DEVICES_QM75STUB_H

#include <vox/devices/productstub.h>

/// An emulated QM75: a motor of one speed for roller blinds.
///
/// Runs at 40 revolutions per minute. Has no locks of local inputs, and takes the network lock by
/// SET_NETWORK_LOCK alone.
/// @ingroup devices
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

#ifndef VOX_DEVICES_TB20STUB_H
#define VOX_DEVICES_TB20STUB_H

#include <vox/devices/hrmv2compat.h>
#include <vox/devices/productstub.h>

/// An emulated TB20: a motor for roller blinds that also answers hosts of the older command set.
///
/// Its two rolling speeds are the same: SET_MOTOR_ROLLING_SPEED ignores its second byte. Takes the network
/// lock by the older command set alone, and has no app modes.
/// @ingroup devices
class VOX_EXPORT TB20Stub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    TB20Stub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

protected:
    bool answerOwn(const VOXMessage &request, VOXReply *answer) override;
    bool hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const override;

private:
    static const DataSheet &dataSheet();
    VOXReply handleRollingSpeed(const VOXMessage &request, quint8 rolling, quint8 ignored, quint8 slow);

    HRMv2Compat m_compat;
};

#endif

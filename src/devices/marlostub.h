#ifndef VOX_DEVICES_MARLOSTUB_H
#define VOX_DEVICES_MARLOSTUB_H

#include <vox/devices/productstub.h>

/// An emulated MARLO: a curtain motor of four speeds.
///
/// All three rolling speeds are the same: SET_MOTOR_ROLLING_SPEED takes its first byte for them. Refuses a
/// CTRL_MOVE of less than 720 ms, even 0, and jogs below 30 (NACK_BADMSG), and shifts of a limit
/// (NACK_FEATURE_NOT_SUPPORTED). Unlike other motors, shows in the status that the lock has refused a
/// CTRL_MOVE.
/// @ingroup devices
class VOX_EXPORT MarloStub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    MarloStub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

    /// Whether the motor has this speed, in revolutions per minute: 87, 105, 122 and 140.
    static bool isSpeedAllowed(unsigned char speed);

protected:
    bool answerOwn(const VOXMessage &request, VOXReply *answer) override;
    bool hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const override;

private:
    static const DataSheet &dataSheet();
    VOXReply handleMove(const VOXMessage &request, quint8 function, quint8 duration);
    VOXReply handleMoveOf(const VOXMessage &request, quint8 function, quint16 value);
    VOXReply handleLimits(const VOXMessage &request, quint8 function);
    VOXReply handleRollingSpeed(const VOXMessage &request, quint8 speed);
};

#endif

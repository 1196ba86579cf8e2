#ifndef MARLOSTUB_H
#define MARLOSTUB_H

#include "devices/productstub.h"

/// An emulated MARLO: a curtain motor of four speeds.
class VOX_EXPORT MarloStub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    MarloStub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

    /// Whether the motor has this speed, in revolutions per minute.
    static bool isSpeedAllowed(unsigned char speed);

protected:
    bool answerOwn(const VOXMessage &request, VOXReply *answer) override;
    bool hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const override;

private:
    static const DataSheet &dataSheet();
    VOXReply setRollingSpeedReply(const VOXMessage &request);
};

#endif

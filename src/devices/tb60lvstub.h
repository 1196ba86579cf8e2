#ifndef TB60LVSTUB_H
#define TB60LVSTUB_H

#include "devices/productstub.h"

/// An emulated TB60LV: a low-voltage tubular motor for roller blinds, with soft start and stop and a torque
/// limitation.
class VOX_EXPORT TB60LVStub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    TB60LVStub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

    bool softStartStatus() const { return m_softStart.isOn; }
    unsigned char softStartValue() const { return m_softStart.value; }
    bool softStopStatus() const { return m_softStop.isOn; }
    unsigned char softStopValue() const { return m_softStop.value; }

protected:
    bool answerOwn(const VOXMessage &request, VOXReply *answer) override;
    QVector<FactorySetting> factorySettings() override;

private:
    struct Ramp
    {
        bool isOn = false;
        unsigned char value = 150;

        bool operator==(const Ramp &other) const { return isOn == other.isOn && value == other.value; }
    };
    struct Torque
    {
        unsigned char mode = 1;
        unsigned char value = 0;
        /// Stored, never reported.
        unsigned char parameter = 0;

        bool operator==(const Torque &other) const
        {
            return mode == other.mode && value == other.value && parameter == other.parameter;
        }
    };

    static const DataSheet &dataSheet();
    VOXReply setSoftStartStopReply(const VOXMessage &request);
    VOXReply setTorqueLimitationReply(const VOXMessage &request);

    Ramp m_softStart;
    Ramp m_softStop;
    Torque m_torque;
};

#endif

#ifndef VOX_DEVICES_TB60LVSTUB_H
#define VOX_DEVICES_TB60LVSTUB_H

#include <vox/devices/productstub.h>

/// An emulated TB60LV: a low-voltage tubular motor for roller blinds, with soft start and stop and a torque
/// limitation.
///
/// The ramps of SET_MOTOR_SOFT_START_STOP and the limitation of SET_TORQUE_LIMITATION are stored and
/// reported, but do not change how the emulation moves.
/// @ingroup devices
class VOX_EXPORT TB60LVStub : public ProductStub
{
    Q_OBJECT

public:
    /// 24 bits of @p addr count.
    TB60LVStub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

    ///@{
    /// Whether a ramp is on, and its value, 0 to 255; off and 150 at first.
    void setSoftStart(bool isOn, unsigned char value) { m_softStart = {isOn, value}; }
    void setSoftStop(bool isOn, unsigned char value) { m_softStop = {isOn, value}; }
    bool softStartStatus() const { return m_softStart.isOn; }
    unsigned char softStartValue() const { return m_softStart.value; }
    bool softStopStatus() const { return m_softStop.isOn; }
    unsigned char softStopValue() const { return m_softStop.value; }
    ///@}

    /// 1 if the torque is limited, else 0.
    unsigned char torqueMode() const { return m_torque.mode; }
    /// 0 or 1.
    unsigned char torqueValue() const { return m_torque.value; }
    /// Hosts set this parameter; no reply reports it.
    unsigned char torqueParameter() const { return m_torque.parameter; }
    /// False, with nothing changed, if @p mode or @p value is neither 0 nor 1.
    bool setTorque(unsigned char mode, unsigned char value, unsigned char parameter);

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
        unsigned char parameter = 0;

        bool operator==(const Torque &other) const
        {
            return mode == other.mode && value == other.value && parameter == other.parameter;
        }
    };

    static const DataSheet &dataSheet();
    VOXReply softStartStopReply(const VOXMessage &request) const;
    VOXReply torqueLimitationReply(const VOXMessage &request) const;
    VOXReply handleSoftStartStop(const VOXMessage &request, quint8 target, quint8 kind, quint8 value);
    VOXReply handleTorqueLimitation(const VOXMessage &request, quint8 function, quint8 value);

    Ramp m_softStart;
    Ramp m_softStop;
    Torque m_torque;
};

#endif

#ifndef PRODUCTSTUB_H
#define PRODUCTSTUB_H

#include "devices/kvrmotordevice.h"

/// An emulated motor of one product: what its data sheet says, and the commands that it lacks.
class VOX_EXPORT ProductStub : public KVRMotorDevice
{
    Q_OBJECT

public:
    unsigned short pulsesPerRound() const override;
    /// The first slot within 3 pulses; unset slots take part like any value.
    unsigned char findMotorIP(unsigned short position) const override;

public Q_SLOTS:
    void dispatch(const VOXMessage &msg) override;

protected:
    struct DataSheet
    {
        VOX::NodeType type;
        unsigned short pulsesPerRound;
        Ranges ranges;
        /// Answered with NACK_FEATURE_NOT_SUPPORTED.
        QVector<int> missingCommands;
    };

    /// @p sheet must outlive the motor. Its node type replaces the one in @p addr.
    ProductStub(const DataSheet &sheet, unsigned int addr, VOXBus *bus, QObject *parent);

    /// Puts the answer to a command that this product handles in its own way into @p answer; false if it does
    /// not.
    virtual bool answerOwn(const VOXMessage &request, VOXReply *answer);

private:
    const DataSheet &m_sheet;
};

#endif

#ifndef VOX_DEVICES_PRODUCTSTUB_H
#define VOX_DEVICES_PRODUCTSTUB_H

#include <vox/devices/kvrmotordevice.h>

/// An emulated motor of one product: what its data sheet says, and the commands that it lacks.
///
/// A product of one's own derives from it, too. Thread and ownership are those of KVRMotorDevice. At first,
/// the settings are at the defaults of the data sheet, and the limits unset.
/// @ingroup devices
class VOX_EXPORT ProductStub : public KVRMotorDevice
{
    Q_OBJECT

public:
    unsigned short pulsesPerRound() const override;
    /// The index of the first slot within 3 pulses; unset slots take part like any value.
    unsigned char findMotorIP(unsigned short position) const override;

protected:
    /// The data that all motors of one product share.
    struct DataSheet
    {
        /// The node type in the address of each motor. A product that has none of the types uses
        /// VOX::NODETYPE_ANY: frames for all types reach it, frames for one type do not. With the type of
        /// another product, hosts would take it for that.
        VOX::NodeType type = VOX::NODETYPE_ANY;
        /// Encoder pulses of one turn.
        unsigned short pulsesPerRound = 0;
        /// The settings, with their defaults.
        Ranges ranges;
        /// The commands that are refused with NACK_FEATURE_NOT_SUPPORTED, by the rule of answerOwn(), which
        /// never gets them.
        QVector<int> missingCommands;
    };

    /// @p sheet must outlive the motor. Its node type replaces the one in @p addr.
    ProductStub(const DataSheet &sheet, unsigned int addr, VOXBus *bus, QObject *parent);

    /// Puts the answer to a command that this product handles in its own way into @p answer; false if it does
    /// not. The answer is sent by the rule of KVRMotorDevice, not by that of KVRDevice: ACK and NACK only if
    /// @p request asks for an acknowledgement, data always. So a KVRAck or KVRNack may be given without a
    /// look at that. An invalid answer is not sent. @p request has passed checkRequest(). The signals of the
    /// base classes are held back until it has returned, and come before the answer is sent. A product emits
    /// its own signals by tell().
    virtual bool answerOwn(const VOXMessage &request, VOXReply *answer);
    VOXMessage answerTo(const VOXMessage &request) override;

private:
    const DataSheet &m_sheet;
};

#endif

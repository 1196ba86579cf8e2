#ifndef VOX_DEVICES_HRMV2STUB_H
#define VOX_DEVICES_HRMV2STUB_H

#include <vox/devices/kvrdevice.h>

#include <QBasicTimer>
#include <QFlags>

/// An emulated motor of the older generation: answers a part of the older command set with canned values,
/// refuses the rest, and never moves.
///
/// Acknowledges and refuses only if asked to; group addresses are handled, and refused, as by KVRDevice,
/// whose other commands it does not know. Used on the thread that it lives on.
/// @ingroup devices
class VOX_EXPORT HRMv2Stub : public KVRDevice
{
    Q_OBJECT
    Q_PROPERTY(StubOptions stubOptions READ stubOptions WRITE setStubOptions NOTIFY stubOptionsChanged)

public:
    /// How the stub answers.
    enum StubOption {
        /// An answer waits replyDelay(), and whatever comes meanwhile is refused as busy.
        DELAY_REPLY = 1
    };
    Q_DECLARE_FLAGS(StubOptions, StubOption)
    Q_FLAG(StubOptions)

    /// With 16 group slots, 16 intermediate positions at pulse 0, and delayed answers. A null @p bus leaves
    /// it unattached.
    HRMv2Stub(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);

    ///@{
    /// DELAY_REPLY at first. A change does not hurry an answer that waits already.
    StubOptions stubOptions() const { return m_options; }
    void setStubOptions(StubOptions options);
    ///@}
    /// Milliseconds: 50 for a valid request, else 0.
    int replyDelay(const VOXMessage &request) const;

    /// Always 16.
    int motorIPCount() const { return m_intermediatePositions.size(); }
    /// In pulses. Counts from 1; 65535 if there is no such slot.
    unsigned short motorIP(unsigned char index) const;
    /// False if there is no such slot.
    bool setMotorIP(unsigned char index, unsigned short position);
    ///@{
    /// Any byte that a host has stored, 0 at first. Locks nothing.
    unsigned char lockStatus() const { return m_lockStatus; }
    void setLockStatus(unsigned char status) { m_lockStatus = status; }
    ///@}
    /// Never finds one: always 255.
    unsigned char findMotorIP(unsigned short position) const;

    /// An answer that waits is not sent any more, unless @p addr is the one that the stub has.
    void setAddr(unsigned int addr) override;

public Q_SLOTS:
    /// An answer that waits is not sent any more once the stub is detached, or attached elsewhere.
    void detach() override;
    void dispatch(const VOXMessage &msg) override;

Q_SIGNALS:
    /// Emitted when setStubOptions() has changed them.
    void stubOptionsChanged(HRMv2Stub::StubOptions options);

protected:
    VOXMessage answerTo(const VOXMessage &request) override;
    /// Sends the answer that waits. Does not serve the timers of KVRDevice, on purpose.
    void timerEvent(QTimerEvent *event) override;

private:
    using Handler = VOXReply (*)(HRMv2Stub &stub, const VOXMessage &request);
    static Handler findHandler(unsigned char cmd);
    VOXReply motorSettingsReply(const VOXMessage &request) const;
    VOXReply motorIPReply(const VOXMessage &request, quint8 index) const;
    template <auto Post>
    VOXReply zeroReply(const VOXMessage &request) const;
    VOXReply motorInfoReply(const VOXMessage &request) const;
    VOXReply lockStatusReply(const VOXMessage &request) const;
    VOXReply handleMotorIP(const VOXMessage &request);
    VOXReply handleLockStatus(const VOXMessage &request);
    void send(const VOXMessage &answer, int delay);
    void forgetReply();

    QVector<unsigned short> m_intermediatePositions;
    QBasicTimer m_replyTimer;
    VOXMessage m_pendingReply;
    StubOptions m_options = DELAY_REPLY;
    unsigned short m_downLimit = 4096;
    unsigned char m_lockStatus = 0;
    unsigned char m_direction = 0;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(HRMv2Stub::StubOptions)

#endif

#ifndef VOX_FRAMEWORK_SERIALDISPATCHER_H
#define VOX_FRAMEWORK_SERIALDISPATCHER_H

#include <vox/framework/simplebusdispatcher.h>

/// Paces the frames of a shared serial line by its rate.
///
/// A frame of n bytes occupies the line for n times the bits per byte at the line rate, rounded up to a
/// millisecond. After a frame of ours the line is free again when that time and the frame's bus-free delay
/// are over; after the reply to our call, when the call's bus-free delay is over; after any other frame, in
/// 5 ms at the earliest. Lives on its bus's thread.
/// @ingroup framework
class VOX_BUS_EXPORT SerialDispatcher : public SimpleBusDispatcher
{
    Q_OBJECT

public:
    /// @p rate in bit/s, 0 for a line that needs no pacing; @p bitsPerByte counts start, parity and stop
    /// bits.
    SerialDispatcher(Bus &bus, unsigned int rate, unsigned char bitsPerByte, QObject *parent);

    bool scheduleNext() override;
    int lineFreeIn() const override { return static_cast<int>(m_lineFree.remainingTime()); }
    /// Paces all that is sent from now on by @p rate, in bit/s; 0 for no pacing. The port is not touched.
    void setBaudRate(unsigned short rate);
    /// In bit/s; 0 for no pacing.
    unsigned int rate() const { return m_rate; }

protected:
    unsigned int sentDelay(int length) const override;
    void frameSent(int length, unsigned int busFreeDelay) override;
    void frameHeard(const BusMessageData *call) override;

private:
    unsigned int lineTime(int length) const;

    unsigned int m_rate;
    unsigned char m_bitsPerByte;
    QDeadlineTimer m_lineFree{0};
};

#endif

#ifndef RECORDINGBUS_H
#define RECORDINGBUS_H

#include "framework/bus.h"
#include "framework/simplebusdispatcher.h"
#include "messages/voxcall.h"
#include "support/frames.h"

#include <functional>

/// A bus without a line: keeps what is written, and brings what the test hands it. Open from the start.
class RecordingBus : public Bus
{
public:
    /// With a SimpleBusDispatcher.
    RecordingBus();
    /// With a SerialDispatcher at @p rate and 11 bits per byte.
    explicit RecordingBus(unsigned int rate);
    ~RecordingBus() override;

    /// Keeps @p frame, unless onWrite() gives another result than 0.
    int write(const QByteArray &frame) override;
    /// Takes the first frame of input, which nobody has announced.
    bool processData() override;
    bool open() override;
    void close() override;
    bool isOpen() const override;
    bool hasInput() const override { return !input.isEmpty(); }

    QIODevice *device() const { return ioDevice(); }
    SimpleBusDispatcher &simple() const { return static_cast<SimpleBusDispatcher &>(dispatcher()); }

    QList<QByteArray> written;
    QList<QByteArray> input;
    std::function<int(const QByteArray &)> onWrite;

private:
    void init();
};

constexpr unsigned int NodeAddr = 0x123456;

/// A call to one node, answered by the command 20 higher.
inline VOXCall query(int cmd, unsigned int timeout = 5000)
{
    const auto id = static_cast<unsigned char>(cmd);
    return VOXCall(VOXCmdInfo(id, VOXMessage::MinLength, VOX::P2P, id + 0x20), HostAddr, NodeAddr, timeout);
}

/// A call to one node that is not answered.
inline VOXCall order(int cmd, unsigned int timeout = 5000)
{
    const auto id = static_cast<unsigned char>(cmd);
    return VOXCall(VOXCmdInfo(id, VOXMessage::MinLength, VOX::P2P, 0), HostAddr, NodeAddr, timeout);
}

/// The bytes of a frame to the host with this command and data.
inline QByteArray answer(const QByteArray &commandAndData)
{
    return frame(commandAndData, HostAddr).data();
}

#endif

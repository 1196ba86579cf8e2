#ifndef RECORDINGBUS_H
#define RECORDINGBUS_H

#include "framework/bus.h"
#include "framework/serialdispatcher.h"
#include "messages/voxcall.h"
#include "support/frames.h"

#include <QBuffer>

#include <functional>

/// A bus without a line: keeps what is written, and brings what the test hands it. Open from the start.
class RecordingBus : public Bus
{
public:
    /// With a SerialDispatcher at @p rate and 11 bits per byte, or with a SimpleBusDispatcher.
    explicit RecordingBus(unsigned int rate = 0)
        : Bus(rate ? *new SerialDispatcher(*this, rate, 11, nullptr)
                   : *new SimpleBusDispatcher(*this, nullptr),
              nullptr, nullptr)
    {
        setIoDevice(new QBuffer);
        setInputHook([this] { return !input.isEmpty(); });
        dispatcher().setParent(this);
        dispatcher().init();
        RecordingBus::open();
    }
    ~RecordingBus() override { shutDown(); }

    /// Keeps @p frame, unless onWrite() gives another result than 0.
    int write(const QByteArray &frame) override
    {
        // It may be the end of this bus.
        const QPointer<RecordingBus> self(this);
        const auto reaction = onWrite;
        const int result = reaction ? reaction(frame) : 0;
        if (self && result == 0)
            written.append(frame);
        return result;
    }
    /// Takes the first frame of input, which nobody has announced.
    bool processData() override
    {
        if (!hasInput())
            return false;
        dispatcher().dispatch(input.takeFirst());
        return true;
    }
    bool open() override { return ioDevice()->open(QIODevice::ReadWrite); }
    void close() override { isOpen() ? ioDevice()->close() : void(); }
    bool isOpen() const override { return ioDevice() && ioDevice()->isOpen(); }

    QIODevice *device() const { return ioDevice(); }
    SimpleBusDispatcher &simple() const { return static_cast<SimpleBusDispatcher &>(dispatcher()); }

    QList<QByteArray> written;
    QList<QByteArray> input;
    std::function<int(const QByteArray &)> onWrite;
};

/// A call to one node, answered by the command @p distance higher; with 0, by nothing.
inline VOXCall query(int cmd, int distance = 0x20)
{
    const auto id = static_cast<unsigned char>(cmd);
    const auto reply = static_cast<unsigned char>(distance ? cmd + distance : 0);
    return VOXCall(VOXCmdInfo(id, VOXMessage::MinLength, VOX::P2P, reply), HostAddr, 0x123456, 5000);
}

/// A call to one node that is not answered.
inline VOXCall order(int cmd)
{
    return query(cmd, 0);
}

/// The bytes of a frame to the host with this command and data.
inline QByteArray answer(const QByteArray &commandAndData)
{
    return frame(commandAndData, HostAddr).data();
}

#endif

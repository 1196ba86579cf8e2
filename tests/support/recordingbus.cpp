#include "support/recordingbus.h"

#include "framework/serialdispatcher.h"

#include <QBuffer>

RecordingBus::RecordingBus()
    : Bus(*new SimpleBusDispatcher(*this, nullptr), nullptr, nullptr)
{
    init();
}

RecordingBus::RecordingBus(unsigned int rate)
    : Bus(*new SerialDispatcher(*this, rate, 11, nullptr), nullptr, nullptr)
{
    init();
}

RecordingBus::~RecordingBus()
{
    shutDown();
}

int RecordingBus::write(const QByteArray &frame)
{
    // It may be the end of this bus.
    const QPointer<RecordingBus> self(this);
    const auto reaction = onWrite;
    const int result = reaction ? reaction(frame) : 0;
    if (self && result == 0)
        written.append(frame);
    return result;
}

bool RecordingBus::processData()
{
    if (input.isEmpty())
        return false;
    dispatcher().dispatch(input.takeFirst());
    return true;
}

bool RecordingBus::open()
{
    return ioDevice()->open(QIODevice::ReadWrite);
}

void RecordingBus::close()
{
    ioDevice()->close();
}

bool RecordingBus::isOpen() const
{
    return ioDevice() && ioDevice()->isOpen();
}

void RecordingBus::init()
{
    setIoDevice(new QBuffer);
    dispatcher().setParent(this);
    dispatcher().init();
    open();
}

#include "vox/host/linedamage.h"

#include "framework/busdispatcher.h"
#include "messages/voxmessage.h"
#include "transport/voxbus.h"

#include <QEventLoop>
#include <QTimer>

namespace {
// A receiver drops a byte after 110 ms at most.
constexpr int QuietMs = 150;
constexpr int LongestMs = 1000;
}

LineDamage::LineDamage(const VOXBus &bus)
    : m_bus(bus)
{
    connect(&bus, &VOXBus::discarded, this,
            [this](const QByteArray &bytes) { m_run += static_cast<int>(bytes.size()); });
    connect(&bus.dispatcher(), &BusDispatcher::heard, this, [this] {
        if (m_isQuestion)
            return;
        m_answers += answersInRun();
        m_run = 0;
    });
}

void LineDamage::beginQuestion()
{
    m_answers += answersInRun();
    m_run = 0;
    m_isQuestion = true;
}

void LineDamage::endQuestion(bool isAnswered)
{
    if (m_run > 0 && !isAnswered) {
        ++m_answers;
        waitUntilQuiet();
    }
    m_run = 0;
    m_isQuestion = false;
}

void LineDamage::waitUntilQuiet()
{
    QEventLoop loop;
    QTimer quiet;
    quiet.setSingleShot(true);
    connect(&quiet, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(&m_bus, &VOXBus::discarded, &quiet, [&quiet] { quiet.start(QuietMs); });
    QTimer::singleShot(LongestMs, &loop, &QEventLoop::quit);
    quiet.start(QuietMs);
    loop.exec();
}

int LineDamage::answers() const
{
    return m_answers + answersInRun();
}

// The answer to a broadcast is as short as a frame can be. A few bytes are noise, or the end of one that was
// counted.
int LineDamage::answersInRun() const
{
    constexpr int Length = VOXMessage::MinLength;
    return (m_run + Length / 2) / Length;
}

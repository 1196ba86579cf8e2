#include "vox/sim/simlog.h"

#include "framework/busdispatcher.h"
#include "simulation/voxsimulation.h"
#include "transport/voxbus.h"
#include "vox/console.h"
#include "vox/line/framescanner.h"
#include "vox/line/linetap.h"
#include "vox/outcome.h"

#include <QTimerEvent>

#include <utility>

namespace {
// Longer than a receiver waits for the rest of a frame before it drops the next byte.
constexpr int PauseMs = 250;
}

bool SimLog::open(const QString &fileName, QString *problem)
{
    m_isWriting = m_capture.open(fileName, problem);
    return m_isWriting;
}

void SimLog::watch(const VOXBus &bus, const VOXSimulation &simulation)
{
    if (m_form == Silent && !m_isWriting)
        return;
    connect(&bus.dispatcher(), &BusDispatcher::heard, this,
            [this](const BusMessage &frame) { handle(inverted(frame.data())); });
    connect(&bus, &VOXBus::discarded, this, &SimLog::handleDiscarded);
    connect(&simulation, &VOXSimulation::said, this, &SimLog::handle);
}

void SimLog::handle(const QByteArray &bytes)
{
    flush();
    take(LineItem::of(bytes, LineTap::nowNs()));
}

void SimLog::handleDiscarded(const QByteArray &bytes)
{
    if (m_discarded.isEmpty())
        m_discardedNs = LineTap::nowNs();
    m_discarded += bytes;
    m_pause.start(PauseMs, this);
}

void SimLog::flush()
{
    m_pause.stop();
    FrameScanner scanner([this](const LineItem &item) { take(item); });
    scanner.feed(std::exchange(m_discarded, {}), m_discardedNs);
    scanner.flush();
}

void SimLog::take(const LineItem &item)
{
    if (m_isWriting && !m_capture.write(item)) {
        m_isWriting = false;
        m_hasFailed = true;
        Q_EMIT failed();
    }
    if (m_form == Text)
        printLine(item.toString());
    else if (m_form == Json)
        printJson(item.toJson());
}

void SimLog::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_pause.timerId())
        flush();
    else
        QObject::timerEvent(event);
}

#include "vox/bridge/commandbox.h"

#include <QTimerEvent>

#include <algorithm>
#include <limits>
#include <utility>

namespace {
constexpr qint64 SameMs = 300;
/// Counted from the first, because a slider sends for as long as it is held.
constexpr qint64 PauseMs = 40;
/// Of stops for many, with no move in between. One that comes too early waits.
constexpr qint64 StopPauseMs = 250;
/// A wink takes seconds.
constexpr qint64 WinkPauseMs = 1000;
/// Winks are no moves: neither takes the place of the other.
constexpr quint64 WinkBit = quint64{1} << 63;

quint64 keyOf(const CoverOrder &order)
{
    return order.target.key() | (order.command.kind == CoverCommand::Wink ? WinkBit : 0);
}
}

QString CommandBox::superseded()
{
    return QStringLiteral("superseded");
}

CommandBox::CommandBox(Take take, Drop drop, QObject *parent)
    : QObject(parent)
    , m_take(std::move(take))
    , m_drop(std::move(drop))
{
    m_clock.start();
}

void CommandBox::put(const CoverOrder &order)
{
    const qint64 now = m_clock.elapsed();
    Slot &slot = m_slots[keyOf(order)];
    if (order.command.kind == CoverCommand::Stop) {
        clear(slot);
        if (order.target.kind != BridgeTarget::Node && now < slot.stopAgainMs && slot.movesAtStop == m_moves)
            wait(slot, order, slot.stopAgainMs);
        else
            hand(slot, order);
        return;
    }
    if (slot.last && slot.last->isSame(order.command) && now - slot.lastMs < SameMs) {
        m_drop(order, QStringLiteral("repeated"));
        return;
    }
    slot.last = order.command;
    slot.lastMs = now;
    if (now >= slot.nextMs) {
        hand(slot, order);
        return;
    }
    wait(slot, order, slot.nextMs);
}

void CommandBox::wait(Slot &slot, const CoverOrder &order, qint64 untilMs)
{
    const std::optional<CoverOrder> older = std::exchange(slot.waiting, order);
    slot.dueMs = untilMs;
    if (older)
        m_drop(*older, superseded());
    arm();
}

void CommandBox::hand(Slot &slot, const CoverOrder &order)
{
    const qint64 now = m_clock.elapsed();
    if (order.command.kind == CoverCommand::Stop) {
        slot.stopAgainMs = now + StopPauseMs;
        slot.movesAtStop = m_moves;
        m_take(order);
        return;
    }
    ++m_moves;
    // The stop that those would repeat has gone out before.
    for (Slot &each : m_slots) {
        if (each.waiting && each.waiting->command.kind == CoverCommand::Stop)
            clear(each);
    }
    slot.nextMs = now + (order.command.kind == CoverCommand::Wink ? WinkPauseMs : PauseMs);
    m_take(order);
}

void CommandBox::clear(Slot &slot)
{
    slot.last.reset();
    const std::optional<CoverOrder> older = std::exchange(slot.waiting, std::nullopt);
    if (older)
        m_drop(*older, superseded());
}

void CommandBox::clear(const BridgeTarget &target)
{
    const auto found = m_slots.find(target.key());
    if (found != m_slots.end())
        clear(*found);
}

void CommandBox::clearAll()
{
    for (Slot &slot : m_slots)
        clear(slot);
}

void CommandBox::overtake(const QSet<unsigned int> &nodes, const BridgeTarget &by)
{
    for (auto each = m_slots.begin(); each != m_slots.end(); ++each) {
        const bool isOfNode = each.key() < BridgeTarget{BridgeTarget::Group, 0}.key();
        if (isOfNode || (each.key() & WinkBit) != 0 || each.key() == by.key())
            continue;
        each->last.reset();
        if (each->waiting)
            each->waiting->overtaken += nodes;
    }
}

void CommandBox::arm()
{
    qint64 first = std::numeric_limits<qint64>::max();
    for (const Slot &slot : qAsConst(m_slots)) {
        if (slot.waiting)
            first = std::min(first, slot.dueMs);
    }
    if (first == std::numeric_limits<qint64>::max())
        m_timer.stop();
    else
        m_timer.start(static_cast<int>(std::max<qint64>(0, first - m_clock.elapsed())), Qt::PreciseTimer,
                      this);
}

void CommandBox::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId())
        return;
    const qint64 now = m_clock.elapsed();
    const QList<quint64> keys = m_slots.keys();
    for (const quint64 key : keys) {
        Slot &slot = m_slots[key];
        if (slot.waiting && slot.dueMs <= now)
            hand(slot, *std::exchange(slot.waiting, std::nullopt));
    }
    arm();
}

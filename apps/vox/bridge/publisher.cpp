#include "vox/bridge/publisher.h"

#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr double MessagesPerMs = 0.2;
/// What may be said at once after a silence.
constexpr double MaxCredit = 20;
constexpr int WaitMs = 25;
}

Publisher::Publisher(MessageSink &sink, QObject *parent)
    : QObject(parent)
    , m_sink(sink)
{
    m_clock.start();
}

void Publisher::setLive(bool isLive)
{
    m_isLive = isLive;
    if (isLive)
        sayAll();
}

void Publisher::sayAll()
{
    m_dirty.clear();
    for (auto each = m_topics.cbegin(); each != m_topics.cend(); ++each)
        m_dirty.emplace(each->order, each.key());
    m_next = 0;
    wake();
}

void Publisher::set(int order, const QByteArray &topic, const QByteArray &payload, int qos, Kept kept)
{
    const bool isRetained = kept == Retained;
    const auto found = m_topics.find(topic);
    if (found != m_topics.end()) {
        found->isLeaving = false;
        if (found->payload == payload)
            return;
        found->payload = payload;
        order = found->order;
    } else {
        m_topics.insert(topic, {order, payload, qos, isRetained, false});
    }
    ++m_changes;
    if (isSaid(topic))
        m_dirty.emplace(order, topic);
    wake();
}

void Publisher::remove(const QByteArray &topic)
{
    const auto found = m_topics.find(topic);
    if (found == m_topics.end())
        return;
    set(found->order, topic, QByteArray(), found->qos);
    found->isLeaving = true;
}

void Publisher::forget(int first, int last)
{
    m_dirty.erase(m_dirty.lower_bound(first), m_dirty.lower_bound(last));
    for (auto each = m_topics.begin(); each != m_topics.end();)
        each = each->order >= first && each->order < last ? m_topics.erase(each) : std::next(each);
}

QByteArray Publisher::payload(const QByteArray &topic) const
{
    return m_topics.value(topic).payload;
}

bool Publisher::isSaid(const QByteArray &topic) const
{
    const auto range = m_dirty.equal_range(m_topics.value(topic).order);
    return std::none_of(range.first, range.second, [&](const auto &each) { return each.second == topic; });
}

void Publisher::answer(const MqttMessage &message)
{
    // Who was not there when it was asked is not told later.
    if (!m_isLive || !m_sink.isReady())
        return;
    if (m_answers.size() >= MaxAnswers)
        m_answers.pop_front();
    m_answers.push_back(message);
    wake();
}

/// From the event loop, so that what changes together is said together.
void Publisher::wake()
{
    if (m_isLive && isBusy() && !m_timer.isActive())
        m_timer.start(0, this);
}

void Publisher::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_timer.timerId())
        pump();
}

void Publisher::pump()
{
    m_credit = std::min(MaxCredit, m_credit + static_cast<double>(m_clock.restart()) * MessagesPerMs);
    if (!m_sink.isReady())
        m_answers.clear();
    while (m_credit >= 1 && !m_answers.empty() && mayWrite()) {
        const MqttMessage message = m_answers.front();
        m_answers.pop_front();
        m_sink.send(message);
        --m_credit;
    }
    while (m_credit >= 1 && !m_dirty.empty() && mayWrite()) {
        if (!sayUnit())
            break;
    }
    // A link that is not there calls sayAll() when it is back.
    if (isBusy() && m_isLive && m_sink.isReady())
        m_timer.start(WaitMs, Qt::PreciseTimer, this);
    else
        m_timer.stop();
}

bool Publisher::sayUnit()
{
    auto each = m_dirty.lower_bound(m_next);
    if (each == m_dirty.end())
        each = m_dirty.begin();
    const int unit = each->first / UnitSize;
    while (each != m_dirty.end() && each->first / UnitSize == unit) {
        const auto found = m_topics.find(each->second);
        if (found != m_topics.end()) {
            if (!m_sink.send({each->second, found->payload, found->qos, found->isRetained, {}, {}}))
                return false;
            --m_credit;
            if (found->isLeaving)
                m_topics.erase(found);
        }
        each = m_dirty.erase(each);
    }
    m_next = (unit + 1) * UnitSize;
    return true;
}

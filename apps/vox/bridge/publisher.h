#ifndef PUBLISHER_H
#define PUBLISHER_H

#include "vox/bridge/mqttmessage.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>

#include <deque>
#include <map>

/// What is to be said of each topic, and which topics have to be said again.
///
/// Keeps the last bytes of each topic, and says what has changed: at most 200 messages a second, and none
/// while the link still has something to write. A topic that changes meanwhile is said once, with its last
/// value, so a broker that does not read costs no memory. Topics of one unit are said in their order without
/// an event loop in between.
class Publisher : public QObject
{
public:
    enum Kept { Retained, NotRetained };
    /// A unit's topics are numbered from its own number on.
    static constexpr int UnitSize = 8;
    /// Messages that answer somebody, and wait.
    static constexpr int MaxAnswers = 256;

    /// @p sink must outlive it.
    explicit Publisher(MessageSink &sink, QObject *parent = nullptr);

    /// Nothing is said before, and then everything is.
    void setLive(bool isLive);
    /// Says all topics again.
    void sayAll();

    /// Sets what @p topic says. Lower @p order is said first; it stays what it was for a topic that is there.
    void set(int order, const QByteArray &topic, const QByteArray &payload, int qos, Kept kept = Retained);
    /// Empties the retained topic, and forgets it.
    void remove(const QByteArray &topic);
    /// Forgets all topics from @p first up to, and without, @p last; what the broker keeps of them stays.
    void forget(int first, int last);
    QByteArray payload(const QByteArray &topic) const;
    /// Whether the broker has got the last value of @p topic, or there is none.
    bool isSaid(const QByteArray &topic) const;
    /// How often something has got another value.
    int changes() const { return m_changes; }

    /// Says @p message once. If too many wait, the oldest is dropped.
    void answer(const MqttMessage &message);
    /// Whether there is something to say.
    bool isBusy() const { return !m_dirty.empty() || !m_answers.empty(); }

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Topic
    {
        int order = 0;
        QByteArray payload;
        int qos = 0;
        bool isRetained = true;
        bool isLeaving = false;
    };

    void wake();
    void pump();
    bool sayUnit();
    bool mayWrite() const { return m_sink.isReady() && !m_sink.wantsWrite(); }

    MessageSink &m_sink;
    QHash<QByteArray, Topic> m_topics;
    /// By order; several topics have the same one only while one of them leaves.
    std::multimap<int, QByteArray> m_dirty;
    std::deque<MqttMessage> m_answers;
    QBasicTimer m_timer;
    QElapsedTimer m_clock;
    double m_credit = 0;
    /// Where to go on, so that a unit that changes all the time does not keep the others from being said.
    int m_next = 0;
    int m_changes = 0;
    bool m_isLive = false;
};

#endif

#ifndef COMMANDBOX_H
#define COMMANDBOX_H

#include "vox/bridge/bridgetopics.h"
#include "vox/bridge/covercommand.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>

#include <functional>
#include <optional>

/// A command on its way from the broker to the line.
struct CoverOrder
{
    BridgeTarget target;
    CoverCommand command;
    QByteArray resultTopic;
    /// Since it has come.
    QElapsedTimer clock;
    /// Nodes that have got something newer while it waited.
    QSet<unsigned int> overtaken;
};

/// Keeps the newest command of each target until its turn, so that a flood of them costs the line nothing.
///
/// The first command of a target is handed on at once, further ones every 40 ms, the newest each time. A stop
/// is handed on at once, and takes away what waits. A command that is equal to the target's last one within
/// 300 ms is dropped, a stop never; but one for many that repeats the one before it waits until 250 ms after
/// that, because each is several frames, which the line has to get rid of before anything else.
class CommandBox : public QObject
{
public:
    using Take = std::function<void(const CoverOrder &)>;
    using Drop = std::function<void(const CoverOrder &, const QString &reason)>;

    /// The reason for a command in whose place a newer one has come.
    static QString superseded();

    /// @p take is given the commands for the line, and @p drop those that are not sent, with the reason.
    CommandBox(Take take, Drop drop, QObject *parent = nullptr);

    void put(const CoverOrder &order);
    /// Another command has gone to this target: nothing waits for it any more, and nothing is equal to it.
    void clear(const BridgeTarget &target);
    void clearAll();
    /// A command to @p by is for these nodes: what waits for other groups of theirs, or for all, is not for
    /// them any more.
    void overtake(const QSet<unsigned int> &nodes, const BridgeTarget &by);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Slot
    {
        std::optional<CoverOrder> waiting;
        std::optional<CoverCommand> last;
        qint64 lastMs = 0;
        qint64 nextMs = 0;
        /// When what waits is handed on.
        qint64 dueMs = 0;
        qint64 stopAgainMs = 0;
        quint64 movesAtStop = 0;
    };

    void clear(Slot &slot);
    void hand(Slot &slot, const CoverOrder &order);
    void wait(Slot &slot, const CoverOrder &order, qint64 untilMs);
    void arm();

    Take m_take;
    Drop m_drop;
    QHash<quint64, Slot> m_slots;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
    /// How many commands other than stops have been handed on.
    quint64 m_moves = 0;
};

#endif

#ifndef VOX_NETWORK_VOXSCHEDULER_H
#define VOX_NETWORK_VOXSCHEDULER_H

#include <vox/framework/busmessage.h>
#include <vox/messages/voxcall.h>
#include <vox/network/network_export.h>

#include <QObject>
#include <QVector>

#include <functional>
#include <memory>
#include <optional>

class SchedulerCore;
class VOXBus;

/// Decides which call is sent next on a bus that many callers share.
///
/// A caller uses one of the lanes in place of the bus; a proxy on a lane works as on the bus itself. The
/// scheduler gives the bus one call at a time, strictly matched (VOXCall::Matching), and keeps the others:
/// the lower lane goes first, in a lane the nodes take turns, and in a node the oldest goes first. A stop
/// goes next, whichever lane it comes from, and takes back the moves that wait for its nodes. What is
/// harmless twice is sent again when nobody answers.
///
/// There is one scheduler for a bus: a second one is inactive, and its calls end with NotOpen. Used on the
/// bus's thread. Neither owns the bus nor needs it to outlive the scheduler. Idle, it runs no timer.
/// @ingroup network
class VOX_NETWORK_EXPORT VOXScheduler : public QObject
{
    Q_OBJECT

public:
    /// The urgency of a call. Lower ones go first.
    enum Lane : int {
        Stop, ///< Stops take this lane by themselves.
        User, ///< What a person has asked for and waits for.
        ReadBack, ///< What a command has changed.
        Configure,
        Automatic, ///< What a program does by a clock or a sensor. Waits while the line is loaded.
        Poll ///< Readings. Wait while the line is loaded, but get a tenth of it.
    };
    Q_ENUM(Lane)
    /// How many lanes there are.
    static constexpr int LaneCount = Poll + 1;

    /// How much may wait, and how busy the line may be kept.
    struct Limits
    {
        int maxLoadPercent = 60; ///< Above it, no polls. Not above automaticLoadPercent.
        int automaticLoadPercent = 85; ///< Above it, no Automatic calls. At most 100.
        int automaticPerNode = 8; ///< Waiting calls to one node in Poll and Automatic together.
        int perNode = 64; ///< The same in all other lanes.
        int all = 512; ///< All waiting calls. The oldest poll gives way, then the oldest automatic call.
        int pollPeriodMs = 30000; ///< A call of the lane Poll that has waited so long ends with Expired.
    };

    /// What has become of the calls of one lane: of those that were sent, how often nodes have answered,
    /// refused, or not answered, and how many were sent once more; then those that were never sent. Waits, in
    /// milliseconds until the first sending, are of the last 512 calls.
    struct LaneFigures
    {
        ///@{
        /// As above.
        quint64 sent = 0;
        quint64 answered = 0;
        quint64 refused = 0;
        quint64 unanswered = 0;
        quint64 repeated = 0;
        quint64 superseded = 0;
        quint64 expired = 0;
        int waitMedianMs = 0;
        int waitP99Ms = 0;
        ///@}
    };

    /// What has become of the calls to one node. The answer time is the median of the last 15, in
    /// milliseconds; -1 for none.
    struct NodeFigures
    {
        ///@{
        /// As above.
        quint64 answered = 0;
        quint64 unanswered = 0;
        int answerMs = -1;
        ///@}
    };

    /// Gives a call to one node, or none and in how many milliseconds to ask again (-1: not before
    /// wakePolls()).
    using PollSource = std::function<std::optional<VOXCall>(int *againInMs)>;

    /// @p bus may be closed, or null, which makes an inactive one.
    explicit VOXScheduler(VOXBus *bus, QObject *parent = nullptr);
    /// All calls that wait end with Canceled. What is on the line ends unheard.
    ~VOXScheduler() override;

    /// False for a second scheduler of a bus, and once the bus has been destroyed.
    bool isActive() const;
    /// Null once it has been destroyed.
    VOXBus *bus() const;
    /// Owned by the scheduler. Is open as long as the bus is. Carries no devices, and says so.
    VOXBus *lane(Lane lane) const;

    /// In bit/s; known of a serial bus, else 0 unless set. With 0 no load is counted.
    void setLineRate(int bitsPerSecond);
    /// As set, or as the serial bus is paced; 0 if neither.
    int lineRate() const;
    /// For calls from now on. False, with nothing changed, if there can be no such limits; @p problem names
    /// the one that is wrong, in one line.
    bool setLimits(const Limits &limits, QString *problem = nullptr);
    /// As set; else those that a Limits begins with.
    Limits limits() const;
    /// The share of the last 10 s in which the line was not free: frames of all hosts, times to answer,
    /// time-outs and pauses.
    int loadPercent() const;

    /// Calls that wait, or wait to be repeated; not the one on the line.
    int queuedCalls(Lane lane) const;
    ///@{
    /// Counted since the scheduler was made.
    LaneFigures figures(Lane lane) const;
    NodeFigures nodeFigures(VOX::Addr node) const;
    ///@}

    /// Sets what is asked for a poll whenever the line is free and nothing that may go waits. Polls are sent
    /// once; answered() and unanswered() tell what comes of them.
    void setPollSource(PollSource source);
    /// Lets the source be asked again.
    void wakePolls();
    /// Whether calls to @p node are sent again when nobody answers; true at first. Of a node that is known to
    /// be silent only stops are, so that it costs the line less.
    void setRepeating(VOX::Addr node, bool isRepeating);
    /// Whose moves a stop of @p group takes back. Addresses of 24 bits.
    void setGroupMembers(VOX::Addr group, const QVector<VOX::Addr> &members);

Q_SIGNALS:
    ///@{
    /// The end of a call to one node, from whichever lane; before the caller is told. A slot must not destroy
    /// the scheduler or its bus.
    void answered(VOX::Addr node, const BusMessage &request, const BusMessage &reply, int answerMs);
    void unanswered(VOX::Addr node, const BusMessage &request);
    ///@}
    /// loadPercent() has changed with a call. Nothing tells of a load that falls while the line is idle.
    void loadChanged(int percent);

private:
    const std::unique_ptr<SchedulerCore> m_core;
};

#endif

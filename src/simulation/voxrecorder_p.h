#ifndef VOX_SIMULATION_VOXRECORDER_P_H
#define VOX_SIMULATION_VOXRECORDER_P_H

#include <vox/framework/busobject.h>
#include <vox/framework/buspendingcall.h>
#include <vox/simulation/overheardline_p.h>
#include <vox/simulation/voxrecorder.h>

#include <QElapsedTimer>

#include <functional>
#include <memory>

/// What a recorder knows, and the questions by which it learns that: one node after the other, and one
/// question at a time.
class VOXRecorder::Private : public QObject
{
public:
    explicit Private(VOXRecorder &recorder)
        : q(recorder)
    {
    }

    void discover();
    void handleDiscovered(const BusPendingCall &discovery);
    void nextNode();
    void identify();
    void speakOlder();
    void nextQuestion();
    void finishNode();
    void finish();

    /// Asks the present node, again if need be, and gives the frame of its answer to @p next; an invalid one
    /// for silence.
    using Next = std::function<void(const VOXMessage &)>;
    void ask(const NodeQuery &query, const Next &next, int tries = 0);
    void later(const std::function<void()> &act);
    void handleCall(const BusPendingCall &call, const NodeQuery &query, const Next &next, int tries);
    void handleAnswer(const NodeQuery &query, const VOXMessage &frame);
    /// What slots hear is kept until the answer has been dealt with: a slot may destroy the recorder.
    void tellNews();

    QVector<NodeQuery> queriesOf(NodeQuery::Set set) const
    {
        return depth == Everything ? NodeQuery::all(set) : NodeQuery::essential(set);
    }
    NodeRecord record(VOX::Addr addr) const { return records.value(addr & VOX::AddrMask); }

    VOXRecorder &q;
    std::unique_ptr<BusObject> asker;
    Depth depth = Everything;
    QVector<VOX::Addr> wanted;

    QMap<VOX::Addr, NodeRecord> records;
    QVector<VOX::Addr> doubled;
    QVector<VOX::Addr> gone;
    OverheardLine line;
    bool isRunning = false;
    bool isPartial = false;

    QVector<VOX::Addr> waiting;
    VOX::Addr present = 0;
    QVector<NodeQuery> questions;
    int unanswered = 0;
    QVector<VOX::Addr> ended;
    bool isFinishedUntold = false;

    QElapsedTimer clock;
    int done = 0;
    int toldDone = 0;
    int total = 0;
};

#endif

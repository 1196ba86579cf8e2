#include "simulation/voxrecorder_p.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxcall.h"

#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {
/// A question is asked again if its answer was lost.
constexpr int Tries = 2;
/// The same if the node is busy, or if another frame was taken for its answer.
constexpr int MoreTries = 20;
/// Answers have no numbers. After a question that was asked again, its other answers are waited for, because
/// the next question might take one of them for its own.
constexpr int SettleMs = 300;
/// After so many questions without an answer a node is asked whether it is still there.
constexpr int Patience = 3;
}

void VOXRecorder::Private::discover()
{
    const VOXCall call(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST,
                       VOXCall::DefaultSharedTimeout);
    asker->call(call).onFinished(asker.get(), [this](const BusPendingCall &discovery) {
        if (isRunning)
            handleDiscovered(discovery);
        tellNews();
    });
}

void VOXRecorder::Private::handleDiscovered(const BusPendingCall &discovery)
{
    isPartial = discovery.isError();
    const QList<BusMessage> replies = discovery.replies();
    for (const BusMessage &reply : replies) {
        const VOXMessage frame(reply);
        const VOX::Addr addr = frame.srcAddr(false);
        if (frame.cmd() != KVR::POST_NODE_ADDR || !VOX::nodeAddrProblem(addr).isEmpty())
            continue;
        if (!waiting.contains(addr))
            waiting += addr;
        else if (!doubled.contains(addr))
            doubled += addr;
        records.insert(addr, NodeRecord(frame.srcAddr(true)));
    }
    std::sort(waiting.begin(), waiting.end());
    total = static_cast<int>(waiting.size()) * static_cast<int>(queriesOf(NodeQuery::Current).size());
    clock.start();
    nextNode();
}

void VOXRecorder::Private::nextNode()
{
    if (waiting.isEmpty()) {
        finish();
        return;
    }
    present = waiting.takeFirst();
    if (!records.contains(present))
        records.insert(present, NodeRecord(present));
    unanswered = 0;
    if (records[present].set() == NodeQuery::Older) {
        speakOlder();
        nextQuestion();
    } else {
        questions = queriesOf(NodeQuery::Current);
        identify();
    }
}

// Only motors of the older generation answer this query of theirs; one that is asked does not tell its type
// before it answers.
void VOXRecorder::Private::identify()
{
    const NodeQuery version{KVR::GET_NODE_APP_VERSION, QByteArray()};
    const NodeQuery olderStatus{HRMv2::GET_MOTOR_STATUS, QByteArray()};
    ask(version, [=](const VOXMessage &versionFrame) {
        if (versionFrame.cmd() == version.reply()) {
            handleAnswer(version, versionFrame);
            return;
        }
        ask(olderStatus, [=](const VOXMessage &frame) {
            if (frame.cmd() == olderStatus.reply()) {
                records[present].setSet(NodeQuery::Older);
                speakOlder();
                handleAnswer(olderStatus, frame);
            } else if (versionFrame.isValid()) {
                handleAnswer(version, versionFrame);
            } else {
                records[present].note(version, VOXMessage());
                finishNode();
            }
        });
    });
}

void VOXRecorder::Private::speakOlder()
{
    questions = queriesOf(NodeQuery::Older);
    total += static_cast<int>(questions.size() - queriesOf(NodeQuery::Current).size());
}

void VOXRecorder::Private::nextQuestion()
{
    NodeRecord &node = records[present];
    while (!questions.isEmpty() && node.isKnown(questions.first())) {
        questions.removeFirst();
        ++done;
    }
    if (questions.isEmpty()) {
        finishNode();
        return;
    }
    const NodeQuery query = questions.first();
    ask(query, [=](const VOXMessage &frame) { handleAnswer(query, frame); });
}

void VOXRecorder::Private::handleAnswer(const NodeQuery &query, const VOXMessage &frame)
{
    NodeRecord &node = records[present];
    node.note(query, frame);
    unanswered = frame.isValid() ? 0 : unanswered + 1;
    const NodeAnswer answer = NodeAnswer::of(frame);
    for (const NodeQuery &other : qAsConst(questions)) {
        if (other.cmd == query.cmd && query.isLast(answer.refusal()) && !node.isKnown(other))
            node.infer(other, answer);
    }
    if (unanswered < Patience) {
        nextQuestion();
        return;
    }
    unanswered = 0;
    const NodeQuery known{static_cast<unsigned char>(node.set() == NodeQuery::Current
                                                         ? int{KVR::GET_NODE_APP_VERSION}
                                                         : int{HRMv2::GET_MOTOR_STATUS}),
                          QByteArray()};
    ask(known, [this](const VOXMessage &stillThere) {
        if (stillThere.isValid()) {
            nextQuestion();
        } else {
            gone += present;
            finishNode();
        }
    });
}

void VOXRecorder::Private::ask(const NodeQuery &query, const Next &next, int tries)
{
    asker->call(query.to(present)).onFinished(asker.get(), [=](const BusPendingCall &call) {
        if (isRunning)
            handleCall(call, query, next, tries);
        tellNews();
    });
}

void VOXRecorder::Private::later(const std::function<void()> &act)
{
    QTimer::singleShot(SettleMs, asker.get(), [=] {
        if (isRunning)
            act();
        tellNews();
    });
}

void VOXRecorder::Private::handleCall(const BusPendingCall &call, const NodeQuery &query, const Next &next,
                                      int tries)
{
    if (call.isError() && call.error() != BusPendingCall::Timeout) {
        isPartial = true;
        finish();
        return;
    }
    const VOXMessage frame(call.reply());
    const bool isOwn = frame.srcAddr(false) == present && (query.isAnswer(frame) || frame.cmd() == KVR::ACK);
    const bool isUseless = frame.isValid() && (!isOwn || NodeAnswer::of(frame).refusal() == KVR::NACK_BUSY);
    const VOXMessage answer = isOwn ? frame : VOXMessage();
    if (isUseless && tries + 1 < MoreTries)
        later([=] { ask(query, next, tries + 1); });
    else if (!frame.isValid() && tries + 1 < Tries)
        ask(query, next, tries + 1);
    else if (frame.isValid() && tries > 0)
        later([=] { next(answer); });
    else
        next(answer);
}

void VOXRecorder::Private::finishNode()
{
    done += static_cast<int>(questions.size());
    ended += present;
    nextNode();
}

void VOXRecorder::Private::finish()
{
    isFinishedUntold = std::exchange(isRunning, false);
}

void VOXRecorder::Private::tellNews()
{
    const QPointer<Private> self(this);
    if (std::exchange(toldDone, done) != done)
        Q_EMIT q.progressed();
    while (self && !ended.isEmpty())
        Q_EMIT q.nodeFinished(ended.takeFirst());
    if (self && std::exchange(isFinishedUntold, false))
        Q_EMIT q.finished();
}

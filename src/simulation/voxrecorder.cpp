#include "simulation/voxrecorder.h"

#include "framework/busobject.h"
#include "framework/buspendingcall.h"
#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxcall.h"
#include "simulation/overheardline_p.h"
#include "transport/voxbus.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <functional>

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
/// The time for the rest is known after so many questions.
constexpr int Warmup = 5;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}
}

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

VOXRecorder::VOXRecorder(QObject *parent)
    : QObject(parent)
    , d(new Private(*this))
{
}

VOXRecorder::~VOXRecorder() = default;

VOXRecorder::Depth VOXRecorder::depth() const
{
    return d->depth;
}

void VOXRecorder::setDepth(Depth depth)
{
    d->depth = depth;
}

void VOXRecorder::setAddresses(const QVector<VOX::Addr> &addresses)
{
    d->wanted.clear();
    for (const VOX::Addr addr : addresses) {
        if (!d->wanted.contains(addr & VOX::AddrMask))
            d->wanted += addr & VOX::AddrMask;
    }
}

void VOXRecorder::start(VOXBus &bus)
{
    d->asker = std::make_unique<BusObject>(&bus, nullptr);
    d->records.clear();
    d->doubled.clear();
    d->gone.clear();
    d->line = OverheardLine();
    d->isRunning = true;
    d->isPartial = false;
    d->done = d->toldDone = 0;
    d->ended.clear();
    d->waiting = d->wanted;
    d->total = static_cast<int>(d->waiting.size() * d->queriesOf(NodeQuery::Current).size());
    d->clock.start();
    if (d->wanted.isEmpty())
        d->discover();
    else
        d->nextNode();
}

void VOXRecorder::stop()
{
    if (!d->isRunning)
        return;
    d->isPartial = true;
    d->finish();
    d->tellNews();
}

bool VOXRecorder::isRunning() const
{
    return d->isRunning;
}

bool VOXRecorder::isPartial() const
{
    return d->isPartial;
}

void VOXRecorder::hear(const VOXMessage &frame, double timeMs)
{
    d->line.hear(frame, timeMs, &d->records);
}

int VOXRecorder::askedCount() const
{
    return d->done;
}

int VOXRecorder::questionCount() const
{
    return d->total;
}

qint64 VOXRecorder::remainingTime() const
{
    if (d->done < Warmup)
        return -1;
    return d->clock.elapsed() * (d->total - d->done) / d->done;
}

QVector<VOX::Addr> VOXRecorder::nodes() const
{
    QVector<VOX::Addr> found;
    for (auto node = d->records.begin(); node != d->records.end(); ++node) {
        if (node->hasAnswered())
            found += node.key();
    }
    return found;
}

QVector<VOX::Addr> VOXRecorder::silentNodes() const
{
    QVector<VOX::Addr> found;
    for (auto node = d->records.begin(); node != d->records.end(); ++node) {
        if (!node->hasAnswered() && !node->unanswered().isEmpty())
            found += node.key();
    }
    return found;
}

QVector<VOX::Addr> VOXRecorder::doubledNodes() const
{
    return d->doubled;
}

QVector<VOX::Addr> VOXRecorder::goneNodes() const
{
    return d->gone;
}

QStringList VOXRecorder::refused(VOX::Addr node) const
{
    return d->record(node).refused();
}

QStringList VOXRecorder::unanswered(VOX::Addr node) const
{
    return d->record(node).unanswered();
}

QStringList VOXRecorder::unknown(VOX::Addr node) const
{
    return d->record(node).unknown();
}

bool VOXRecorder::isMoving(VOX::Addr node) const
{
    return d->record(node).isMoving();
}

QJsonObject VOXRecorder::network() const
{
    QJsonArray nodes;
    QJsonObject refused;
    QJsonObject unanswered;
    QJsonObject unknown;
    QJsonArray moving;
    const auto addresses = [](const QVector<VOX::Addr> &these) {
        QJsonArray texts;
        for (const VOX::Addr addr : these)
            texts += VOX::toString(addr);
        return texts;
    };
    const auto note = [](QJsonObject *object, VOX::Addr addr, const QStringList &names) {
        if (!names.isEmpty())
            object->insert(VOX::toString(addr), QJsonArray::fromStringList(names));
    };
    const QStringList faults = d->line.faults(d->records);
    for (auto node = d->records.begin(); node != d->records.end(); ++node) {
        const QString addr = VOX::toString(node.key());
        // A node that was only overheard to be silent has a fault that makes it so.
        if (node->hasAnswered() || faults.contains(text("drop ") + addr))
            nodes += node->toJson();
        if (!node->hasAnswered() && !node->unanswered().isEmpty())
            continue;
        note(&refused, node.key(), node->refused());
        note(&unanswered, node.key(), node->unanswered());
        note(&unknown, node.key(), node->unknown());
        if (node->isMoving())
            moving += addr;
    }
    QJsonObject recorded;
    const auto add = [&](const char *key, const QJsonValue &value, bool isEmpty) {
        if (!isEmpty)
            recorded.insert(text(key), value);
    };
    add("partial", true, !d->isPartial);
    add("refused", refused, refused.isEmpty());
    add("unanswered", unanswered, unanswered.isEmpty());
    add("unknown", unknown, unknown.isEmpty());
    add("moving", moving, moving.isEmpty());
    add("silent", addresses(silentNodes()), silentNodes().isEmpty());
    add("gone", addresses(d->gone), d->gone.isEmpty());
    QJsonObject network{{text("nodes"), nodes}, {text("recorded"), recorded}};
    if (!faults.isEmpty())
        network.insert(text("faults"), QJsonArray::fromStringList(faults));
    return network;
}

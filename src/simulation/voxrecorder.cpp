#include "simulation/voxrecorder.h"

#include "simulation/voxrecorder_p.h"
#include "transport/voxbus.h"

#include <QJsonArray>

namespace {
/// The time for the rest is known after so many questions.
constexpr int Warmup = 5;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}
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

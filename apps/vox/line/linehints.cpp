#include "vox/line/linehints.h"

#include "vox/console.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
constexpr double Percent = 100;
constexpr int ManyBytes = 10;
constexpr int Several = 3;
constexpr int Many = 5;
/// So many zero bytes at once are no disturbance of a frame.
constexpr int BreakBytes = 11;
constexpr double NoiseShare = 0.02;
constexpr double JabberShare = 0.1;
constexpr double LossShare = 0.1;
/// A node whose answers are damaged at such a share while those of the others are not.
constexpr double BadShare = 0.5;
constexpr double GoodShare = 0.05;
constexpr int MaxNamed = 3;
/// A driver counts so many where something is set wrong.
constexpr quint32 ManyErrors = 10;

using Nodes = QMap<unsigned int, NodeStatistics>;
/// What stands in a sentence for %1, %2, ...
using Words = QStringList;
/// The words for each time that a sentence is to be said.
using Finds = QVector<Words>;

double share(qint64 part, qint64 whole)
{
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

QString percent(double share)
{
    return QString::number(std::lround(Percent * share));
}

/// Requests whose answers came damaged, of all.
struct Damage
{
    int damaged = 0;
    int requests = 0;

    double share() const { return ::share(damaged, requests); }
    QString toString() const
    {
        return QStringLiteral("%1 of %2").arg(damaged).arg(counted(requests, "answer"));
    }
};

/// The statistics, and what several rules conclude from them.
class Evidence
{
public:
    Evidence(const LineStatistics &statistics, const QSet<unsigned int> &only)
        : totals(statistics.totals())
        , rests(statistics.rests())
        , port(statistics.portErrors().value_or(PortErrors()))
        , view(statistics.view())
        , nodes(statistics.nodes())
        , m_only(only)
    {
        for (const NodeStatistics &node : nodes) {
            m_damage.damaged += node.spoilt;
            m_damage.requests += node.sound;
        }
    }

    const LineStatistics::Totals &totals;
    const LineRests &rests;
    const PortErrors port;
    const LineStatistics::View view;
    const Nodes nodes;

    /// The nodes for which @p holds is true.
    template <typename Condition>
    QVector<Nodes::const_iterator> those(Condition holds) const
    {
        QVector<Nodes::const_iterator> found;
        for (auto node = nodes.begin(); node != nodes.end(); ++node) {
            if ((m_only.isEmpty() || m_only.contains(node.key())) && holds(*node))
                found += node;
        }
        return found;
    }

    Damage damageBeside(const NodeStatistics &node) const
    {
        return {m_damage.damaged - node.spoilt, m_damage.requests - node.sound};
    }
    /// Whether the damage that follows its requests is its own.
    bool isSpoilt(const NodeStatistics &node) const
    {
        const Damage others = damageBeside(node);
        return node.spoilt >= Many && share(node.spoilt, node.sound) >= BadShare && others.requests >= Several
            && others.share() <= GoodShare;
    }
    bool isSilent(const NodeStatistics &node) const
    {
        return view != LineStatistics::OneWay && node.requests >= Several && node.times.count() == 0
            && node.frames == 0 && node.unanswered >= Several && node.damaged * 2 < node.requests
            && !isSpoilt(node);
    }
    bool isJabbering(const NodeStatistics &node) const
    {
        return view != LineStatistics::OneWay && totals.requests > 0 && node.unasked >= Many
            && share(node.unaskedBytes, totals.bytes) >= JabberShare;
    }
    bool hasTwoHosts() const { return totals.clashes >= Many; }
    /// Whether a frame comes over the line twice as a rule.
    bool isDoubled() const
    {
        return totals.echoes >= Several && share(totals.echoes, totals.requests) >= BadShare;
    }
    bool isDead() const { return totals.bytes >= ManyBytes && totals.goodFrames() == 0; }
    bool hasSwappedWires() const { return isDead() && rests.isLow(); }
    /// Whether hardly anything is read but errors of parity. At most other bit rates, some bytes have the
    /// right parity by chance; at twice the line's, all bits come in pairs.
    bool hasWrongParity() const
    {
        return totals.goodFrames() == 0 && !hasSwappedWires() && port.parity >= ManyErrors
            && (port.framing + port.breaks + totals.bytes) * ManyErrors < port.parity;
    }
    bool hasWrongRate() const
    {
        return totals.goodFrames() == 0 && !hasSwappedWires() && !hasWrongParity()
            && port.framing + port.breaks >= ManyErrors;
    }
    bool isAllSilent() const
    {
        const auto silent = std::count_if(nodes.begin(), nodes.end(),
                                          [this](const NodeStatistics &node) { return isSilent(node); });
        return silent >= Several && std::all_of(nodes.begin(), nodes.end(), [](const NodeStatistics &node) {
                   return node.frames == 0 && node.damaged == 0;
               });
    }
    bool isNoisy() const { return noises() >= Many && noiseShare() >= NoiseShare; }
    double noiseShare() const { return share(noises(), noises() + totals.goodFrames()); }
    /// Whether something is wrong with the line, by which answers get lost and late.
    bool isDisturbed() const { return isDead() || isDoubled() || isNoisy() || hasCulprit(); }
    /// Whether a node or a host is known that damages what others send.
    bool hasCulprit() const
    {
        return hasTwoHosts() || std::any_of(nodes.begin(), nodes.end(), [this](const NodeStatistics &node) {
                   return isSpoilt(node) || isJabbering(node) || node.surplus >= Several;
               });
    }

private:
    /// Pieces of the line that are damaged, but for breaks.
    int noises() const { return std::max(totals.damages - totals.breaks, 0); }

    const QSet<unsigned int> m_only;
    Damage m_damage;
};

/// "000101, 000102 and 198 more".
QString named(const QVector<Nodes::const_iterator> &nodes)
{
    QStringList names;
    for (int i = 0; i < nodes.size() && i < MaxNamed; ++i)
        names += VOX::toString(nodes.at(i).key());
    const int more = nodes.size() - MaxNamed;
    if (more > 0)
        return QStringLiteral("%1 and %2 more").arg(names.join(QStringLiteral(", "))).arg(more);
    const QString last = names.takeLast();
    return names.isEmpty() ? last : QStringLiteral("%1 and %2").arg(names.join(QStringLiteral(", ")), last);
}

/// One sentence for all of @p nodes, with the sum of @p number.
Finds together(const QVector<Nodes::const_iterator> &nodes, int NodeStatistics::*number, const char *noun)
{
    qint64 sum = 0;
    for (const auto &node : nodes)
        sum += (*node).*number;
    return nodes.isEmpty() ? Finds() : Finds{{named(nodes), counted(sum, noun)}};
}

Finds once(bool holds, const Words &words)
{
    return holds ? Finds{words} : Finds();
}

Finds nothing(const Evidence &line)
{
    return once(line.totals.bytes == 0 && !line.hasWrongParity() && !line.hasWrongRate(), {});
}

Finds noValidFrame(const Evidence &line)
{
    return once(line.isDead() && !line.hasSwappedWires() && !line.hasWrongParity() && !line.hasWrongRate()
                    && line.totals.longestBreak < BreakBytes,
                {counted(line.totals.bytes, "byte")});
}

Finds swapped(const Evidence &line)
{
    return once(line.hasSwappedWires(),
                {QString::number(line.rests.afterZero()), counted(line.rests.count(), "pause")});
}

Finds overrun(const Evidence &line)
{
    return once(line.port.overruns > 0, {counted(line.port.overruns, "overrun")});
}

Finds parity(const Evidence &line)
{
    return once(line.hasWrongParity(), {counted(line.port.parity, "parity error")});
}

Finds rate(const Evidence &line)
{
    return once(line.hasWrongRate(),
                {counted(line.port.framing, "framing error"), counted(line.port.breaks, "break")});
}

Finds heldLow(const Evidence &line)
{
    return once(line.totals.longestBreak >= BreakBytes && !line.hasSwappedWires(),
                {counted(line.totals.longestBreak, "zero byte")});
}

Finds twoHosts(const Evidence &line)
{
    return once(line.hasTwoHosts(), {counted(line.totals.clashes, "request")});
}

Finds noise(const Evidence &line)
{
    return once(!line.isDead() && !line.hasCulprit() && line.isNoisy(),
                {percent(line.noiseShare()), counted(line.totals.failed, "failed check"),
                 counted(line.totals.garbageBytes, "byte")});
}

Finds twice(const Evidence &line)
{
    return once(line.isDoubled(),
                {QString::number(line.totals.echoes), counted(line.totals.requests, "request")});
}

Finds jabber(const Evidence &line)
{
    Finds finds;
    const auto nodes = line.those([&](const NodeStatistics &node) { return line.isJabbering(node); });
    for (const auto &node : nodes)
        finds += {VOX::toString(node.key()), counted(node->unasked, "frame"),
                  counted(node->unaskedBytes, "byte"), percent(share(node->unaskedBytes, line.totals.bytes))};
    return finds;
}

Finds twoNodes(const Evidence &line)
{
    if (line.isDoubled())
        return {};
    return together(
        line.those([&](const NodeStatistics &node) { return node.surplus > 0 && !line.isJabbering(node); }),
        &NodeStatistics::surplus, "answer");
}

Finds twoNodesOrJoint(const Evidence &line)
{
    Finds finds;
    const auto nodes =
        line.those([&](const NodeStatistics &node) { return node.surplus == 0 && line.isSpoilt(node); });
    for (const auto &node : nodes)
        finds += {VOX::toString(node.key()), Damage{node->spoilt, node->sound}.toString(),
                  line.damageBeside(*node).toString()};
    return finds;
}

Finds allSilent(const Evidence &line)
{
    int requests = 0;
    for (const NodeStatistics &node : line.nodes)
        requests += node.requests;
    return once(line.isAllSilent(), {counted(line.nodes.size(), "node"), counted(requests, "request")});
}

Finds silent(const Evidence &line)
{
    if (line.isAllSilent())
        return {};
    return together(line.those([&](const NodeStatistics &node) { return line.isSilent(node); }),
                    &NodeStatistics::unanswered, "request");
}

// An answer that is late damages what is sent then, and where much is damaged some answers are late.
Finds late(const Evidence &line)
{
    if (line.hasCulprit())
        return {};
    const double least = line.isDisturbed() ? BadShare : 0;
    return together(line.those([least](const NodeStatistics &node) {
        return node.late >= Several && share(node.late, node.times.count()) >= least;
    }),
                    &NodeStatistics::late, "answer");
}

Finds partly(const Evidence &line)
{
    if (line.isDisturbed())
        return {};
    return together(line.those([&](const NodeStatistics &node) {
        return node.times.count() > 0 && node.late < Several && node.damaged * 2 < node.unanswered
            && node.unanswered >= Many && share(node.unanswered, node.requests) >= LossShare;
    }),
                    &NodeStatistics::unanswered, "request");
}

struct Rule
{
    const char *sentence;
    Finds (*find)(const Evidence &line);
};

// The first that holds goes first. docs/installer.md says what to do about each.
const Rule rules[] = {
    {"nothing was heard: the wrong port, no power, a broken wire, or a wrong parity", nothing},
    {"%1 of %2 began with a break: the line rests low, so its two wires are swapped", swapped},
    {"%1 and hardly anything else: the parity is wrong, or the bit rate is twice that of the line", parity},
    {"%1 and %2: the bit rate or the parity is wrong, or the two wires are swapped", rate},
    {"%1 and no valid frame among them: the bit rate or the parity is wrong, the wires are swapped, or two "
     "hosts talk in step",
     noValidFrame},
    {"%1 at once, a break: the line is held low by a short circuit, by swapped wires, or by a broken device, "
     "or it runs at another bit rate",
     heldLow},
    {"%1 began while another one waited for its answer: two hosts are on the line, or one that does not wait "
     "long enough",
     twoHosts},
    {"the port has lost bytes in %1: this machine was too busy", overrun},
    {"%1 % of what came is damaged, with %2 and %3 of garbage: noise, a bad joint, or a missing termination",
     noise},
    {"%1 of %2 came twice, back to back", twice},
    {"%1 talks unasked, %2 and %3, %4 % of all: it is broken, or reports by itself", jabber},
    {"two nodes answer as %1: %2 more than requests", twoNodes},
    {"two nodes answer as %1, or its joint is bad: %2 came damaged, and %3 of other nodes", twoNodesOrJoint},
    {"no node answers, %1 and %2 in vain: no power, a broken wire, or a host that searches addresses",
     allSilent},
    {"no answer from %1, %2 in vain: no power there, or another address", silent},
    {"late answers from %1: %2 after more than 200 ms, when hosts have given up", late},
    {"requests to %1 get lost: %2 without an answer among others with one", partly}};
}

QStringList hintsOf(const LineStatistics &statistics, const QSet<unsigned int> &only)
{
    const Evidence line(statistics, only);
    QStringList all;
    for (const Rule &rule : rules) {
        const Finds finds = rule.find(line);
        for (const Words &words : finds) {
            QString sentence = QString::fromLatin1(rule.sentence);
            for (const QString &word : words)
                sentence = sentence.arg(word);
            all += sentence;
        }
    }
    return all;
}

QStringList hintSentences()
{
    QStringList all;
    for (const Rule &rule : rules)
        all += QString::fromLatin1(rule.sentence);
    return all;
}

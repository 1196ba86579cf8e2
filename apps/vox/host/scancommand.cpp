#include "vox/host/scancommand.h"

#include "messages/hrmv2answer.h"
#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrstdproxy.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/discovery.h"
#include "vox/host/linedamage.h"
#include "vox/host/listcomparison.h"
#include "vox/outcome.h"
#include "vox/warnings.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QMap>

#include <algorithm>
#include <memory>
#include <optional>

namespace {
const QString Name = QStringLiteral("scan");
constexpr int MaxRounds = 1000;

/// Addresses from the first to the last.
struct AddressRange
{
    /// Asking so many absent nodes takes four hours.
    static constexpr unsigned int MaxCount = 65536;

    static bool read(const QString &text, AddressRange *range, QString *problem)
    {
        const QStringList ends = text.split(QLatin1Char('-'));
        if (ends.size() != 2)
            *problem = QStringLiteral("'%1' is no range; 000300-00031F is one").arg(text);
        else if (VOX::readNodeAddr(ends.first(), &range->first, problem)
                 && VOX::readNodeAddr(ends.last(), &range->last, problem))
            *problem = range->problem();
        return problem->isEmpty();
    }

    QString problem() const
    {
        if (first > last)
            return QStringLiteral("the range ends before it begins: %1 is below %2")
                .arg(VOX::toString(last), VOX::toString(first));
        return last - first < MaxCount ? QString()
                                       : QStringLiteral("a range has at most %1 addresses").arg(MaxCount);
    }

    unsigned int first = 0;
    unsigned int last = 0;
};

/// Asks who is on a bus.
class Scanner
{
public:
    explicit Scanner(VOXBus &bus)
        : m_bus(bus)
        , m_damage(bus)
    {
    }

    ///@{
    /// Who answers a broadcast that is repeated, or each address of a range. False if the bus does not work;
    /// problem() then says why.
    bool findByBroadcast(int rounds);
    bool findInRange(const AddressRange &range, int rounds);
    ///@}
    /// Asks a node that is said to be there.
    void findOne(VOX::Addr addr);
    /// Names the addresses from which several answers to one question came.
    void tellDoubled() const;
    /// Asks each node that was found for what the list shows.
    QVector<FoundNode> describeAll();

    const QString &problem() const { return m_problem; }
    int damagedAnswers() const { return m_damage.answers(); }
    bool hasFound(VOX::Addr addr) const { return m_answers.contains(addr); }

private:
    template <typename Question>
    Outcome ask(VOX::Addr addr, const Question &question);
    Outcome askLabel(VOX::Addr addr);
    bool answersInOlderSet(VOX::Addr addr);
    FoundNode describe(unsigned int addr);
    void add(unsigned int addr);

    VOXBus &m_bus;
    LineDamage m_damage;
    QString m_problem;
    /// With their types, by address.
    QMap<VOX::Addr, unsigned int> m_addrs;
    /// How many answers to one question came, by address.
    QMap<VOX::Addr, int> m_answers;
    QMap<VOX::Addr, int> m_answeredRounds;
    int m_rounds = 0;
};

/// Asks again, once, if the answer does not come.
template <typename Question>
Outcome Scanner::ask(VOX::Addr addr, const Question &question)
{
    for (bool isAgain = false;; isAgain = true) {
        m_damage.beginQuestion();
        Outcome told = ::ask(addr, Asking::Again, question);
        const bool isLost = !told.isAnswered() && !told.isForeign() && m_bus.isOpen();
        m_damage.endQuestion(!isLost);
        if (!isLost || isAgain)
            return told;
    }
}

// Nodes of both generations answer that, or refuse, and so do those that hide from discovery.
Outcome Scanner::askLabel(VOX::Addr addr)
{
    KVRStdProxy proxy(addr, &m_bus);
    return ask(addr, [&] { return proxy.getNodeLabel(); });
}

bool Scanner::answersInOlderSet(VOX::Addr addr)
{
    HRMv2MotorProxy proxy(addr, &m_bus);
    const Outcome told = ask(addr, [&] { return proxy.getMotorSettings(); });
    return HRMv2Answer::from<HRMv2Answer::MotorSettings>(told.reply()).has_value();
}

FoundNode Scanner::describe(unsigned int addr)
{
    KVRStdProxy proxy(addr, &m_bus);
    FoundNode node;
    node.addr = proxy.addr(false);
    node.type = VOX::toString(proxy.type());
    node.answers = m_answers.value(node.addr, 1);
    node.answeredRounds = m_answeredRounds.value(node.addr);
    node.rounds = m_rounds;
    QByteArray label;
    const Outcome labelTold = askLabel(node.addr);
    if (proxy.getNodeLabelReply(labelTold.reply(), label))
        node.label = QString::fromLatin1(label.constData());
    // A lost answer says nothing: some newer nodes understand both sets.
    else if (labelTold.isAnswered())
        node.isOlder = answersInOlderSet(node.addr);
    if (node.isOlder)
        return node;
    const Outcome told = ask(node.addr, [&] { return proxy.getNodeAppVersion(); });
    KVRStdProxy::AppVersion version;
    if (proxy.getNodeAppVersionReply(told.reply(), version))
        node.version = version.toString();
    return node;
}

QVector<FoundNode> Scanner::describeAll()
{
    QVector<FoundNode> nodes;
    for (const unsigned int addr : qAsConst(m_addrs)) {
        printProgress(QStringLiteral("reading %1 of %2").arg(nodes.size() + 1).arg(m_addrs.size()));
        nodes += describe(addr);
    }
    printProgress(QString());
    return nodes;
}

void Scanner::add(unsigned int addr)
{
    const VOX::Addr bare = addr & VOX::AddrMask;
    m_addrs.insert(bare, addr);
    ++m_answers[bare];
}

bool Scanner::findByBroadcast(int rounds)
{
    const DiscoveredNodes found = findNodes(m_bus, rounds, [](const DiscoveredNodes &soFar) {
        printProgress(QStringLiteral("round %1, %2 found").arg(soFar.rounds).arg(soFar.addrs.size()));
    });
    printProgress(QString());
    for (const unsigned int addr : found.addrs)
        add(addr);
    m_answeredRounds = found.answeredRounds;
    m_rounds = found.rounds;
    m_problem = found.problem;
    return m_problem.isEmpty();
}

bool Scanner::findInRange(const AddressRange &range, int rounds)
{
    for (int round = 0; round < rounds; ++round) {
        for (VOX::Addr addr = range.first; addr <= range.last && m_bus.isOpen(); ++addr) {
            if (!VOX::nodeAddrProblem(addr).isEmpty() || hasFound(addr))
                continue;
            printProgress(QStringLiteral("asking %1, %2 to go, %3 found")
                              .arg(VOX::toString(addr))
                              .arg(range.last - addr)
                              .arg(m_addrs.size()));
            findOne(addr);
        }
    }
    printProgress(QString());
    return m_bus.isOpen();
}

// Most addresses of a range have no node, so only bytes in place of an answer let it be asked again.
void Scanner::findOne(VOX::Addr addr)
{
    KVRStdProxy proxy(addr, &m_bus);
    for (bool isAgain = false;; isAgain = true) {
        const int before = m_damage.answers();
        m_damage.beginQuestion();
        const Outcome told = ::ask(addr, Asking::Again, [&] { return proxy.getNodeLabel(); });
        m_damage.endQuestion(told.isAnswered() || told.isForeign());
        if (told.isAnswered())
            add(told.reply().srcAddr(true));
        m_problem = told.error();
        if (told.isAnswered() || m_damage.answers() == before || isAgain)
            return;
    }
}

void Scanner::tellDoubled() const
{
    for (auto entry = m_answers.cbegin(); entry != m_answers.cend(); ++entry) {
        if (entry.value() > 1)
            printError(Name,
                       QStringLiteral("%1 has answered more than once: several nodes may have this address")
                           .arg(VOX::toString(entry.key())));
    }
}

void printTable(const QVector<FoundNode> &nodes)
{
    int typeWidth = 0;
    int labelWidth = 0;
    int versionWidth = 0;
    for (const FoundNode &node : nodes) {
        typeWidth = std::max(typeWidth, static_cast<int>(node.type.size()));
        labelWidth = std::max(labelWidth, static_cast<int>(node.shownLabel().size()));
        versionWidth = std::max(versionWidth, static_cast<int>(node.shownVersion().size()));
    }
    for (const FoundNode &node : nodes)
        printLine(QStringLiteral("%1  %2  %3  %4  %5")
                      .arg(node.address(), node.type.leftJustified(typeWidth),
                           node.shownLabel().leftJustified(labelWidth),
                           node.shownVersion().leftJustified(versionWidth), node.weakness())
                      .trimmed());
}

/// Says how far the result can be relied on.
void printTrust(int damaged, const QVector<FoundNode> &nodes, bool hasRounds)
{
    // This is no failure: it may be true that the line has no nodes.
    if (nodes.isEmpty())
        printError(Name, QStringLiteral("nobody has answered"));
    const auto isWeak = [](const FoundNode &node) { return node.isWeak(); };
    const auto weak = static_cast<int>(std::count_if(nodes.cbegin(), nodes.cend(), isWeak));
    QStringList parts;
    if (damaged > 0)
        parts += QStringLiteral("%1 came damaged").arg(counted(damaged, "answer"));
    if (weak > 0)
        parts += QStringLiteral("%1 answered once only").arg(counted(weak, "node"));
    if (!parts.isEmpty())
        printError(Name,
                   parts.join(QStringLiteral(", ")) + QStringLiteral(": others may be missing")
                       + (hasRounds ? QString() : QStringLiteral("; --rounds 10 looks longer")));
}

/// What is looked for.
struct Wanted
{
    std::optional<AddressRange> range;
    /// 0 for as many as it takes.
    int rounds = 0;
    ListedNodes list;
    /// The list's file without its folder; empty without a list.
    QString listName;
};

void print(const Scanner &scanner, const QVector<FoundNode> &nodes, const ListComparison &comparison,
           const Wanted &wanted, bool isJson)
{
    const bool compares = !wanted.listName.isEmpty();
    if (compares && isJson) {
        QJsonObject result = comparison.toJson();
        result.insert(QStringLiteral("nodes"), toJson(nodes));
        result.insert(QStringLiteral("damagedAnswers"), scanner.damagedAnswers());
        printJson(result);
    } else if (compares) {
        comparison.print(wanted.listName);
    } else if (isJson) {
        printLine(QString::fromUtf8(QJsonDocument(toJson(nodes)).toJson(QJsonDocument::Compact)));
    } else {
        printTable(nodes);
    }
}

int scan(VOXBus &bus, const Wanted &wanted, bool isJson)
{
    Scanner scanner(bus);
    const bool isDone = wanted.range ? scanner.findInRange(*wanted.range, std::max(wanted.rounds, 1))
                                     : scanner.findByBroadcast(wanted.rounds);
    if (!isDone) {
        printError(Name, scanner.problem());
        return Failure;
    }
    for (auto node = wanted.list.nodes.cbegin(); node != wanted.list.nodes.cend(); ++node) {
        if (!scanner.hasFound(node.key()))
            scanner.findOne(node.key());
    }
    scanner.tellDoubled();
    const QVector<FoundNode> nodes = scanner.describeAll();
    const ListComparison comparison(wanted.list, nodes);
    print(scanner, nodes, comparison, wanted, isJson);
    // Told here, and better.
    forgetDamage();
    printTrust(scanner.damagedAnswers(), nodes, wanted.rounds > 0);
    return wanted.listName.isEmpty() || comparison.isSame() ? Success : Failure;
}
}

int runScan(const QStringList &arguments)
{
    CommandLine line(
        Name,
        QStringLiteral("Finds the nodes of a bus by broadcast, or asks each address of a range, and prints "
                       "address, type, label and application version of each; with --json, as one array. "
                       "The broadcast is repeated until two rounds bring nobody new. "
                       "That nobody answers is no failure."),
        QStringLiteral("vox scan"), CommandLine::BusOption | CommandLine::JsonOption);
    const QCommandLineOption rangeOption(
        QStringLiteral("range"),
        QStringLiteral("Ask each address from FIRST to LAST, at most 65536, in place of a broadcast. This "
                       "finds motors of the older generation, too. Each address without a node takes 226 ms "
                       "on a serial line."),
        QStringLiteral("FIRST-LAST"));
    const QCommandLineOption roundsOption(
        QStringLiteral("rounds"),
        QStringLiteral("Ask N times, whatever that brings, 1 to %1; with --range, those who have not "
                       "answered yet.")
            .arg(MaxRounds),
        QStringLiteral("N"));
    const QCommandLineOption compareOption(
        QStringLiteral("compare"),
        QStringLiteral("Print who is missing, new or changed against a building's list: a network file, as "
                       "vox record writes and vox sim takes it, or what vox scan --json has printed. Who "
                       "does not answer the broadcast is asked singly. Ends with 1 if anything differs."),
        QStringLiteral("FILE"));
    line.addOptions({rangeOption, roundsOption, compareOption});
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    const QCommandLineParser &parser = line.parser();
    QString problem;
    Wanted wanted;
    if (parser.isSet(rangeOption)) {
        wanted.range.emplace();
        if (!AddressRange::read(parser.value(rangeOption), &*wanted.range, &problem))
            return line.fail(QStringLiteral("--range: %1").arg(problem));
    }
    if (!line.readNumber(roundsOption, 1, MaxRounds, &wanted.rounds))
        return line.exitCode();
    if (parser.isSet(compareOption)) {
        wanted.listName = QFileInfo(parser.value(compareOption)).fileName();
        if (!wanted.list.read(parser.value(compareOption), &problem))
            return line.fail(QStringLiteral("--compare: %1").arg(problem));
    }
    const std::unique_ptr<VOXBus> bus = line.openBus();
    return bus ? scan(*bus, wanted, line.isJson()) : line.exitCode();
}

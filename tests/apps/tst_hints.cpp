#include "messages/kvr.h"
#include "proxies/kvrgroupproxy.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/frames.h"
#include "transport/voxbus.h"
#include "vox/line/linehints.h"
#include "vox/line/linetap.h"

/// What the monitor says of lines that were recorded, each with one thing wrong.
class tst_Hints : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.*=false"); }
    void recordedLines();
    void lowRests();
    void adaptersThatAreSetWrong();
    void theGuideKnowsWhatIsSaid();
};

namespace {
const VOXVirtualTime virtualTime;
constexpr qint64 NsPerSecond = 1000000000;
constexpr int BitRate = 4800;
const QVector<unsigned int> All = {0x000101, 0x000102, 0x000103, 0x000104};

/// The texts of a source that are long enough to tell something, with %1, %2, ... in them.
QStringList textsIn(const QByteArray &source)
{
    static const QRegularExpression text(R"re("(?:[^"\\\n]|\\.)*"(?:\s+"(?:[^"\\\n]|\\.)*")*)re");
    static const QRegularExpression seam(R"re("\s+")re");
    QStringList texts;
    for (auto found = text.globalMatch(QString::fromUtf8(source)); found.hasNext();) {
        const QString whole = found.next().captured().remove(seam);
        if (whole.size() > 14)
            texts += whole.mid(1, whole.size() - 2);
    }
    return texts;
}

/// Asks nodes in turn, and each again at once if it does not answer.
class Host
{
public:
    Host(VOXLine &line, const QVector<unsigned int> &nodes, int pauseMs, int asked)
        : m_bus(line.addBus(&m_context))
        , m_nodes(nodes)
        , m_pauseMs(pauseMs)
        , m_asked(asked)
    {
        ask(0, 1);
    }

    VOXBus &bus() { return *m_bus; }

private:
    void ask(int index, int turn)
    {
        KVRMotorProxy(m_nodes.at(index), m_bus)
            .getMotorStatus()
            .onFinished(&m_context, [=](const BusPendingCall &call) {
                const bool isAgain = call.isError() && turn < m_asked;
                QTimer::singleShot(isAgain ? 0 : m_pauseMs, &m_context, [=] {
                    ask(isAgain ? index : (index + 1) % m_nodes.size(), isAgain ? turn + 1 : 1);
                });
            });
    }

    QObject m_context;
    VOXBus *const m_bus;
    const QVector<unsigned int> m_nodes;
    const int m_pauseMs;
    const int m_asked;
};

/// A line with nodes and hosts, and all that is heard of it.
struct Site
{
    Site()
    {
        QObject::connect(&line, &VOXLine::sent, [this](QIODevice *, const QByteArray &bytes) {
            sent.append({VOXVirtualTime::now() - start, bytes});
        });
        ear->open(QIODevice::ReadWrite);
        mouth->open(QIODevice::ReadWrite);
    }

    void addNodes(const QVector<unsigned int> &addrs, const QStringList &faults = {})
    {
        auto *floor = new VOXSimulation(&line);
        floor->attach(line.addBus(&line));
        for (const unsigned int addr : addrs)
            QVERIFY(floor->add("TB20", addr));
        for (const QString &fault : faults)
            QVERIFY(floor->addFault(fault));
    }
    void addHost(const QVector<unsigned int> &nodes = All, int pauseMs = 100, int asked = 2)
    {
        hosts.push_back(std::make_unique<Host>(line, nodes, pauseMs, asked));
    }
    /// Does something every @p ms milliseconds.
    void every(int ms, const std::function<void()> &act)
    {
        auto *timer = new QTimer(&line);
        QObject::connect(timer, &QTimer::timeout, act);
        timer->start(ms);
    }
    void write(const QByteArray &bytes) const { mouth->write(bytes); }

    const qint64 start = VOXVirtualTime::now();
    VOXLine line{BitRate};
    const std::unique_ptr<QIODevice> ear{line.addMember()};
    const std::unique_ptr<QIODevice> mouth{line.addMember()};
    QList<LineItem> items;
    const std::unique_ptr<LineTap> tap =
        LineTap::on(ear.get(), [this](const LineItem &item) { items.append(item); });
    QList<std::pair<qint64, QByteArray>> sent;
    std::vector<std::unique_ptr<Host>> hosts;
};

/// How an adapter listens; @p reads is what it reads then.
struct Adapter
{
    int rate = BitRate;
    enum { Odd, Even, None } parity = Odd;
    bool isSwapped = false;
    /// Some leave out bytes with a wrong parity or a wrong stop bit.
    bool readsDamaged = false;
    PortErrors errors = {};

    /// A line as bits, eight samples for each at the line's rate, and what an adapter makes of it. It takes a
    /// wrong stop bit for the start bit of the next byte, and reads one zero byte from a line that is low.
    QList<LineItem> reads(const QList<std::pair<qint64, QByteArray>> &sent, int ms)
    {
        constexpr int Samples = 8;
        std::vector<bool> high(std::size_t(ms) * BitRate * Samples / 1000 + 100000, true);
        for (const auto &[timeMs, bytes] : sent) {
            std::size_t at = std::size_t(timeMs) * BitRate * Samples / 1000;
            for (const char byte : bytes) {
                const auto data = static_cast<unsigned char>(byte);
                const unsigned int odd = (qPopulationCount(data) + 1U) & 1U;
                for (unsigned int bits = data << 1U | odd << 9U | 1U << 10U, n = 0; n < 11; ++n, bits >>= 1U)
                    for (int i = 0; i < Samples; ++i, ++at)
                        high[at] = high[at] && (bits & 1U) != 0;
            }
        }
        QList<LineItem> items;
        FrameScanner scanner([&](const LineItem &item) { items.append(item); });
        const int step = Samples * BitRate / rate, dataBits = parity == None ? 8 : 9;
        const auto level = [&](std::size_t at) { return high[std::min(at, high.size() - 1)] != isSwapped; };
        for (std::size_t at = 0, last = 0; at < high.size(); ++at) {
            if (level(at))
                continue;
            const auto bit = [&](int index) { return level(at + std::size_t(step * index + step / 2)); };
            unsigned int read = 0;
            for (int i = 0; i < dataBits; ++i)
                read |= unsigned(bit(i + 1)) << i;
            const bool isBreak = read == 0 && !bit(dataBits + 1);
            const bool hasParity = parity == None || qPopulationCount(read) % 2 == (parity == Odd ? 1 : 0);
            const bool isFramed = bit(dataBits + 1);
            ++(isBreak          ? errors.breaks
                   : !hasParity ? errors.parity
                   : !isFramed  ? errors.framing
                                : errors.overruns);
            const qint64 timeNs = qint64(at) * NsPerSecond / (BitRate * Samples);
            if (timeNs - qint64(last) > NsPerSecond / 10)
                scanner.flush();
            last = std::size_t(timeNs);
            if ((hasParity && isFramed) || isBreak || readsDamaged)
                scanner.feed(QByteArray(1, char(read)), timeNs);
            at += std::size_t(step * (dataBits + 1));
            while (isBreak && at < high.size() && !level(at))
                ++at;
            at -= isBreak || isFramed ? 0 : 1;
        }
        errors.overruns = 0;
        scanner.flush();
        return items;
    }
};
}

void tst_Hints::recordedLines()
{
    const auto judge = [&](const char *name, const QList<LineItem> &items, const QString &expected,
                           LineStatistics::View view = LineStatistics::Line) {
        LineStatistics statistics;
        statistics.setView(view);
        for (const LineItem &item : items)
            statistics.add(item);
        QString hints = hintsOf(statistics).join("; ");
        hints.replace(QRegularExpression("(?<![0-9A-F])\\d{1,5}(?![0-9A-F])"), "#");
        QCOMPARE(list(name, hints), list(name, expected));
    };
    using Set = std::function<void(Site &)>;
    const auto row = [&](const char *name, const Set &set, const QString &expected, int seconds = 10) {
        Site site;
        set(site);
        VOXVirtualTime::advance(seconds * 1000);
        judge(name, site.items, expected);
    };
    const auto withFaults = [](const QStringList &faults) {
        return [=](Site &site) { site.addNodes(All, faults), site.addHost(); };
    };
    const Set all = withFaults({});
    const auto and_ = [](const Set &one, const Set &other) {
        return [=](Site &site) { one(site), other(site); };
    };
    row(
        "a busy line", [](Site &site) { site.addNodes(All), site.addHost(All, 0); }, "");
    row("a host that does all there is",
        and_(all,
             [](Site &site) {
                 site.every(1700, [&] {
                     VOXBus &bus = site.hosts.front()->bus();
                     KVRMotorProxy(0x000102, &bus).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 50);
                     KVRGroupProxy(0x00a001, &bus).ctrlStop();
                     KVRStdProxy(0xffffff, &bus).getNodeAddr();
                 });
             }),
        "");
    row("an answer lost now and then", withFaults({"drop 000102 probability 0.05"}), "");
    row(
        "nothing", [](Site &) {},
        "nothing was heard: the wrong port, no power, a broken wire, or a wrong parity");

    const QString spoils =
        "two nodes answer as %1, or its joint is bad: # of # answers came damaged, and # of "
        "# answers of other nodes";
    row("two nodes that answer at once", and_(all, [](Site &site) { site.addNodes({0x000101}); }),
        spoils.arg("000101"));
    row("two nodes, mostly at once",
        and_(all, [](Site &site) { site.addNodes({0x000101}, {"delay 60 000101 probability 0.1"}); }),
        spoils.arg("000101"));
    row("two nodes, one after the other",
        and_(all, [](Site &site) { site.addNodes({0x000101}, {"delay 60 000101"}); }),
        "two nodes answer as 000101: # answers more than requests");
    row("a bad joint", withFaults({"noise 8 000103", "cut 9 000103"}), spoils.arg("000103"));

    const QString noise =
        "# % of what came is damaged, with # failed checks and # bytes of garbage: noise, a "
        "bad joint, or a missing termination";
    row("a third of all frames damaged",
        and_(all, [](Site &site) { site.line.setProbability(VOXLine::Corrupted, 0.03); }), noise);
    row("a node that jabbers", withFaults({"jabber 100 000102"}),
        "000102 talks unasked, # frames and # bytes, # % of all: it is broken, or reports by itself");
    row(
        "a node that jabbers, and no host", [](Site &site) { site.addNodes(All, {"jabber 100 000102"}); },
        noise);

    row("two hosts",
        and_(all,
             [](Site &site) {
                 site.addHost({0x000104, 0x000103}, 7);
             }),
        "# requests began while another one waited for its answer: two hosts are on the line, or one that "
        "does "
        "not wait long enough");
    const QString dead =
        "# bytes and no valid frame among them: the bit rate or the parity is wrong, the wires "
        "are swapped, or two hosts talk in step";
    row(
        "two hosts in step",
        [](Site &site) {
            site.addNodes(All), site.addHost(All, 20, 1), site.addHost({0x000104, 0x000103}, 20, 1);
        },
        dead);
    row(
        "a host that repeats itself",
        [](Site &site) {
            site.addNodes({0x000101}), site.addHost({0x000101, 0x000102}, 20, 4);
        },
        "no answer from 000102, # requests in vain: no power there, or another address");
    row(
        "all twice",
        [](Site &site) {
            const QByteArray bytes = line(frame("02 FF", 0x000101));
            site.addNodes(All), site.every(150, [&site, bytes] { site.write(bytes + bytes); });
        },
        "# of # requests came twice, back to back");
    row("held low",
        and_(all, [](Site &site) { site.every(3000, [&] { site.write(QByteArray(70, '\0')); }); }),
        "# zero bytes at once, a break: the line is held low by a short circuit, by swapped wires, or by a "
        "broken device, or it runs at another bit rate");

    row(
        "no node", [](Site &site) { site.addHost(); },
        "no node answers, # nodes and # requests in vain: no power, a broken wire, or a host that searches "
        "addresses");
    QVector<unsigned int> many = All;
    for (unsigned int addr = 0x000200; addr < 0x0002c8; ++addr)
        many += addr;
    row(
        "200 that are not there", [&](Site &site) { site.addNodes(All), site.addHost(many, 20, 3); },
        "no answer from 000200, 000201, 000202 and # more, # requests in vain: no power there, or another "
        "address",
        180);
    row("a node that is late", withFaults({"delay 300 000102"}),
        "late answers from 000102: # answers after more than # ms, when hosts have given up");
    row("a node that forgets", withFaults({"drop 000102 probability 0.4"}),
        "requests to 000102 get lost: # requests without an answer among others with one");

    Site site;
    all(site);
    VOXVirtualTime::advance(10000);
    judge("an adapter", Adapter().reads(site.sent, 10000), "");
    judge("twice the rate", Adapter{2 * BitRate}.reads(site.sent, 10000), dead);
    judge("half the rate", Adapter{BitRate / 2}.reads(site.sent, 10000), dead);
    judge("no parity", Adapter{BitRate, Adapter::None}.reads(site.sent, 10000), dead);
    judge("swapped wires", Adapter{BitRate, Adapter::Odd, true, true}.reads(site.sent, 10000),
          "# of # pauses began with a break: the line rests low, so its two wires are swapped");
    judge("swapped wires, without what is damaged",
          Adapter{BitRate, Adapter::Odd, true}.reads(site.sent, 10000), dead);
    // Who hears one direction alone does not hear what nodes answer.
    QList<LineItem> requests;
    std::copy_if(site.items.begin(), site.items.end(), std::back_inserter(requests),
                 [](const LineItem &item) { return item.frame.srcAddr(false) == VOXBus::addr(); });
    judge("one direction", requests, "", LineStatistics::OneWay);
}

void tst_Hints::lowRests()
{
    const auto row = [](const QByteArray &heard, int times, int pauseMs, bool isLow) {
        LineRests rests;
        for (int i = 0; i < times; ++i)
            rests.addDamage(LineItem::noFrame(QByteArray::fromHex(heard), i * pauseMs * (NsPerSecond / 1000)),
                            NsPerSecond / 400);
        QCOMPARE(list(heard, times, pauseMs, rests.isLow()), list(heard, times, pauseMs, isLow));
    };
    row("258200", 6, 50, true);
    row("258200", 5, 50, false); // too few
    row("258200", 6, 25, false); // no pauses
    row("258201", 6, 50, false);
    row("248200", 6, 50, false); // too fast
    row("25000000000000", 6, 50, true);
    row("25828282828282828282828200", 6, 60, false);
}

// What is named as wrong is wrong, whatever the bit rate, the parity, the wires, and the traffic. Wires that
// are swapped are named if the adapter reads what is damaged.
void tst_Hints::adaptersThatAreSetWrong()
{
    QStringList mistakes;
    for (const int pauseMs : {40, 100, 300}) {
        Site site;
        site.addNodes(All);
        site.addHost(pauseMs == 40 ? QVector<unsigned int>{0x000103} : All, pauseMs);
        VOXVirtualTime::advance(10000);
        for (const int rate : {1200, 2400, 4800, 9600, 19200, 38400}) {
            for (int kind = 0; kind < 12; ++kind) {
                Adapter adapter{rate, decltype(Adapter::parity)(kind / 4), kind % 2 == 1, kind / 2 % 2 == 1};
                LineStatistics statistics;
                for (const LineItem &item : adapter.reads(site.sent, 10000))
                    statistics.add(item);
                statistics.setPortErrors(adapter.errors);
                const QString hints = hintsOf(statistics).join(", ");
                const bool saysSwapped = hints.contains("so its two wires are swapped");
                const bool saysParity = hints.contains("the parity is wrong, or the bit rate is twice");
                const bool isRate = rate == BitRate, isOdd = adapter.parity == Adapter::Odd;
                const bool isSeen = adapter.isSwapped && adapter.readsDamaged && isRate && isOdd;
                if ((saysSwapped ? !adapter.isSwapped : isSeen)
                    || (saysParity && isRate == isOdd && rate != 2 * BitRate)
                    || (hints.isEmpty() && statistics.totals().goodFrames() == 0))
                    mistakes += QString("%1 %2 %3: %4").arg(pauseMs).arg(rate).arg(kind).arg(hints);
            }
        }
    }
    QCOMPARE(mistakes.join('\n'), QString());
}

// Each sentence that the guide for installers has something to do for is one that the program says, and each
// hint has its row.
void tst_Hints::theGuideKnowsWhatIsSaid()
{
    const auto pattern = [](const QString &text) {
        return QRegularExpression::escape(text).replace(QRegularExpression("\\\\?%\\d"), ".*");
    };
    QStringList says;
    for (QDirIterator file(VOX_SOURCE_DIR "/apps/vox", {"*.cpp"}, QDir::Files, QDirIterator::Subdirectories);
         file.hasNext();)
        says += textsIn(contents(file.next()));
    says += textsIn(contents(VOX_SOURCE_DIR "/src/framework/buspendingcall.cpp"));
    for (int reason = 0; reason <= 0xff; ++reason)
        says += "NACK " + KVR::toString(KVR::NackStatus(reason));
    QStringList rows, unsaid;
    for (const QByteArray &line : contents(VOX_SOURCE_DIR "/docs/installer.md").split('\n')) {
        if (!line.startsWith("| `"))
            continue;
        const QString row = QString::fromUtf8(line).section('`', 1, 1);
        rows += row;
        const bool isSaid = std::any_of(says.begin(), says.end(), [&](const QString &text) {
            return QRegularExpression("^" + pattern(text) + "$").match(row).hasMatch();
        });
        if (!isSaid)
            unsaid += row;
    }
    QCOMPARE(unsaid.join('|'), QString());
    for (const QString &hint : hintSentences())
        QVERIFY2(!rows.filter(QRegularExpression("^" + pattern(hint) + "$")).isEmpty(), qPrintable(hint));
}

QTEST_GUILESS_MAIN(tst_Hints)
#include "tst_hints.moc"

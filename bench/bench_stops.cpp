// How long a stop waits on a line that polls fill: 60 motors at 4800 bit/s, which take 5 to 40 ms to answer.
//
// In virtual time, in seconds. With --real in real time, in about five minutes: the motors are those of
// `vox sim`, one for each row of the table, all at the same time.

#include "framework/busdispatcher.h"
#include "messages/kvr.h"
#include "network/voxscheduler.h"
#include "proxies/kvrgroupproxy.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/simulator.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <vector>

namespace {
constexpr VOX::Addr First = 0x000100;
constexpr VOX::Addr Group = 0x00a001;
constexpr int NodeCount = 60;
constexpr int MovingCount = 6;
constexpr quint32 Seed = 1;
constexpr const char *Pace = "4800:5-40";
constexpr int VirtualStops = 1000;
constexpr int RealStops = 200;
constexpr double MsPerSecond = 1000;
constexpr double NsPerMs = 1000000;

/// A row of the table. Times in milliseconds.
struct Load
{
    enum Before { Nothing, Moves, GroupMove, Discovery };

    const char *name;
    bool withNames;
    int deadCount;
    const char *fault;
    Before before;
    /// An exchange, and 5: no stop waits longer.
    int most;
};

// 113 behind a query, 138 behind that of a name, 226 behind one that nobody answers. All nodes answer a
// discovery at once; what is left of these answers can cost the next query its own.
const Load loads[] = {
    {"position and status", false, 0, nullptr, Load::Nothing, 113 + 5},
    {"with names", true, 0, nullptr, Load::Nothing, 138 + 5},
    {"1 % of the answers damaged", false, 0, "corrupt all probability 0.01", Load::Nothing, 226 + 5},
    {"five nodes dead", false, 5, nullptr, Load::Nothing, 226 + 5},
    {"six motors moving", false, 0, nullptr, Load::Moves, 113 + 5},
    {"behind a group move", false, 0, nullptr, Load::GroupMove, 113 + 5},
    {"behind a discovery", false, 0, nullptr, Load::Discovery, 226 + 5},
};

QJsonObject networkOf(const Load &load)
{
    const QJsonObject motors{
        {QStringLiteral("model"), QStringLiteral("TB60LV")},
        {QStringLiteral("address"),
         VOX::toString(First) + QLatin1Char('-')
             + VOX::toString(First + NodeCount - 1 - unsigned(load.deadCount))},
        {QStringLiteral("label"), QStringLiteral("Motor {n}")},
        {QStringLiteral("groups"), QJsonArray{VOX::toString(Group)}},
        {QStringLiteral("limits"), QJsonObject{{QStringLiteral("up"), 0}, {QStringLiteral("down"), 60000}}}};
    QJsonObject network{{QStringLiteral("nodes"), QJsonArray{motors}}};
    if (load.fault)
        network.insert(QStringLiteral("faults"), QJsonArray{QLatin1String(load.fault)});
    return network;
}

/// The motors of one row, and their host's bus.
class Site
{
public:
    virtual ~Site() = default;

    VOXBus *host() const { return m_host.get(); }

protected:
    std::unique_ptr<VOXBus> m_host;
};

/// In this program.
class NearSite : public Site
{
public:
    explicit NearSite(const Load &load)
    {
        // The wire itself takes no time: the simulation makes the line, as `vox sim` does.
        m_host = std::make_unique<VOXBus>(m_wire.addMember());
        m_host->open();
        m_simulation.load(networkOf(load));
        m_simulation.setSeed(Seed);
        m_simulation.setLine(QLatin1String(Pace));
        m_simulation.attach(m_wire.addBus(&m_wire));
    }
    ~NearSite() override { m_host.reset(); }

private:
    VOXLine m_wire{0};
    VOXSimulation m_simulation;
};

/// In another one, at the other end of a pseudo-terminal.
class FarSite : public Site
{
public:
    explicit FarSite(const Load &load)
        : m_simulator(
            networkOf(load), QStringLiteral("pty:"),
            {QStringLiteral("--line"), QLatin1String(Pace), QStringLiteral("--seed"), QString::number(Seed)})
    {
        QString problem;
        m_host = VOXBusUrl::openBus(m_simulator.portUrl(), &problem);
        if (!m_host)
            qFatal("vox sim: %s", qPrintable(problem));
    }
    ~FarSite() override { m_host.reset(); }

private:
    Simulator m_simulator;
};

/// Stops motors at times of chance, and keeps how long that takes.
class Row : public QObject
{
public:
    Row(const Load &load, std::unique_ptr<Site> site, int stops)
        : m_load(load)
        , m_site(std::move(site))
        , m_scheduler(m_site->host())
        , m_stopsLeft(stops)
    {
        VOXScheduler::Limits limits;
        limits.maxLoadPercent = limits.automaticLoadPercent = 100;
        m_scheduler.setLimits(limits);
        m_clock.start();
        connect(&m_site->host()->dispatcher(), &BusDispatcher::written, this, &Row::handleWritten);
        m_scheduler.setPollSource([this](int *) { return nextPoll(); });
        for (int i = 0; i < MovingCount && m_load.before == Load::Moves; ++i)
            moveOn(First + unsigned(i));
        next();
    }

    bool isDone() const { return m_stopsLeft == 0; }
    bool isInBounds() const { return m_waits.back() <= m_load.most && m_unanswered == 0; }

    void print()
    {
        std::sort(m_waits.begin(), m_waits.end());
        std::sort(m_ends.begin(), m_ends.end());
        std::printf("| %-26s | %4.0f | %4.0f | %4.0f | %4d | %4.0f | %4.0f | %6.1f |\n", m_load.name,
                    part(m_waits, 50), part(m_waits, 99), m_waits.back(), m_load.most, part(m_ends, 50),
                    m_ends.back(), m_polls * MsPerSecond / m_tookMs);
        if (m_unanswered > 0)
            std::printf("  %d stops of it were not acknowledged\n", m_unanswered);
    }

private:
    static double part(const std::vector<double> &sorted, std::size_t percent)
    {
        return sorted.at((sorted.size() - 1) * percent / 100);
    }
    int below(int end) { return static_cast<int>(m_random() % static_cast<unsigned int>(end)); }
    double nowMs() const { return double(m_clock.nsecsElapsed()) / NsPerMs; }
    VOXBus *lane() const { return m_scheduler.lane(VOXScheduler::User); }

    std::optional<VOXCall> nextPoll()
    {
        const int kinds = m_load.withNames ? 3 : 2;
        const unsigned char commands[] = {KVR::GET_MOTOR_POSITION, KVR::GET_MOTOR_STATUS,
                                          KVR::GET_NODE_LABEL};
        const int turn = m_polls++;
        if (m_load.before == Load::Moves && turn % 2 == 0)
            return query(KVR::GET_MOTOR_POSITION, turn / 2 % MovingCount);
        return query(commands[turn / NodeCount % kinds], turn % NodeCount);
    }
    static VOXCall query(unsigned char command, int node)
    {
        return VOXCall(KVR::findCmd(command), VOX::HostAddr, First + unsigned(node), 0);
    }

    void next()
    {
        QTimer::singleShot(200 + below(800), Qt::PreciseTimer, this, [this] {
            prepare();
            const int mostMs = m_load.before == Load::Discovery ? 1000 : 300;
            QTimer::singleShot(below(mostMs), Qt::PreciseTimer, this, [this] { stop(); });
        });
    }

    void prepare()
    {
        if (m_load.before == Load::GroupMove)
            KVRGroupProxy(Group, lane()).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, nextTarget());
        else if (m_load.before == Load::Discovery)
            BusObject(lane(), nullptr)
                .call(VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST, 300));
    }

    quint16 nextTarget() { return m_stopsLeft % 2 == 0 ? 100 : 0; }
    void moveOn(VOX::Addr node)
    {
        KVRMotorProxy(node, lane()).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, nextTarget());
    }

    void stop()
    {
        const int count = m_load.before == Load::Moves ? MovingCount : NodeCount - m_load.deadCount;
        m_stopped = First + unsigned(below(count));
        m_askedMs = nowMs();
        m_isWaiting = true;
        KVRMotorProxy(m_stopped, lane()).ctrlStop().onFinished(this, [this](const BusPendingCall &call) {
            handleStopped(call);
        });
    }

    void handleWritten(const QByteArray &frame)
    {
        const VOXMessage message{BusMessage(frame)};
        if (m_isWaiting && message.cmd() == KVR::CTRL_STOP) {
            m_isWaiting = false;
            m_waits.push_back(nowMs() - m_askedMs);
        }
    }

    void handleStopped(const BusPendingCall &call)
    {
        m_ends.push_back(nowMs() - m_askedMs);
        if (call.isError() || !KVR::isAck(VOXMessage(call.reply())))
            ++m_unanswered;
        if (m_load.before == Load::Moves)
            moveOn(m_stopped);
        if (--m_stopsLeft > 0)
            next();
        else
            finish();
    }

    void finish()
    {
        m_tookMs = nowMs();
        m_scheduler.setPollSource(nullptr);
    }

    const Load &m_load;
    std::unique_ptr<Site> m_site;
    VOXScheduler m_scheduler;
    std::minstd_rand m_random{Seed};
    QElapsedTimer m_clock;
    int m_polls = 0;
    int m_stopsLeft;
    VOX::Addr m_stopped = 0;
    double m_askedMs = 0;
    bool m_isWaiting = false;
    int m_unanswered = 0;
    double m_tookMs = 0;
    std::vector<double> m_waits;
    std::vector<double> m_ends;
};
}

int main(int argc, char *argv[])
{
    const bool isReal = argc > 1 && QByteArray(argv[1]) == "--real";
    const auto virtualTime = isReal ? nullptr : std::make_unique<VOXVirtualTime>();
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus=false"));
    const int stops = isReal ? RealStops : VirtualStops;
    std::printf(
        "%d stops of one of %d motors on a full line of 4800 bit/s, in %s time; milliseconds\n"
        "| %-26s | Sent: median | p99 | worst | at most | Acknowledged: median | worst | Polls a second |\n",
        stops, NodeCount, isReal ? "real" : "virtual", "Line");
    std::vector<std::unique_ptr<Row>> rows;
    for (const Load &load : loads) {
        std::unique_ptr<Site> site;
        if (isReal)
            site = std::make_unique<FarSite>(load);
        else
            site = std::make_unique<NearSite>(load);
        rows.push_back(std::make_unique<Row>(load, std::move(site), stops));
    }
    const auto isDone = [](const std::unique_ptr<Row> &row) { return row->isDone(); };
    while (!std::all_of(rows.cbegin(), rows.cend(), isDone))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    bool isGood = true;
    for (const auto &row : rows) {
        row->print();
        isGood = row->isInBounds() && isGood;
    }
    return isGood || isReal ? 0 : 1;
}

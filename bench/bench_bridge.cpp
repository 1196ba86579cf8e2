// How long a stop from a broker waits in `vox bridge`, on a line that polls fill: from its publication to the
// first byte on the line, broker included. And whether stops get through while others flood the bridge with
// commands.
//
// Starts a mosquitto and a bridge of its own; in about two minutes. Says nothing where mosquitto is missing.

#include "messages/kvr.h"
#include "simulation/voxsimulation.h"
#include "support/ptyline.h"
#include "transport/voxbus.h"
#include "vox/bridge/mqttlink.h"
#include "vox/line/lineitem.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QLoggingCategory>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

namespace {
constexpr VOX::Addr First = 0x000101;
constexpr int NodeCount = 60;
constexpr int LeastTurnMs = 5;
constexpr int Stops = 200;
constexpr int FloodMs = 10000;
constexpr int FloodPerMs = 10;
constexpr double NsPerMs = 1000000;
/// What a query and its answer take at most, and what the bridge may take.
constexpr int MostMs = 113 + 10;
const QString BrokerProgram = QStringLiteral("/usr/sbin/mosquitto");

void run(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

QByteArray topicOf(VOX::Addr addr)
{
    return "vox/line/" + VOX::toString(addr).toLatin1() + "/set";
}

/// A line with its nodes, the bridge of it, and who commands that.
class Site
{
public:
    Site();
    ~Site();
    Q_DISABLE_COPY_MOVE(Site)

    bool start();
    void send(VOX::Addr addr, const QByteArray &payload, int qos)
    {
        m_client->send({topicOf(addr), payload, qos, false, {}, {}});
    }
    /// Milliseconds from the publication of a stop to its first byte on the line; -1 if it never comes.
    double stop(VOX::Addr addr);
    int stopsHeard(VOX::Addr addr) const { return m_stops.value(addr); }
    int frames() const { return m_frames; }

private:
    void note(const QByteArray &bytes);

    QTemporaryDir m_folder;
    PtyLine m_line{LeastTurnMs};
    VOXBus m_nodes{m_line.takeNodesEnd()};
    VOXSimulation m_simulation;
    QProcess m_broker;
    QProcess m_bridge;
    std::unique_ptr<MqttLink> m_client;
    QElapsedTimer m_clock;
    QByteArray m_heard;
    QHash<VOX::Addr, int> m_stops;
    QHash<VOX::Addr, qint64> m_stoppedNs;
    int m_frames = 0;
};

Site::Site()
{
    m_clock.start();
    m_nodes.open();
    for (VOX::Addr addr = First; addr < First + NodeCount; ++addr)
        m_simulation.add(QStringLiteral("TB20"), addr);
    m_simulation.attach(&m_nodes);
    m_line.onHostBytes = [this](const QByteArray &bytes) { note(bytes); };
}

Site::~Site()
{
    m_bridge.kill();
    m_broker.kill();
    m_bridge.waitForFinished();
    m_broker.waitForFinished();
}

/// Bytes come as the bridge writes them, a frame at a time.
void Site::note(const QByteArray &bytes)
{
    const VOXMessage frame = LineItem::of(bytes, 0).frame;
    ++m_frames;
    if (frame.cmd() != KVR::CTRL_STOP)
        return;
    ++m_stops[frame.destAddr(false)];
    m_stoppedNs.insert(frame.destAddr(false), m_clock.nsecsElapsed());
}

bool Site::start()
{
    QTcpServer finder;
    finder.listen(QHostAddress::LocalHost);
    const quint16 port = finder.serverPort();
    finder.close();
    QFile conf(m_folder.filePath(QStringLiteral("conf")));
    conf.open(QIODevice::WriteOnly);
    conf.write("user root\nallow_anonymous true\npersistence false\nlistener " + QByteArray::number(port)
               + " 127.0.0.1\n");
    conf.close();
    m_broker.setStandardErrorFile(QProcess::nullDevice());
    m_broker.start(BrokerProgram, {QStringLiteral("-c"), conf.fileName()});
    run(300);
    QFile site(m_folder.filePath(QStringLiteral("site.json")));
    site.open(QIODevice::WriteOnly);
    site.write(
        "{\"name\": \"bench\", \"mqtt\": {\"url\": \"mqtt://127.0.0.1:" + QByteArray::number(port)
        + "\"}, \"lines\": [{\"name\": \"line\", \"bus\": \"serial://" + m_line.portName().toUtf8()
        + "\", \"nodes\": [\"000101-00013C\"], \"poll\": {\"position\": 5, \"status\": 5, \"maxLoad\": "
          "100}}]}");
    site.close();
    m_bridge.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_bridge.start(QStringLiteral(VOX_PROGRAM),
                   {QStringLiteral("bridge"), QStringLiteral("--config"), site.fileName()});
    MqttLink::Options options;
    options.url.host = QStringLiteral("127.0.0.1");
    options.url.port = port;
    options.clientId = "bench";
    m_client = std::make_unique<MqttLink>(options);
    m_client->start();
    for (int i = 0; i < 900 && !m_bridge.canReadLine(); ++i)
        run(100);
    const bool isReady = m_bridge.readLine().startsWith("ready");
    // Names and settings have been read by then.
    run(40000);
    return isReady && m_client->isConnected();
}

double Site::stop(VOX::Addr addr)
{
    m_stoppedNs.remove(addr);
    const qint64 sentNs = m_clock.nsecsElapsed();
    send(addr, "STOP", 1);
    for (int i = 0; i < 1000 && !m_stoppedNs.contains(addr); ++i)
        run(1);
    return m_stoppedNs.contains(addr) ? static_cast<double>(m_stoppedNs.value(addr) - sentNs) / NsPerMs : -1;
}

bool single(Site &site)
{
    std::minstd_rand random(1);
    std::vector<double> waits;
    for (int i = 0; i < Stops; ++i) {
        run(200 + static_cast<int>(random() % 200));
        waits.push_back(site.stop(First + random() % NodeCount));
    }
    std::sort(waits.begin(), waits.end());
    const double p99 = waits[Stops * 99 / 100 - 1];
    std::printf("%d stops while all are polled: median %.0f ms, 99 %% %.0f ms, worst %.0f ms; wanted %d ms "
                "at 99 %%\n",
                Stops, waits[Stops / 2], p99, waits.back(), MostMs);
    return waits.front() >= 0 && p99 <= MostMs;
}

bool flooded(Site &site)
{
    const VOX::Addr stopped = First + NodeCount - 1;
    const int before = site.stopsHeard(stopped);
    const int framesBefore = site.frames();
    qint64 sent = 0;
    double worst = 0;
    QElapsedTimer clock;
    clock.start();
    QTimer flood;
    QObject::connect(&flood, &QTimer::timeout, [&] {
        for (; sent < clock.elapsed() * FloodPerMs; ++sent)
            site.send(First + static_cast<VOX::Addr>(sent % (NodeCount - 1)),
                      "{\"position\":" + QByteArray::number(sent / 7 % 99 + 1) + '}', 0);
    });
    flood.start(1);
    int lost = 0;
    for (int i = 0; i < FloodMs / 1000; ++i) {
        run(std::max(0, static_cast<int>(1000 * i + 500 - clock.elapsed())));
        const double wait = site.stop(stopped);
        lost += wait < 0 ? 1 : 0;
        worst = std::max(worst, wait);
    }
    run(std::max(0, static_cast<int>(FloodMs - clock.elapsed())));
    flood.stop();
    std::printf(
        "%lld commands in %.1f s: %d of %d stops on the line, the latest after %.0f ms; %d frames in all\n",
        static_cast<long long>(sent), static_cast<double>(clock.elapsed()) / 1000, FloodMs / 1000 - lost,
        FloodMs / 1000, worst, site.frames() - framesBefore);
    return lost == 0 && site.stopsHeard(stopped) >= before + FloodMs / 1000;
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus=false"));
    if (!MqttLink::isAvailable() || !QFile::exists(BrokerProgram)) {
        std::puts("bench_bridge needs mosquitto and libmosquitto-dev");
        return 0;
    }
    Site site;
    if (!site.start()) {
        std::puts("bench_bridge: the bridge is not ready");
        return 1;
    }
    const bool isSoon = single(site);
    const bool isAll = flooded(site);
    return isSoon && isAll ? 0 : 1;
}

#include "devices/kvrdevice.h"
#include "framework/busdispatcher.h"
#include "framework/busobject.h"
#include "proxies/kvrbcastproxy.h"
#include "support/frames.h"
#include "support/udppair.h"
#include "support/watching.h"
#include "transport/voxmcastbus.h"
#include "vox/host/discovery.h"

#include <QtTest>
#include <QUdpSocket>

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/// A line that many share.
class tst_VOXMCastBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void membersHearEachOther();
    void badDatagrams_data();
    void badDatagrams();
    void fullListOfSentFrames();
    void closingAndOpening();
    void withoutARoute();
    void processesShareALine();
    void manyNodesAnswerADiscovery_data();
    void manyNodesAnswerADiscovery();
};

namespace {
const QHostAddress Group("239.255.71.13");
const VOXMessage first = frame("02 FF", 0x123456);
const VOXMessage second = frame("03 00 3412 FF", 0x123456, VOXMessage::CrcFlag);

struct Member
{
    VOXMCastBus bus;
    QByteArrayList frames;

    explicit Member(unsigned short port)
        : bus(Group, port)
    {
        QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &bus,
                         [this](const BusMessage &message) { frames.append(message.data()); });
    }
};

struct Line
{
    unsigned short port = freeUdpPorts().first;
    Member one{port}, two{port}, three{port};

    /// Empty if all is heard by all but its sender.
    QByteArray mismatch()
    {
        const auto ask = [](Member &member, const VOXMessage &message) {
            BusObject(&member.bus, nullptr).reply(message);
        };
        ask(one, first);
        ask(two, second);
        const QByteArrayList both = {first.data(), second.data()};
        if (!waitFor([&] { return three.frames.size() >= 2; }) || three.frames != both)
            return "the third hears " + three.frames.join(' ').toHex();
        // What anybody hears of itself has come by now.
        if (one.frames != QByteArrayList{second.data()} || two.frames != QByteArrayList{first.data()})
            return "the first hears " + one.frames.join(' ').toHex();
        return QByteArray();
    }
};

QByteArray inverted(QByteArray line)
{
    for (int i = 0; i < line.size() - VOXMessage::CheckLength; ++i)
        line[i] = static_cast<char>(~line.at(i));
    return line;
}
}

void tst_VOXMCastBus::membersHearEachOther()
{
    Line line;
    const QByteArray mismatch = line.mismatch();
    QVERIFY2(mismatch.isEmpty(), mismatch);
    QVERIFY(line.one.bus.isJoined());
    for (const int size : {10, 32}) {
        QTest::ignoreMessage(
            QtWarningMsg, qPrintable(QString("[VOXBus]: not sending corrupted message (len=%1)").arg(size)));
        QCOMPARE(line.one.bus.write(QByteArray(size, 'x')), -1);
    }
}

void tst_VOXMCastBus::badDatagrams_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("warning");
    QByteArray damaged = line(first);
    damaged[9] = damaged.at(9) ^ 1;
    QTest::newRow("empty") << QByteArray() << "[VOXMCastBus]: wrong datagram size 0 != 0";
    QTest::newRow("a byte") << QByteArray("\xf4") << "[VOXMCastBus]: wrong datagram size 0 != 1";
    QTest::newRow("two frames") << line(first) + line(second)
                                << "[VOXMCastBus]: wrong datagram size 12 != 27";
    QTest::newRow("a cut frame") << line(first).chopped(1) << "[VOXMCastBus]: wrong datagram size 12 != 11";
    QTest::newRow("a length below 11")
        << QByteArray("\xff\xf7xxxxxx") << "[VOXMCastBus]: wrong datagram size 8 != 8";
    QTest::newRow("a wrong check value") << damaged << "Wrong CRC: ";
}

void tst_VOXMCastBus::badDatagrams()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, warning);
    const WarningLog log;
    Member member(freeUdpPorts().first);
    QUdpSocket stranger;
    const auto port = static_cast<const QUdpSocket *>(member.bus.device())->localPort();
    stranger.writeDatagram(datagram, Group, port);
    stranger.writeDatagram(line(first), Group, port);
    QTRY_COMPARE(member.frames, QByteArrayList{first.data()});
    QVERIFY2(log.texts().value(0).startsWith(warning), qPrintable(log.texts().value(0)));
}

void tst_VOXMCastBus::fullListOfSentFrames()
{
    const WarningLog log;
    Line line;
    const auto send = [&](int number) {
        line.one.bus.write(frame("55 " + QByteArray::number(number), 1).data());
    };
    for (int number = 10; number < 20; ++number)
        send(number);
    QCOMPARE(log.texts(), QStringList());
    send(20);
    send(21);
    const QString warning("[VOXBus]: sent messages list overflowing");
    QCOMPARE(log.texts(), (QStringList{warning, warning}));
    // The newest has taken the place of the tenth: the two that are forgotten come back as if from others.
    QTRY_COMPARE(line.two.frames.size(), 12);
    QTRY_COMPARE(line.one.frames, (QByteArrayList{frame("55 19", 1).data(), frame("55 20", 1).data()}));
}

void tst_VOXMCastBus::closingAndOpening()
{
    Line line;
    QSignalSpy changes(&line.one.bus, &VOXBus::openChanged);
    line.one.bus.close();
    QVERIFY(!line.one.bus.isOpen() && line.one.bus.isJoined() && line.one.bus.write(first.data()) == -2);
    QVERIFY(line.one.bus.open() && line.one.bus.open() && line.one.bus.isOpen());
    QCOMPARE(changes, (QList<QVariantList>{{false}, {true}}));
    const QByteArray mismatch = line.mismatch();
    QVERIFY2(mismatch.isEmpty(), mismatch);
}

void tst_VOXMCastBus::withoutARoute()
{
    const int home = ::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    if (home < 0 || ::unshare(CLONE_NEWNET) != 0) {
        ::close(home);
        // Any other machine without privileges: the group on an address that has no route is all there is.
        VOXMCastBus bus(Group, freeUdpPorts().first, QString(), QHostAddress::LocalHost);
        qInfo("run: with a route (no network namespace may be made here)");
        QVERIFY(bus.isJoined());
        return;
    }
    qInfo("run: in a network namespace with nothing but a loopback interface");
    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    qstrncpy(request.ifr_name, "lo", sizeof request.ifr_name);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const bool isUp = ::ioctl(control, SIOCSIFFLAGS, &request) == 0;
    ::close(control);
    QByteArray mismatch("the loopback interface cannot be brought up");
    QStringList warnings;
    if (isUp) {
        const WarningLog log;
        Line line;
        mismatch = line.mismatch();
        warnings = log.texts();
    }
    const bool isBack = ::setns(home, CLONE_NEWNET) == 0;
    ::close(home);
    QVERIFY(isBack);
    QVERIFY2(mismatch.isEmpty(), mismatch);
    QCOMPARE(warnings.size(), 3);
    QVERIFY(warnings.constFirst().startsWith(
        "[VOXMCastBus]: failed to join MCast group, joining on loopback device: "));
}

namespace {
/// A simulation in a process of its own, and what it logs of the line.
struct Simulator
{
    QProcess process;
    QByteArrayList written;
    QByteArrayList read;

    Simulator(const QString &url, const QString &node)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_LOGGING_RULES", "vox.bus.debug=true");
        process.setProcessEnvironment(environment);
        process.start(VOX_PROGRAM, {"sim", "--bus", url, "--node", node});
    }
    bool isReady()
    {
        return process.waitForReadyRead(10000) && process.readAllStandardOutput().startsWith("ready");
    }
    void stop()
    {
        process.terminate();
        process.waitForFinished(10000);
        for (const QByteArray &entry : process.readAllStandardError().split('\n')) {
            const QByteArray bytes =
                QByteArray::fromHex(entry.mid(entry.indexOf(") : ") + 4).split(' ').value(0));
            if (entry.contains("Frame (write)"))
                written += inverted(bytes);
            else if (entry.contains("Frame (Read)"))
                read += bytes;
        }
    }
};
}

void tst_VOXMCastBus::processesShareALine()
{
    const unsigned short port = freeUdpPorts().first;
    const QString url = QString("mcast://%1:%2").arg(Group.toString()).arg(port);
    Simulator left(url + "?alias=left", "NODE@000001");
    Simulator right(url + "?alias=right", "TB20@000002");
    QVERIFY(left.isReady() && right.isReady());
    Member host(port);
    const BusPendingCall discovery = discoverNodes(host.bus);
    QVERIFY(discovery.waitForFinished(10000));
    QCOMPARE(discoveredAddrs(discovery), (QVector<unsigned int>{0x000001, 0x02000002}));
    left.stop();
    right.stop();
    // The host's request, and what the other has answered; and nothing of its own.
    QVERIFY(left.written.size() == 1 && right.written.size() == 1);
    QVERIFY(left.read.size() == 2 && left.read.contains(right.written.constFirst()));
    QVERIFY(right.read.size() == 2 && right.read.contains(left.written.constFirst()));
    QCOMPARE(host.frames, QByteArrayList());
}

void tst_VOXMCastBus::manyNodesAnswerADiscovery_data()
{
    QTest::addColumn<bool>("isMulticast");
    QTest::newRow("over UDP") << false;
    QTest::newRow("over multicast") << true;
}

void tst_VOXMCastBus::manyNodesAnswerADiscovery()
{
    QFETCH(bool, isMulticast);
    constexpr unsigned int NodeCount = 200;
    const auto ports = freeUdpPorts();
    const auto makeBus = [&](unsigned short own, unsigned short peer) -> VOXBus * {
        if (isMulticast)
            return new VOXMCastBus(Group, ports.first);
        return new VOXUdpBus(QHostAddress::LocalHost, peer, QHostAddress::LocalHost, own);
    };
    const WarningLog quiet;
    const std::unique_ptr<VOXBus> host(makeBus(ports.first, ports.second));
    const std::unique_ptr<VOXBus> network(makeBus(ports.second, ports.first));
    std::vector<std::unique_ptr<KVRDevice>> nodes;
    for (unsigned int i = 0; i < NodeCount; ++i)
        nodes.push_back(std::make_unique<KVRDevice>(0x100 + i, network.get()));
    const BusPendingCall discovery = discoverNodes(*host);
    QVERIFY(discovery.waitForFinished(10000));
    QVector<unsigned int> addrs = discoveredAddrs(discovery);
    addrs.erase(std::unique(addrs.begin(), addrs.end()), addrs.end());
    QCOMPARE(addrs.size(), int(NodeCount));
    // Plain nodes refuse what motors obey, asked or not.
    const BusPendingCall wink = KVRBCastProxy(host.get()).ctrlWink();
    QVERIFY(wink.waitForFinished(10000) && !wink.isError());
    QCOMPARE(wink.replies().size(), int(NodeCount));
}

QTEST_GUILESS_MAIN(tst_VOXMCastBus)
#include "tst_voxmcastbus.moc"

#include "framework/busobject.h"
#include "support/columns.h"
#include "support/receivers.h"
#include "support/watching.h"
#include "transport/voxmcastbus.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
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
    void aLoopInsideADelivery();
    void closingAndOpening();
    void withoutARoute();
};

namespace {
const QHostAddress Group("239.255.71.13");

struct Member
{
    unsigned short port = freeUdpPorts().first;
    VOXMCastBus bus{Group, port};
    Heard frames{bus};
};

struct Line
{
    Member one, two{one.port}, three{one.port};

    /// Empty if all is heard by all but its sender.
    QByteArray mismatch()
    {
        BusObject(&one.bus, nullptr).reply(first);
        BusObject(&two.bus, nullptr).reply(second);
        const QByteArrayList both = {first.data(), second.data()};
        if (!waitFor([&] { return three.frames.size() >= 2; }) || three.frames != both)
            return "the third hears " + three.frames.join(' ').toHex();
        // What anybody hears of itself has come by now.
        if (one.frames != QByteArrayList{second.data()} || two.frames != QByteArrayList{first.data()})
            return "the first hears " + one.frames.join(' ').toHex();
        return QByteArray();
    }
};
}

void tst_VOXMCastBus::membersHearEachOther()
{
    Line line;
    QCOMPARE(line.mismatch(), QByteArray());
    QVERIFY(line.one.bus.isJoined());
    const WarningLog log;
    QCOMPARE(line.one.bus.write(QByteArray(10, 'x')) + line.one.bus.write(QByteArray(32, 'x')), -2);
    QCOMPARE(log.texts().value(0), QString("[VOXBus]: not sending corrupted message (len=10)"));
}

void tst_VOXMCastBus::badDatagrams_data()
{
    const auto row = columns<QByteArray, QString>("datagram", "warning");
    const QString wrongSize("[VOXMCastBus]: wrong datagram size %1 != %2");
    const QString tooShort("[VOXMCastBus]: datagram too short for a frame (len=%1)");
    row("empty", "", tooShort.arg(0));
    row("a byte", "\xf4", wrongSize.arg(0).arg(1));
    row("two frames", line(first) + line(second), wrongSize.arg(12).arg(27));
    row("a cut frame", line(first).chopped(1), wrongSize.arg(12).arg(11));
    row("a length below 11", "\xff\xf7xxxxxx", tooShort.arg(8));
    row("a wrong check value", line(first).chopped(1) + '\0', "Wrong CRC: ");
}

void tst_VOXMCastBus::badDatagrams()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, warning);
    const WarningLog log;
    Member member;
    QUdpSocket stranger;
    stranger.writeDatagram(datagram, Group, member.port);
    stranger.writeDatagram(line(first), Group, member.port);
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

void tst_VOXMCastBus::aLoopInsideADelivery()
{
    Line line;
    waitInsideADelivery(line.two.bus, line.two.frames, [&] { line.one.bus.write(second.data()); });
    for (int sent = 1; sent < 4; ++sent) {
        line.one.bus.write(first.data());
        QTRY_COMPARE(line.two.frames.size(), sent + 1);
    }
}

void tst_VOXMCastBus::closingAndOpening()
{
    Line line;
    QSignalSpy changes(&line.one.bus, &VOXBus::openChanged);
    // Its echo never comes, so the equal frame of another is not taken for it.
    QCOMPARE(line.one.bus.write(first.data()), 0);
    line.one.bus.close();
    QVERIFY(!line.one.bus.isOpen() && line.one.bus.isJoined() && line.one.bus.write(first.data()) == -2);
    QVERIFY(line.one.bus.open() && line.one.bus.open() && line.one.bus.isOpen());
    QCOMPARE(changes, (QList<QVariantList>{{false}, {true}}));
    for (Member *member : {&line.two, &line.three}) {
        QTRY_COMPARE(member->frames, QByteArrayList{first.data()});
        member->frames.clear();
    }
    QCOMPARE(line.two.bus.write(first.data()), 0);
    QTRY_COMPARE(line.one.frames, QByteArrayList{first.data()});
    QTRY_COMPARE(line.three.frames, QByteArrayList{first.data()});
    for (Member *member : {&line.one, &line.two, &line.three})
        member->frames.clear();
    QCOMPARE(line.mismatch(), QByteArray());
}

void tst_VOXMCastBus::withoutARoute()
{
    bool isAlone = false;
    QByteArray mismatch;
    QStringList warnings;
    // A thread that leaves the network of the others, for one with nothing but a loopback interface.
    std::thread([&] {
        if (::unshare(CLONE_NEWNET) != 0)
            return;
        const QEventLoop forSockets;
        const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq request{};
        qstrncpy(request.ifr_name, "lo", sizeof request.ifr_name);
        request.ifr_flags = IFF_UP | IFF_RUNNING;
        isAlone = ::ioctl(control, SIOCSIFFLAGS, &request) == 0;
        ::close(control);
        const WarningLog log;
        mismatch = Line().mismatch();
        warnings = log.texts();
    }).join();
    if (!isAlone)
        QSKIP("no network namespace may be made here");
    QCOMPARE(mismatch, QByteArray());
    QCOMPARE(warnings.size(), 3);
    QVERIFY(warnings.constFirst().startsWith(
        "[VOXMCastBus]: failed to join MCast group, joining on loopback device: "));
}

QTEST_GUILESS_MAIN(tst_VOXMCastBus)
#include "tst_voxmcastbus.moc"

#include "framework/busobject.h"
#include "support/columns.h"
#include "support/receivers.h"
#include "support/recordingbus.h"
#include "support/timers.h"
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
    void badDatagrams();
    void fullListOfSentFrames();
    void aLoopInsideADelivery();
    void framesAreLogged();
    void closingAndOpening();
    void anOpenThatFails();
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
        BusObject(&one.bus, nullptr).reply(first);
        BusObject(&two.bus, nullptr).reply(second);
        const QByteArrayList ofOne = {first.data(), first.data()}, ofTwo = {second.data()};
        if (!waitFor([&] { return three.frames.size() >= 3; }) || three.frames != ofOne + ofTwo)
            return "the third hears " + three.frames.join(' ').toHex();
        // What anybody hears of itself has come by now.
        if (one.frames != ofTwo || two.frames != ofOne)
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
    // Its calls wait for nothing, and have a millisecond more.
    BusObject host(&line.one.bus, nullptr);
    for (const int cmd : {0x50, 0x51})
        QVERIFY(host.call(order(cmd)).isFinished());
    QCOMPARE(intervalsOf(dataOf(host.call(query(0x40)))), QList<int>{5001});
}

void tst_VOXMCastBus::badDatagrams()
{
    const auto row = [&](const char *name, const QByteArray &datagram, const QString &warning, bool isTaken) {
        const WarningLog log;
        Member member;
        QUdpSocket stranger;
        stranger.writeDatagram(datagram, Group, member.port);
        {
            const QSignalBlocker blocker(member.bus.findChild<QIODevice *>());
            QTRY_VERIFY(member.bus.hasInput());
            QCOMPARE(list(name, member.bus.processData()), list(name, isTaken));
        }
        stranger.writeDatagram(line(first), Group, member.port);
        QTRY_COMPARE(member.frames, QByteArrayList{first.data()});
        QCOMPARE(list(name, log.texts().value(0).left(warning.size())), list(name, warning));
    };
    const QString wrongSize("[VOXMCastBus]: wrong datagram size %1 != %2");
    const QString tooShort("[VOXMCastBus]: datagram too short for a frame (len=%1)");
    row("empty", "", tooShort.arg(0), false);
    row("a byte", "\xf4", wrongSize.arg(0).arg(1), false);
    row("two frames", line(first) + line(second), wrongSize.arg(12).arg(27), false);
    row("a cut frame", line(first).chopped(1), wrongSize.arg(12).arg(11), false);
    row("a length below 11", "\xff\xf7xxxxxx", tooShort.arg(8), false);
    row("a wrong check value", line(first).chopped(1) + '\0', "Wrong CRC: ", true);
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

void tst_VOXMCastBus::framesAreLogged()
{
    const unsigned short port = freeUdpPorts().first;
    VOXMCastBus one(Group, port, "one", Group), two(Group, port, "two", Group);
    const Heard frames(two);
    const WarningLog log(QtDebugMsg);
    one.write(first.data());
    QTRY_COMPARE(frames.size(), 1);
    QVERIFY(!two.processData());
    const QStringList texts = log.texts();
    const QString form("[VOXMCastBus]: Frame (%1) : %2 VOXMCastBus alias %3");
    QCOMPARE(texts.value(0), form.arg("write", "FDF30FFFFFFEA9CBED00075C", "one"));
    const QString heard = texts.filter("alias : two").value(0);
    const QString start = form.arg("Read", "020CF0000001563412FF075C", ": two sender : ");
    const QString end = QString(" %1").arg(port);
    QCOMPARE(list(heard.left(start.size()), heard.right(end.size())), list(start, end));
    QCOMPARE(texts.constLast(),
             "-----VOXMCastBus::processData, No Pending datagrams on  \"two\" sender : QObject(0x0)");
}

void tst_VOXMCastBus::closingAndOpening()
{
    Line line;
    QSignalSpy changes(&line.one.bus, &VOXBus::openChanged);
    // Its echo never comes, so the equal frame of another is not taken for it.
    QCOMPARE(line.one.bus.write(first.data()), 0);
    line.one.bus.close();
    QCOMPARE(list(line.one.bus.isOpen(), line.one.bus.isJoined(), line.one.bus.write(first.data())),
             list(false, true, -2));
    QCOMPARE(InOrder({line.one.bus.open(), line.one.bus.open(), line.one.bus.isOpen()}),
             InOrder({true, true, true}));
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
    // What could not be sent has no echo.
    line.two.bus.write(first.data());
    QTRY_COMPARE(line.one.frames, (QByteArrayList{second.data(), first.data()}));
}

void tst_VOXMCastBus::anOpenThatFails()
{
    VOXMCastBus bus(Group, freeUdpPorts().first, QString(), Group);
    const auto &socket = static_cast<const QUdpSocket &>(*bus.device());
    QCOMPARE(socket.localAddress(), Group);
    const unsigned short port = socket.localPort();
    bus.close();
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress(QHostAddress::AnyIPv4), port, QUdpSocket::DontShareAddress));
    const WarningLog log;
    QCOMPARE(InOrder({bus.open(), bus.isOpen(), bus.isJoined()}), InOrder({false, false, true}));
    // It tries to join all the same, and has been a member.
    const QString used("The bound address is already in use"),
        join("[VOXMCastBus]: failed to join MCast group");
    QCOMPARE(log.texts().filter("[VOXMCastBus]: "),
             (QStringList{"[VOXMCastBus]: failed to bind socket " + used,
                          join + ", joining on loopback device: " + used, join + " on loopback device"}));
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

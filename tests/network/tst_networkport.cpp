#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "network/voxnetwork.h"
#include "support/columns.h"
#include "support/ptyport.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"

#include <QtTest>

/// A network on a port of the system, in real time.
class tst_NetworkPort : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isOpenedAgain();
};

namespace {
constexpr VOX::Addr Addr = 0x101;
/// It is every 2 s, on a machine that has other work.
constexpr int ReopenMs = 10000;
}

// The adapter is not there at first, then it is, then somebody pulls it out, and plugs it in again.
void tst_NetworkPort::isOpenedAgain()
{
    QLoggingCategory::setFilterRules("vox.*=false");
    const QTemporaryDir folder;
    const QString name = folder.filePath("adapter");
    VOXBusUrl url;
    QString problem;
    QVERIFY2(VOXBusUrl::read("serial://" + name, &url, &problem), qPrintable(problem));
    VOXNetwork network(url);
    QVector<int> lines;
    connect(&network, &VOXNetwork::lineChanged, this, [&](VOXNetwork::Line line) {
        lines += line;
        problem = network.lineProblem();
    });
    QVERIFY2(network.lineProblem().contains("It is opened again every 2 s."),
             qPrintable(network.lineProblem()));
    VOXNetworkMotor *const motor = qobject_cast<VOXNetworkMotor *>(network.add(Addr));
    QByteArray written;
    connect(&network.scheduler().bus()->dispatcher(), &BusDispatcher::written, this,
            [&](const QByteArray &frame) { written += frame.left(1); });

    for (const int percent : {0, 100}) {
        auto *const wire = new PipeDevice;
        VOXBus nodes(wire);
        nodes.open();
        TB60LVStub device(Addr, &nodes);
        device.setLimits(0, 10000);
        device.setPositionPulses(static_cast<unsigned short>(percent * 100));
        written.clear();
        PtyPort port(*wire);
        QVERIFY(!port.name.isEmpty());
        QVERIFY(QFile::link(port.name, name));
        QTRY_COMPARE_WITH_TIMEOUT(network.line(), VOXNetwork::Open, ReopenMs);
        QTRY_VERIFY_WITH_TIMEOUT(motor->percent() == percent, 5000);
        // What may have changed meanwhile is read first.
        QCOMPARE(written.left(2), QByteArray("\x0e\x0c"));
        const VOXMotion *const motion = motor->moveTo(50);
        QTRY_VERIFY(motor->isMoving());
        QVERIFY(!motion->isFinished());
        VOXMotion::End end = VOXMotion::Running;
        connect(motion, &VOXMotion::finished, this, [&](VOXMotion *ended) { end = ended->end(); });
        // First, as another program may get the number of this pseudo-terminal at once.
        QFile::remove(name);
        port.unplug();
        QTRY_COMPARE_WITH_TIMEOUT(network.line(), VOXNetwork::Closed, 5000);
        QTRY_COMPARE(end, VOXMotion::NoAnswer);
        QVERIFY2(problem.contains("has gone"), qPrintable(problem));
    }
    QTRY_COMPARE(lines,
                 QVector<int>({VOXNetwork::Open, VOXNetwork::Closed, VOXNetwork::Open, VOXNetwork::Closed}));
}

QTEST_GUILESS_MAIN(tst_NetworkPort)
#include "tst_networkport.moc"

#include "devices/tb60lvstub.h"
#include "network/voxnetwork.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "transport/voxbus.h"

#include <QtTest>

static const VOXVirtualTime virtualTime;

/// How soon a motor that was commanded is asked where it is, while the line is full of other questions.
class tst_ReadBack : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.*=false"); }
    void afterACommand_data();
    void afterACommand();
};

void tst_ReadBack::afterACommand_data()
{
    const auto row = columns<int>("afterMs");
    row("at once", 100);
    row("while the first values are read", 3000);
    row("later while the first values are read", 7000);
    row("while names are read", 20000);
    row("while settings are read", 60000);
    row("later", 150000);
    row("once all has been read", 600000);
}

void tst_ReadBack::afterACommand()
{
    QFETCH(int, afterMs);
    VOXLine line;
    VOXSimulation simulation;
    simulation.attach(line.addBus(&line));
    VOXBus *const host = line.addBus(&line);
    VOXNetwork network(host);
    for (VOX::Addr addr = 0x101; addr < 0x101 + 60; ++addr) {
        simulation.add("TB60LV", addr);
        simulation.node<TB60LVStub>(addr)->setLimits(0, 20000);
        simulation.node<TB60LVStub>(addr)->setPositionPulses(0);
        network.add(addr);
    }
    VOXVirtualTime::advance(afterMs);
    KVRMotorDevice *const device = simulation.node<KVRMotorDevice>(0x101);
    const qint64 begin = VOXVirtualTime::now();
    QVector<qint64> asked{0};
    connect(&line, &VOXLine::sent, this, [&](QIODevice *member, const QByteArray &bytes) {
        QByteArray logical = bytes;
        VOXBus::invert(logical.data(), std::size_t(logical.size() - VOXMessage::CheckLength));
        const VOXMessage frame{BusMessage(logical)};
        const bool isValue = frame.cmd() == KVR::GET_MOTOR_STATUS || frame.cmd() == KVR::GET_MOTOR_POSITION;
        if (member == host->device() && frame.destAddr(false) == 0x101 && isValue)
            asked += VOXVirtualTime::now() - begin;
    });
    const VOXMotion *const motion = network.motor(0x101)->moveTo(90);
    QVERIFY(VOXVirtualTime::runUntil([&] { return device->isMoving(); }, 200));
    bool hasEnded = false;
    connect(motion, &VOXMotion::finished, this, [&] { hasEnded = true; });
    QVERIFY(VOXVirtualTime::runUntil([&] { return hasEnded; }, 60000));
    QVERIFY(!device->isMoving());
    QVERIFY2(asked.value(1) <= 1000, QByteArray::number(asked.value(1)));
    for (int i = 2; i < asked.size(); ++i)
        QVERIFY2(asked[i] - asked[i - 1] <= 2600, QByteArray::number(asked[i - 1]));
}

QTEST_GUILESS_MAIN(tst_ReadBack)
#include "tst_readback.moc"

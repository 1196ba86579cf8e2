// A test of a host program, with Qt Test: the motor is emulated, the line has faults, and nothing waits.

#include "keeper.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QtTest>
#include <TB20Stub>
#include <VOXBus>
#include <VOXLine>
#include <VOXSimulation>
#include <VOXVirtualTime>

#include <memory>

// Before the application, which Qt Test makes.
static const VOXVirtualTime virtualTime;

class tst_Keeper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false"); }

    void init()
    {
        // Everything anew for each test. The buses are children of the line.
        m_line = std::make_unique<VOXLine>(4800);
        m_motor = std::make_unique<TB20Stub>(0x000101, m_line->addBus(m_line.get()));
        m_motor->setLimits(0, 2000);
        m_keeper = std::make_unique<Keeper>(0x000101, m_line->addBus(m_line.get()));
    }

    void bringsTheShadeDown()
    {
        QTRY_COMPARE_WITH_TIMEOUT(int(m_motor->positionPulses()), 2000, 60000);
        m_motor->setPositionPulses(500);
        QTRY_COMPARE_WITH_TIMEOUT(int(m_motor->positionPulses()), 2000, 60000);
    }

    void givesAnAlarmWhenTheLineIsCut()
    {
        VOXVirtualTime::advance(10500);
        m_line->setCut(true);
        VOXVirtualTime::advance(2500);
        QVERIFY(!m_keeper->hasAlarm());
        QVERIFY(VOXVirtualTime::runUntil([this] { return m_keeper->hasAlarm(); }, 1000));
        m_line->setCut(false);
        QVERIFY(VOXVirtualTime::runUntil([this] { return !m_keeper->hasAlarm(); }, 2000));
    }

    void worksOnABadLine()
    {
        m_line->setProbability(VOXLine::Corrupted, 0.005);
        for (int hour = 0; hour < 24; ++hour) {
            m_motor->setPositionPulses(500);
            VOXVirtualTime::advance(3600 * 1000);
            QCOMPARE(int(m_motor->positionPulses()), 2000);
            QVERIFY(!m_keeper->hasAlarm());
        }
    }

    void meetsAMotorThatComesAndGoes()
    {
        QString problem;
        VOXSimulation floor;
        QVERIFY2(floor.load(QJsonObject{{"nodes", QJsonArray{kitchen()}}}, &problem), qPrintable(problem));
        QVERIFY2(floor.addFault("away 5000 000102 every 60000", &problem), qPrintable(problem));
        floor.attach(m_line->addBus(m_line.get()));
        m_keeper = std::make_unique<Keeper>(0x000102, m_line->addBus(m_line.get()));
        // It is away, and back, and has been brought down.
        QVERIFY(VOXVirtualTime::runUntil([this] { return m_keeper->hasAlarm(); }, 10000));
        QVERIFY(VOXVirtualTime::runUntil([this] { return !m_keeper->hasAlarm(); }, 10000));
        QTRY_COMPARE_WITH_TIMEOUT(int(floor.node<TB20Stub>(0x000102)->positionPulses()), 2000, 60000);
        QVERIFY(floor.faults().at(0).happened > 0);
    }

private:
    /// As in the files of vox sim.
    static QJsonObject kitchen()
    {
        return {{"model", "TB20"}, {"address", "000102"}, {"limits", QJsonObject{{"up", 0}, {"down", 2000}}}};
    }

    std::unique_ptr<VOXLine> m_line;
    std::unique_ptr<TB20Stub> m_motor;
    std::unique_ptr<Keeper> m_keeper;
};

QTEST_GUILESS_MAIN(tst_Keeper)
#include "main.moc"

#include "devices/marlostub.h"
#include "devices/tb20stub.h"
#include "simulation/voxsimulation.h"
#include "support/columns.h"
#include "support/site.h"

#include <QJsonArray>

/// A simulated network as a test of a host has it.
class tst_VOXSimulation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false"); }
    void mistakesChangeNothing();
    void nodesComeAndGo();
    void stateComesBack();
};

namespace {
const VOXVirtualTime virtualTime;

const QJsonObject network{
    {"bus", "pty:"},
    {"nodes", QJsonArray{QJsonObject{{"model", "MARLO"}, {"address", "000001"}, {"label", "one"}}}},
    {"faults", QJsonArray{"twice 000001"}}};
}

void tst_VOXSimulation::mistakesChangeNothing()
{
    VOXSimulation simulation;
    QVERIFY(simulation.load(network));
    QString problem;
    const QPointer<KVRDevice> node = simulation.node(1);
    QVERIFY(!simulation.load(QJsonObject{{"nodes", QJsonArray{QJsonObject{}}}}, &problem));
    QVERIFY(!simulation.load("/no/such/file", &problem));
    QVERIFY(problem.startsWith("cannot read /no/such/file"));
    QVERIFY(!simulation.add("TB99", 2, &problem));
    QVERIFY(problem.startsWith("unknown model 'TB99'; one of NODE"));
    QVERIFY(!simulation.add("TB20", 1, &problem));
    QVERIFY(!simulation.add("TB20", 0xffffff));
    QVERIFY(!simulation.remove(2));
    QVERIFY(!simulation.setState(
        {{"nodes",
          QJsonObject{{"000001", QJsonObject{{"model", "MARLO"}, {"label", "two"}, {"limits", 7}}}}}},
        &problem));
    QCOMPARE(problem, QString("nodes.000001.limits: is to be an object"));
    for (const VOXFault &fault :
         {VOXFault{VOXFault::Delay, -1}, VOXFault{VOXFault::Cut, 32}, VOXFault{VOXFault::Kind(99)}})
        QVERIFY2(!simulation.addFault(fault, &problem), qPrintable(fault.toString()));
    QVERIFY(!simulation.addFault("drop count 1 count 2", &problem));
    QCOMPARE(problem, QString("'count 2' is too much; one fault has one count"));
    const QPair<const char *, const char *> lines[] = {{"fast", "'fast' is no line; 4800 is, and 4800:5-40"},
                                                       {"4800:5", "'4800:5' is no line"},
                                                       {"4800:40-5", "40-5 ms before an answer: the shorter"},
                                                       {"100", "a line of 100 bit/s; 300 to 115200"}};
    for (const auto &[words, said] : lines)
        QVERIFY2(!simulation.setLine(words, &problem) && problem.startsWith(said), qPrintable(problem));
    QVERIFY(!simulation.removeFault(1));
    QVERIFY(!simulation.setLine(4800, 5, 4));
    QVERIFY(node);
    QVERIFY(node->nodeLabel() == "one");
    QVERIFY(simulation.busUrl() == "pty:");
    QCOMPARE(simulation.addresses(), QVector<VOX::Addr>{1});
    QCOMPARE(simulation.faults().size(), 1);
}

void tst_VOXSimulation::nodesComeAndGo()
{
    Site site;
    QVERIFY(site.simulation.load(network));
    QVERIFY(site.simulation.removeFault(0));
    QVERIFY(site.simulation.node<MarloStub>(1));
    QVERIFY(!site.simulation.node<TB20Stub>(1));
    QCOMPARE(site.ask(1), 1);
    QVERIFY(site.simulation.add("NODE", 2));
    QVERIFY(site.simulation.attach(nullptr));
    QCOMPARE(site.ask(2), 0);
    QVERIFY(site.simulation.attach(site.bus.get()));
    QVERIFY(site.simulation.add("NODE", 3));
    QCOMPARE(site.ask(2) + site.ask(3), 2);
    delete site.simulation.node(3);
    // A node may go, and its simulation, while it serves a request.
    connect(&site.simulation, &VOXSimulation::settingChanged,
            [&](VOX::Addr node) { site.simulation.remove(node); });
    site.feed(line(frame("55 41414141414141414141414141414141", 2)));
    QCOMPARE(site.simulation.addresses(), QVector<VOX::Addr>{1});
    auto *bus = new VOXBus(new PipeDevice);
    QVERIFY(site.simulation.attach(bus));
    delete bus;
    site.simulation.node(1)->dispatch(frame("79 55", 1));
    QVERIFY(site.simulation.attach(site.bus.get()));
    QCOMPARE(site.ask(1), 1);
}

void tst_VOXSimulation::stateComesBack()
{
    VOXSimulation first, second;
    QVERIFY(first.load(network));
    QVERIFY(second.load(network));
    first.node<KVRMotorDevice>(1)->setLimits(0, 5000);
    first.node(1)->setNodeLabel("changed");
    QVERIFY(first.state() != second.state());
    QVERIFY(second.setState(first.state()));
    QCOMPARE(second.state(), first.state());
    second.clear();
    QVERIFY(second.setState(first.state()));
    QVERIFY(second.add("TB20", 1));
    QVERIFY(second.setState(first.state()));
    QVERIFY(second.node(1)->nodeLabel().isEmpty());
}

QTEST_GUILESS_MAIN(tst_VOXSimulation)
#include "tst_voxsimulation.moc"

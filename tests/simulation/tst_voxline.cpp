#include "devices/tb60lvstub.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/timers.h"
#include "transport/voxbus.h"

/// A line in memory: who hears what, and when.
class tst_VOXLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus.debug=false"); }
    void plays_data();
    void plays();
    void oneSeedOneRun();
    void anyoneMayGo();
    void manyMotors();
};

namespace {
const VOXVirtualTime virtualTime;

const QRegularExpression damaged("[^xyz]");
using Set = void (*)(VOXLine &line, QIODevice *a);

/// A line with the members a, b and c, and what each hears, with the time since it was made.
struct Stage
{
    explicit Stage(int rate)
        : line(std::make_unique<VOXLine>(rate))
    {
        QObject::connect(line.get(), &VOXLine::sent, [this](QIODevice *member, const QByteArray &bytes) {
            const char name = char('a' + (std::find(members, members + 3, member) - members));
            sent += QByteArray::number(VOXVirtualTime::now() - start) + name + ':' + bytes + ' ';
        });
        for (int i = 0; i < 3; ++i) {
            QIODevice *const member = line->addMember();
            members[i] = member;
            member->open(QIODevice::ReadWrite);
            QObject::connect(member, &QIODevice::readyRead, member, [=] {
                const QString text = QString::fromLatin1(member->readAll()).replace(damaged, "?");
                heard[i] += heard[i].isEmpty() ? "" : " ";
                heard[i] += QByteArray::number(VOXVirtualTime::now() - start) + text.toLatin1();
            });
        }
    }
    ~Stage()
    {
        for (QIODevice *member : members)
            delete member;
    }

    std::unique_ptr<VOXLine> line;
    QPointer<QIODevice> members[3];
    const qint64 start = VOXVirtualTime::now();
    QByteArray heard[3];
    QByteArray sent;
};

void mute(VOXLine &line, QIODevice *a)
{
    line.setMute(a, true);
}

template <VOXLine::Fault Fault>
void make(VOXLine &line, QIODevice *)
{
    line.setProbability(Fault, 1);
}
}
Q_DECLARE_METATYPE(Set)

// A step "5a:x" is member a who sends x at 5 ms. A byte takes 10 ms at 1100 bit/s; ? is a damaged one.
void tst_VOXLine::plays_data()
{
    const auto row = columns<int, Set, QByteArray, QByteArray>("rate", "set", "steps", "heard");
    const Set none = [](VOXLine &, QIODevice *) {};
    const Set cut = [](VOXLine &line, QIODevice *) { line.setCut(true), line.setEcho(true); };
    const Set latency = [](VOXLine &line, QIODevice *) { line.setLatency(70); };
    const Set late = [](VOXLine &line, QIODevice *) {
        line.setProbability(VOXLine::Late, 1), line.setLateness(20);
    };
    const Set close = [](VOXLine &, QIODevice *a) { a->close(); };
    row("all but the sender hear", 1100, none, "0a:x", "|10x|10x");
    row("what is written at once comes at once", 4800, none, "0a:xyz", "|7xyz|7xyz");
    row("or every 16 ms", 4400, none, "0a:xxxxxxxxxx", "|16xxxxxx 25xxxx|16xxxxxx 25xxxx");
    row("without time", 0, none, "0a:x 0b:y", "0y|0x|0x 0y");
    row("writes follow each other", 1100, none, "0a:x 0a:y 5a:z", "|10x 20y 30z|10x 20y 30z");
    row("turns do not collide", 1100, none, "0a:x 10b:y", "20y|10x|10x 20y");
    row("what overlaps is damaged", 1100, none, "0a:xyz 15b:y", "25?|16x 25? 30?|16x 25?? 30?");
    row("nobody hears a mute one", 1100, mute, "0a:xyz 15b:y", "25y||25y");
    row("later by the latency", 1100, latency, "0a:x", "|80x|80x");
    row("a cut line, with echo", 1100, cut, "0a:x", "10x||");
    row("a closed member", 1100, close, "0b:x", "||10x");
    row("bytes are lost", 2200, make<VOXLine::Lost>, "0a:x", "||");
    row("bytes are doubled", 2200, make<VOXLine::Doubled>, "0a:x", "|10xx|10xx");
    row("bytes are corrupted", 2200, make<VOXLine::Corrupted>, "0a:x", "|5?|5?");
    row("bytes are late", 2200, make<VOXLine::Late>, "0a:xy", "|155x 310y|155x 310y");
    row("bytes are late by 20", 2200, late, "0a:xy", "|25x 50y|25x 50y");
    row("there is noise", 2200, make<VOXLine::Noise>, "0a:x", "|10?x|10?x");
}

void tst_VOXLine::plays()
{
    QFETCH(int, rate);
    QFETCH(Set, set);
    QFETCH(QByteArray, steps);
    Stage stage(rate);
    set(*stage.line, stage.members[0]);
    for (const QByteArray &step : steps.split(' ')) {
        const int colon = step.indexOf(':');
        VOXVirtualTime::advance(stage.start + step.left(colon - 1).toInt() - VOXVirtualTime::now());
        stage.members[step.at(colon - 1) - 'a']->write(step.mid(colon + 1));
    }
    VOXVirtualTime::advance(1000);
    QCOMPARE(stage.sent.trimmed(), steps);
    QCOMPARE(stage.line->collisionCount(), QByteArray(QTest::currentDataTag()).contains("overlaps"));
    QTEST(stage.heard[0] + '|' + stage.heard[1] + '|' + stage.heard[2], "heard");
    QVERIFY2(timersOf(*stage.line).isEmpty(), "an idle line has a timer");
}

void tst_VOXLine::oneSeedOneRun()
{
    Stage stage(0);
    stage.line->setProbability(VOXLine::Lost, 0.5);
    QByteArrayList runs;
    for (const quint32 seed : {0u, 1u, 7u, 7u}) {
        if (seed > 0)
            stage.line->setSeed(seed);
        stage.members[0]->write(QByteArray("xyz").repeated(20));
        VOXVirtualTime::advance(1);
        runs += std::exchange(stage.heard[1], "").remove(0, 1);
    }
    QVERIFY(runs[0] == runs[1]);
    QVERIFY(runs[1] != runs[2]);
    QVERIFY(runs[2] == runs[3]);
}

void tst_VOXLine::anyoneMayGo()
{
    enum Moment { OnItsWay, WhenWritten, WhenHeard };
    for (const Moment moment : {OnItsWay, WhenWritten, WhenHeard}) {
        for (int victim = 0; victim < 4; ++victim) {
            Stage stage(1100);
            const auto go = [&] { victim < 3 ? delete stage.members[victim] : stage.line.reset(); };
            stage.members[0]->write("x");
            if (moment == OnItsWay)
                go();
            else if (moment == WhenWritten)
                connect(stage.members[0], &QIODevice::bytesWritten, this, go);
            else
                connect(stage.members[1], &QIODevice::readyRead, this, go);
            VOXVirtualTime::advance(100);
            const bool isLost = victim == 2 || (victim == 3 && moment == OnItsWay);
            QCOMPARE(stage.heard[2], isLost ? "" : "10x");
            if (victim > 0)
                QCOMPARE(stage.members[0]->write("y"), victim == 3 ? -1 : 1);
        }
    }
}

// Ten minutes, in much less than one. A call takes 11 bytes, the node's 5 ms, 16 bytes and 10 ms.
void tst_VOXLine::manyMotors()
{
    VOXLine line;
    const std::unique_ptr<VOXBus> host(line.addBus()), network(line.addBus());
    std::vector<std::unique_ptr<TB60LVStub>> motors;
    std::vector<std::unique_ptr<KVRMotorProxy>> proxies;
    for (unsigned int addr = 1; addr <= 60; ++addr) {
        motors.push_back(std::make_unique<TB60LVStub>(addr, network.get()));
        proxies.push_back(std::make_unique<KVRMotorProxy>(addr, host.get()));
    }
    int answered = 0, failed = 0;
    const std::function<void(const BusPendingCall &)> poll = [&](const BusPendingCall &ended) {
        ++(ended.isError() ? failed : answered);
        proxies[std::size_t(answered) % 60]->getMotorPosition().onFinished(host.get(), poll);
    };
    const auto began = QDateTime::currentMSecsSinceEpoch();
    poll(BusPendingCall());
    VOXVirtualTime::advance(600000);
    const auto took = QDateTime::currentMSecsSinceEpoch() - began;
    qInfo("%d answers in %lld ms", answered, took);
    QCOMPARE(list(answered, failed, line.byteCount() / 27, line.collisionCount()),
             list(600000 / (26 + 5 + 37 + 10), 1, answered, 0));
    QVERIFY2(took < 10000, QByteArray::number(took));
}

QTEST_GUILESS_MAIN(tst_VOXLine)
#include "tst_voxline.moc"

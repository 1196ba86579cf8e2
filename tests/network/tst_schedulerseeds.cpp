#include "messages/kvranswer.h"
#include "support/columns.h"
#include "support/schedulersite.h"
#include "support/seeds.h"

#include <cstdio>
#include <random>

/// What holds whatever nodes do: ten seeds here, a thousand in ./dev soak.
class tst_SchedulerSeeds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void property_data();
    void property();
    void cleanupTestCase();

private:
    qint64 m_labels = 0;
};

void tst_SchedulerSeeds::property_data()
{
    addSeeds();
}

/// Late, doubled, lost and foreign answers, dead and returning nodes: no value of another node, no jog twice,
/// each call ends once, and a stop starts at most one exchange later.
void tst_SchedulerSeeds::property()
{
    QFETCH(quint32, seed);
    constexpr int Count = 12;
    constexpr int Rounds = 400;
    SchedulerSite site(Count);
    std::mt19937 random(seed);
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned int>(end)); };
    for (auto &motor : site.motors) {
        motor->setNodeLabel(QByteArray::number(motor->addr(), 16));
        Motor *self = motor.get();
        motor->delayFor = [=, &site, &random](const VOXMessage &message) {
            const unsigned int dice = random() % 100;
            if (dice < 2)
                return -1;
            if (dice < 4)
                QTimer::singleShot(7, self, [=] { self->TB60LVStub::dispatch(message); });
            if (dice < 6)
                site.nodes->write(
                    frameFrom(0x777, "65" + QByteArray("foreign").toHex() + QByteArray(18, '0')).data());
            return dice < 10 ? 150 + int(random() % 250) : 5 + int(random() % 35);
        };
    }
    int wrong = 0;
    int ends = 0;
    int calls = 0;
    VOXScheduler::Limits limits;
    limits.maxLoadPercent = limits.automaticLoadPercent - 5;
    site.scheduler->setLimits(limits);
    site.scheduler->setPollSource([turn = 0u](int *) mutable {
        return std::optional<VOXCall>(
            VOXCall(KVR::findCmd(KVR::GET_NODE_LABEL), VOX::HostAddr, First + ++turn % Count, 0));
    });
    connect(site.scheduler.get(), &VOXScheduler::answered, this,
            [&](VOX::Addr node, const BusMessage &, const BusMessage &reply) {
                const auto label = KVRAnswer::from<KVRAnswer::NodeLabel>(reply);
                const bool isWrong = label && label->label != QByteArray::number(node, 16);
                wrong += isWrong;
                m_labels += label && !isWrong;
            });
    QHash<int, int> jogs;
    qint64 worstStop = 0;
    qint64 stopAsked = -1;
    for (int round = 0; round < Rounds; ++round) {
        const int index = below(Count);
        const int dice = below(20);
        KVRMotorProxy proxy(First + unsigned(index), site.scheduler->lane(VOXScheduler::Lane(1 + below(5))));
        BusPendingCall call;
        site.sent.clear();
        if (dice == 0) {
            call = proxy.ctrlStop();
            stopAsked = stopAsked < 0 ? VOXVirtualTime::now() : stopAsked;
        } else if (dice < 4) {
            call = proxy.ctrlMoveOf(KVRMotor::MOVEOF_PULSES_DOWN, quint16(100 + round));
        } else if (dice < 6) {
            call = proxy.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, quint16(below(100)));
        } else {
            call = proxy.getNodeLabel();
        }
        ++calls;
        const QByteArray expected = QByteArray::number(First + unsigned(index), 16);
        call.onFinished(this, [&, call, expected] {
            ++ends;
            const auto label = KVRAnswer::from<KVRAnswer::NodeLabel>(call.reply());
            wrong += label && label->label != expected;
        });
        VOXVirtualTime::advance(below(200));
        for (const Sent &each : qAsConst(site.sent)) {
            if (each.frame.cmd() == KVR::CTRL_MOVEOF)
                ++jogs[each.frame.data().mid(VOXMessage::HeaderLength + 1, 2).toHex().toInt(nullptr, 16)];
            if (each.frame.cmd() == KVR::CTRL_STOP && stopAsked >= 0) {
                worstStop = qMax(worstStop, each.ms - stopAsked);
                stopAsked = -1;
            }
        }
    }
    VOXVirtualTime::advance(240000);
    QCOMPARE(list(wrong, calls - ends), list(0, 0));
    for (const int count : qAsConst(jogs))
        QCOMPARE(count, 1);
    QVERIFY2(worstStop <= 226 + 45 + 5, qPrintable(QString::number(worstStop)));
}

void tst_SchedulerSeeds::cleanupTestCase()
{
    if (m_labels > 0)
        std::printf("%lld labels came, each from the node that was asked\n", m_labels);
}

QTEST_GUILESS_MAIN(tst_SchedulerSeeds)
#include "tst_schedulerseeds.moc"

#include "network/voxmotion.h"

#include "support/columns.h"
#include "support/networksite.h"

class tst_VOXMotion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false\nvox.device=false"); }
    void motions_data();
    void motions();
    void aStopHoldsWhoHasNotMoved();
    void olderMotors();
    void estimates();
};

void tst_VOXMotion::motions_data()
{
    // What is given, of which the word with a star is followed; how it ends; whether it was accepted.
    using M = VOXMotion;
    const auto row = columns<QString, M::End, QString, int>("words", "end", "sentence", "accepted");
    row("arrives", "to=50*", M::Arrived, "000100 (motor 0) is at 50 %.", 1);
    row("is there already", "up*", M::Arrived, "up limit", 1);
    row("jogs", "jog=900*", M::Arrived, "900 pulses further down", 1);
    row("stops", "down wait=3000 stop*", M::Arrived, "at rest", 1);
    row("is stopped here", "down* wait=3000 stop", M::Stopped, "was stopped", 1);
    row("is stopped elsewhere", "down* wait=3000 foreign=-1", M::Stopped, "has come to rest at", 1);
    row("is replaced", "down* wait=3000 to=10", M::Replaced, "newer", 1);
    row("is replaced elsewhere", "down* wait=3000 foreign=1", M::Replaced, "Another host", 1);
    row("is taken back by a stop", "down* stop", M::Replaced, "newer", 0);
    row("is refused", "unlimited to=50*", M::Refused, "set both first", 0);
    row("is locked", "lock=3 to=50*", M::Locked, "unlock it", 0);
    row("is blocked", "down* wait=3000 blocked", M::Blocked, "blocked at 7 %. Clear its way", 1);
    row("is blocked just before its end", "to=8* wait=1100 blocked", M::Blocked, "blocked at 7 %", 1);
    row("falls silent", "down* wait=3000 dies=0", M::NoAnswer, "does not answer any more", 1);
    row("is not there", "dies=0 down*", M::NoAnswer, "has not answered", 0);
    row("loses its acknowledgement", "loseAck down*", M::Arrived, "down limit", 1);
    row("is removed", "down* remove=0", M::NoAnswer, "removed", 0);
    row("cannot be", "to=101*", M::Invalid, "There is no position of 101: it is 0 to 100.", 0);
    row("is too short", "jog=9*", M::Invalid, "10 to 1000", 0);
    row("may not be sent", "listen down*", M::Invalid, "only listens", 0);
    row("may not be followed", "down* wait=3000 listen", M::NoAnswer, "only listens now", 1);
    row("may not be sent any more", "down=1 to=2* listen", M::NoAnswer, "only listens now", 0);
    row("makes no sense", "down* wait=3000 nonsense", M::NoAnswer, "not so that it makes sense", 1);
    row("finds the line closed", "close down*", M::NoAnswer, "not open", 0);
    row("meets a closing line", "down* wait=3000 close", M::NoAnswer, "not open", 1);
    row("all move", "Gto=30*", M::Arrived, "6 of 6", 1);
    row("one has not heard the group", "deaf=3 Gto=30*", M::Arrived, "6 of 6", 1);
    row("one has got something newer", "Gto=30* wait=500 to=10", M::Replaced,
        "5 of 6 motors have done it. A newer", 1);
    row("one is silent", "dies=5 Gto=30*", M::NoAnswer, "5 of 6 motors have done it. 000105", 1);
    row("all stop", "Gdown wait=3000 Gstop*", M::Arrived, "6 of 6", 1);
    row("one has not heard the stop", "Gdown wait=3000 deaf=3 Gstop*", M::Arrived, "6 of 6", 1);
    row("no group can have it", "Gnone*", M::Invalid, "No group has the address 010000.", 0);
    row("no member is known", "Gother*", M::NoAnswer, "no member", 0);
}

void tst_VOXMotion::motions()
{
    QFETCH(QString, words);
    QFETCH(QString, sentence);
    NetworkSite site(6);
    std::optional<Heard> heard;
    for (const QString &word : words.split(' ')) {
        VOXMotion *const motion = site.give(QString(word).remove('*'));
        if (word.endsWith('*'))
            heard.emplace(motion);
    }
    QVERIFY(heard->wait());
    QTEST(heard->end, "end");
    QVERIFY2(heard->sentence.contains(sentence), qPrintable(heard->sentence));
    QTEST(heard->accepted, "accepted");
    VOXVirtualTime::advance(60000);
    QCOMPARE(list(heard->finished, heard->late), list(1, 0));
    for (const VOX::Addr addr : site.simulation.addresses())
        QVERIFY(!site.simulation.node<KVRMotorDevice>(addr)->isMoving());
}

void tst_VOXMotion::aStopHoldsWhoHasNotMoved()
{
    // Whoever has not heard the group is told again, but not once a stop has been given, whenever that was.
    for (int wait = 50; wait < 900; wait += 25) {
        NetworkSite site(6);
        VOXVirtualTime::advance(20000);
        site.give("deaf=3");
        site.give("Gto=30");
        VOXVirtualTime::advance(wait);
        const bool wasMoving = site.device(3)->isMoving();
        site.give("Gstop");
        VOXVirtualTime::advance(30000);
        QVERIFY2(wasMoving || site.device(3)->positionPulses() == 0, QByteArray::number(wait));
    }
}

void tst_VOXMotion::olderMotors()
{
    NetworkSite site(0, false);
    const QJsonObject mover{
        {"model", "TB20"}, {"address", "000312"}, {"limits", QJsonObject{{"up", 0}, {"down", 5000}}}};
    site.simulation.load(
        {{"nodes", QJsonArray{QJsonObject{{"model", "HRMV2"}, {"address", "000310"}}, mover}}});
    QSignalSpy discovered(site.network.get(), &VOXNetwork::discovered);
    site.network->discoverRange(0x30e, 0x314);
    QVERIFY(runUntil([&] { return !discovered.isEmpty(); }));
    const VOXNetworkMotor *const older = site.network->motor(0x310);
    QCOMPARE(list(discovered.at(0).at(0).toInt(), older->isLegacy(), site.network->motor(0x312)->isLegacy()),
             list(2, true, false));
    QVERIFY(runUntil([&] { return older->presence() == VOXNetworkNode::Up && older->isLocked(); }));
    // One that moves, and also answers as the older ones do.
    site.network->remove(0x312);
    QVERIFY(site.network->setKnownNodes({QJsonObject{{"address", "000312"}, {"legacy", true}}}));
    VOXNetworkMotor *const moving = site.network->motor(0x312);
    Heard move(moving->moveTo(50));
    Heard jog(moving->jog(KVRMotor::DIRECTION_UP, 50));
    QVERIFY(move.wait());
    QVERIFY(jog.wait());
    QCOMPARE(list(move.end, jog.end, moving->percent().has_value()),
             list(VOXMotion::Accepted, VOXMotion::Invalid, false));
    Heard stop(site.network->stopAll());
    QVERIFY(stop.wait());
    QVERIFY(stop.sentence.contains("1 of 2"));
    VOXVirtualTime::advance(600000);
    const int position = site.simulation.node<KVRMotorDevice>(0x312)->positionPulses();
    QVERIFY(older->presence() == VOXNetworkNode::Up);
    QVERIFY(moving->downLimit() == 5000);
    QVERIFY(position > 0);
    QVERIFY(position < 2500);
}

void tst_VOXMotion::estimates()
{
    NetworkSite site(1);
    site.motor()->moveDown();
    VOXVirtualTime::advance(4000);
    // Three values in one frame are one piece of news.
    QSignalSpy changes(site.motor(), &VOXNetworkNode::changed);
    site.sent = 0;
    VOXVirtualTime::advance(3000);
    QVERIFY2(changes.size() == site.sent, QByteArray::number(changes.size()));
    for (int i = 0; i < 110; ++i) {
        VOXVirtualTime::advance(100);
        QVERIFY(qAbs(*site.motor()->estimatedPercent() - site.device()->position()) <= 2);
    }
    QCOMPARE(site.motor()->targetPercent(), std::optional<int>(100));
    // Read at the predicted end, and not a second later.
    Heard heard(site.motor()->moveUp());
    const qint64 start = VOXVirtualTime::now();
    QVERIFY(heard.wait());
    QVERIFY2(VOXVirtualTime::now() - start < 19600, QByteArray::number(VOXVirtualTime::now() - start));
}

QTEST_GUILESS_MAIN(tst_VOXMotion)
#include "tst_voxmotion.moc"

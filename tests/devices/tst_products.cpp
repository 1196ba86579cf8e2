#include "devices/hrmv2stub.h"
#include "devices/marlostub.h"
#include "devices/qm75stub.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "support/wire.h"

/// What each product refuses, what it answers in its own way, and the settings that all motors share.
class tst_Products : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusals_data();
    void refusals();
    void conversations_data();
    void conversations();
    void settingsWithoutAnAckFlag();
    void aLegacyAnswerIsDelayed();
    void mirroring();
    void lockedStates();
    void anyRequestLeavesTheBoundsAlone();
};

namespace {
constexpr unsigned int Addr = 0x123456;

KVRDevice *makeNode(const QByteArray &product, VOXBus *bus)
{
    if (product == "TB20")
        return new TB20Stub(Addr, bus);
    if (product == "QM75")
        return new QM75Stub(Addr, bus);
    if (product == "MARLO")
        return new MarloStub(Addr, bus);
    if (product == "TB60LV")
        return new TB60LVStub(Addr, bus);
    auto *legacy = new HRMv2Stub(Addr, bus);
    legacy->setStubOptions({});
    return legacy;
}

struct Net : Wire
{
    std::unique_ptr<KVRDevice> node;
    explicit Net(const QByteArray &product)
        : node(makeNode(product, &network))
    {
    }
    KVRMotorDevice &motor() { return static_cast<KVRMotorDevice &>(*node); }
    QByteArray say(const QByteArray &request, unsigned char flags = VOXMessage::AckFlag)
    {
        return ask(frame(request, node->addr(true), flags));
    }
};

const QByteArray Limits("11 02 00 1027 > 7F, 11 02 01 0000 > 7F,");
}

void tst_Products::refusals_data()
{
    QTest::addColumn<QByteArray>("product");
    QTest::addColumn<QByteArray>("missing");
    QTest::newRow("TB20") << QByteArray("TB20") << QByteArray("06 10 14 16 18 20 24 26 28");
    QTest::newRow("QM75") << QByteArray("QM75") << QByteArray("06 13 14 17 18 23 24 27 28 B1 B2");
    QTest::newRow("MARLO") << QByteArray("MARLO") << QByteArray("14 18 24 28");
    QTest::newRow("TB60LV") << QByteArray("TB60LV") << QByteArray("14 18 24 28 B6");
}

void tst_Products::refusals()
{
    QFETCH(QByteArray, product);
    QFETCH(QByteArray, missing);
    Net net(product);
    for (const auto *table : {&KVR::motorCmds(), &KVR::diagCmds()}) {
        for (const VOXCmdInfo &info : *table) {
            const QByteArray cmd = QByteArray::number(0x100 + info.cmd(), 16).mid(1).toUpper();
            if (info.cmd() > 0xBF || (info.cmd() >= 0x30 && info.cmd() <= 0x3F) || info.cmd() == 0x0D
                || info.cmd() == 0x0F)
                continue;
            // A mode that the product lacks is refused with the same words.
            if (info.cmd() == KVR::SET_APP_MODE && product != "TB20")
                continue;
            const QByteArray request = cmd + QByteArray("01").repeated(info.size() - VOXMessage::MinLength);
            QCOMPARE(net.say(request) == hex("6F 25"), missing.split(' ').contains(cmd));
            if (missing.split(' ').contains(cmd))
                QCOMPARE(net.say(request, 0), QByteArray());
        }
    }
}

void tst_Products::conversations_data()
{
    QTest::addColumn<QByteArray>("product");
    QTest::addColumn<QByteArray>("conversation");
    const auto row = [](const char *name, const char *product, const QByteArray &conversation) {
        QTest::newRow(name) << QByteArray(product) << conversation;
    };
    row("TB20 is delivered so", "TB20",
        "23 > 33 1C 1C 10, 21 > 31 FFFF FFFF, 27 01 > 37 00 000000 00, 2F 00 > 3F 00 01");
    row("QM75 is delivered so", "QM75", "20 > 30 00, 26 > 36 00 000000 00, 2F 00 > 3F 00 01");
    row("MARLO is delivered so", "MARLO", "23 > 33 69 69 69, 20 > 30 02, 27 02 > 6F 10");
    row("TB60LV is delivered so", "TB60LV",
        "23 > 33 19 19 0F, 39 > 6F 10, 29 > 39 00 96 00 96, 2A > 3A 01 00, 19 00 00 > 6F 11");
    row("down limits have a product's range", "TB20",
        "11 02 00 4301 > 6F 21, 11 02 00 4401 > 7F, 11 02 00 FFFC > 7F, 11 02 00 00FD > 6F 21");

    row("rolling speeds are taken together or not at all", "TB60LV",
        "13 0A 1A 0A > 6F 10, 23 > 33 19 19 0F, 13 0A 0B 0C > 7F, 23 > 33 0A 0B 0C, 13 0A 0B > 6F 11");
    row("TB20 has one speed up and down", "TB20",
        "13 06 FF 07 > 7F, 23 > 33 06 06 07, 13 05 06 07 > 6F 10, 13 06 06 1D > 6F 10");
    row("MARLO has four speeds", "MARLO", "13 64 00 00 > 6F 10, 13 7A 00 00 > 7F, 23 > 33 7A 7A 7A");
    row("MARLO moves for 720 ms at least", "MARLO",
        "01 00 47 00 > 6F 10, 01 00 00 00 > 6F 10, 01 00 48 00 > 7F, 01 00 47 > 6F 11");
    row("MARLO jogs 30 at least, limits or not", "MARLO",
        "04 02 1D00 FF > 6F 10, 04 05 1D00 FF > 6F 10, 04 02 1E00 FF > 6F 22, 04 06 0000 FF > 6F 22");
    row("MARLO shifts no limits", "MARLO",
        Limits + "11 04 00 6400 > 6F 25, 11 05 01 6400 > 6F 25, 11 00 00 0000 > 7F");
    row("ramps", "TB60LV",
        "19 00 01 00 > 7F, 19 01 02 07 > 7F, 19 02 00 00 > 7F, 29 > 39 01 07 00 96, 19 03 00 00 > 6F 10, 19 "
        "00 03 00 > 6F 10");
    row("torque: 0 is on and 1 is off", "TB60LV",
        "1A 01 00 > 7F, 2A > 3A 00 00, 1A 00 00 > 7F, 1A 02 01 > 7F, 2A > 3A 01 01, 1A 02 02 > 6F 10, 1A 03 "
        "FF > 7F, 1A 04 00 > 6F 10");
    row("ramps of others are unknown", "QM75", "19 00 01 00 > 6F 10, 2A > 6F 10");

    row("app modes of a curtain", "MARLO", "10 02 > 7F, 10 00 > 6F 25, 10 82 > 6F 25, 20 > 30 02");
    row("a direction of 2 changes nothing", "QM75", "12 02 > 7F, 22 > 32 00, 12 01 > 7F, 22 > 32 01");
    row("intermediate positions", "QM75",
        "15 02 01 6400 > 6F 22," + Limits
            + "25 01 > 35 01 FFFF FF, 15 02 01 6400 > 7F, 25 01 > 35 01 6400 01, 15 03 10 3200 > 7F, 25 10 > "
              "35 10 8813 32,"
              "15 02 01 1127 > 6F 21, 15 03 01 6500 > 6F 21, 15 02 00 0000 > 6F 10, 15 02 11 0000 > 6F 10, "
              "15 04 01 0000 > 6F 10,"
              "15 01 02 0000 > 7F, 25 02 > 35 02 0000 00, 15 00 01 0000 > 7F, 25 01 > 35 01 FFFF FF, 25 00 > "
              "6F 10, 25 11 > 6F 10, 25 > 6F 11");
    row("the network lock without limits", "QM75",
        "16 01 05 > 7F, 26 > 36 01 000001 05, 16 01 04 > 6F 2A, 16 00 04 > 6F 2A, 16 02 05 > 6F 10, 16 00 05 "
        "> 7F, 26 > 36 00 000001 00, 16 01 00 > 7F, 0E > 0F 00 00 00 00, 02 FF > 7F, 0E > 0F 03 00 01 01");
    row("a lock for local inputs", "TB20",
        "17 01 01 05 > 7F, 27 01 > 37 01 000001 05, 17 00 01 04 > 6F 2A, 17 00 00 04 > 6F 2A, 17 00 00 06 > "
        "7F, 27 01 > 37 00 000001 00, 17 02 01 09 > 6F 10, 17 01 02 09 > 6F 10, 27 00 > 6F 10, 27 > 6F 11");
    row("all of no locks is fine", "QM75", "1F 17 > 7F, 1F 16 > 7F");
    row("factory default by function", "TB60LV",
        Limits
            + "13 0A 0A 0A > 7F, 15 02 01 6400 > 7F, 2F 13 > 3F 13 00, 1F 13 > 7F, 23 > 33 19 19 0F, 2F 13 > "
              "3F 13 01, 2F 00 > 3F 00 00,"
              "19 00 01 00 > 7F, 1A 01 00 > 7F, 1F 14 > 6F 25, 2F 18 > 6F 25, 1F 01 > 6F 10, 1F > 6F 11, 1F "
              "00 > 7F, 2F 00 > 3F 00 01, 29 > 39 00 96 00 96, 21 > 31 FFFF FFFF");
    row("others' functions are not supported", "QM75", "1F 19 > 6F 25, 2F 1A > 6F 25");
    row("counters", "TB60LV", "B0 > C0 000000 00, B3 > C3 0000 0000, B4 > C4 0000");

    row("legacy requests to a TB20", "TB20",
        Limits
            + "42 > 62 00 1027, 15 02 01 D007 > 7F, 43 00 > 63 00 D007, 43 10 > 6F 10, 43 > 6F 11, 4B > 6B "
              "00, 53 01 B80B > 7F, 25 02 > 35 02 B80B 1E,"
              "53 10 0000 > 6F 10, 54 04 0500 > 6F 23, 54 04 FFFF > 6F 23, 54 00 0000 > 6F 10, 54 80 0000 > "
              "6F 10, 54 03 0000 > 7F, 5B 03 00 09 > 6F 10, 5B 04 03 09 > 6F 23,"
              "5B 00 00 03 > 7F, 4B > 6B 01, 54 01 0000 > 6F 20, 5B 05 00 02 > 6F 2A, 03 00 0000 FF > 6F 20, "
              "5B 05 00 03 > 7F, 4B > 6B 00, 45 > 65 00000000000000000000000000000000");
    row("legacy requests need limits", "TB20",
        "53 01 0000 > 6F 22, 54 01 0000 > 6F 22, 5B 00 00 00 > 6F 22, 54 01 00 > 6F 11");
    row("the legacy motor", "HRMV2",
        "42 > 62 00 0010, 44 > 64 000000, 46 > 66 0D00 00 02 0C 05 06 20 00 00, 48 > 68 0000, 4B > 6B 00, 5B "
        "02 > 7F, 4B > 6B 02, 5B > 6F 11, 40 > 6F 10, 02 FF > 6F 10, B0 > 6F 10, 55 > 6F 10,"
        "43 00 > 6F 10, 43 01 > 63 01 0000, 53 FF 01 34 > 7F, 53 FF 02 3412 > 7F, 43 02 > 63 02 3412, 53 FF "
        "00 0000 > 6F 01, 53 FF 11 0000 > 6F 01, 51 03 341200 > 7F, 41 03 > 61 03 341200");
}

void tst_Products::conversations()
{
    QFETCH(QByteArray, product);
    QFETCH(QByteArray, conversation);
    Net net(product);
    const QByteArray wrong = net.mismatch(conversation, net.node->addr(true), VOXMessage::AckFlag, {});
    QVERIFY2(wrong.isEmpty(), wrong);
}

void tst_Products::settingsWithoutAnAckFlag()
{
    Net net("TB60LV");
    for (const char *silent : {"10 00", "13 0A 0A 0A", "12 01", "16 01 05", "14", "13 FF 0A 0A"})
        QCOMPARE(net.say(silent, 0), QByteArray());
    QCOMPARE(net.say("23", 0), hex("33 0A 0A 0A"));
    QCOMPARE(net.say("22", 0), hex("32 01"));
    QCOMPARE(net.say("26", 0), hex("36 01 000001 05"));
    Net legacy("HRMV2");
    QCOMPARE(legacy.say("40", 0) + legacy.say("53 FF 02 3412", 0), QByteArray());
    QCOMPARE(legacy.say("43 02", 0), hex("63 02 3412"));
}

void tst_Products::aLegacyAnswerIsDelayed()
{
    Net net("HRMV2");
    static_cast<HRMv2Stub &>(*net.node).setStubOptions(HRMv2Stub::DELAY_REPLY);
    QElapsedTimer clock;
    clock.start();
    net.console.heard.clear();
    for (const char *request : {"4B", "42"})
        net.console.reply(frame(request, Addr, VOXMessage::AckFlag));
    QTRY_COMPARE(net.console.heard.size(), 2);
    QCOMPARE(text(net.console.heard.at(0)), hex("6F FF"));
    QCOMPARE(text(net.console.heard.at(1)), hex("6B 00"));
    QVERIFY(clock.elapsed() >= 49);
}

void tst_Products::mirroring()
{
    Net net("QM75");
    net.motor().setPositionPulses(100);
    QVERIFY(net.mismatch("02 FF > 7F," + Limits
                             + "12 01 > 7F, 0C > 0D AC26 63 FF FF, 12 01 > 7F, 0C > 0D AC26 63 FF FF",
                         Addr, VOXMessage::AckFlag, {})
                .isEmpty());
    net.say("03 00 0000 FF");
    QTRY_VERIFY(net.motor().isMoving());
    QCOMPARE(net.say("12 00") + net.say("1F 00"), hex("6F 26") + hex("6F 26"));
    net.motor().setMotorDirection(KVRMotor::TurnDirection(2));
    QVERIFY(!net.motor().isMoving() && net.motor().status().state == KVRMotor::STATE_STOPPED);
    // Without a change, the factory's direction does not even show in the status.
    QVERIFY(
        net.mismatch("12 00 > 7F, 02 FF > 7F, 1F 12 > 7F, 0E > 0F 00 00 01 01", Addr, VOXMessage::AckFlag, {})
            .isEmpty());
}

void tst_Products::lockedStates()
{
    Net net("MARLO");
    QVERIFY(net.mismatch(Limits
                             + "06 00 0000 05 > 7F, 01 00 48 00 > 6F 20, 05 > 6F 20, 1F 16 > 7F, 0E > 0F 00 "
                               "00 01 01, 26 > 36 00 000001 05, 16 01 04 > 6F 2A",
                         Addr, VOXMessage::AckFlag, {})
                .isEmpty());
    QCOMPARE(net.motor().networkLock().getSource(), 0x010000u);
    MotorDiagnostic counters;
    counters.setTotalMoveCount(0x01234567);
    net.motor().setMotorDiagnostic(counters);
    QCOMPARE(net.say("B0"), hex("C0 674523 00"));
    counters.clear();
    QVERIFY(!counters.isValid() && net.motor().getMotorDiagnostic().isValid());
}

// Every length, and every value of the first byte: an answer by the rule or silence, and whatever is refused
// changes nothing.
void tst_Products::anyRequestLeavesTheBoundsAlone()
{
    for (const QByteArray product : {"TB20", "QM75", "MARLO", "TB60LV", "HRMV2"}) {
        const std::unique_ptr<KVRDevice> node(makeNode(product, nullptr));
        for (int cmd = 1; cmd <= 0xFF; ++cmd) {
            for (int size = 11; size <= 31; ++size) {
                VOXMessage request(static_cast<unsigned char>(size | VOXMessage::AckFlag));
                request.setCmd(static_cast<unsigned char>(cmd));
                for (int value = 0; value <= (size > 11 ? 0xFF : 0); ++value) {
                    if (size > 11)
                        request.data()[9] = char(value);
                    node->dispatch(request);
                }
            }
        }
    }
}

QTEST_GUILESS_MAIN(tst_Products)
#include "tst_products.moc"

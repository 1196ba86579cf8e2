#include "devices/hrmv2stub.h"
#include "devices/marlostub.h"
#include "devices/qm75stub.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "messages/hrmv2.h"
#include "messages/kvrack.h"
#include "support/columns.h"
#include "support/timers.h"
#include "support/wire.h"

/// What each product refuses, what it answers in its own way, and the settings that all motors share.
class tst_Products : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusals();
    void conversations_data();
    void conversations();
    void legacyAnswersAreDelayed();
    void slotsMayDestroy_data();
    void slotsMayDestroy();
    void legacyTargets();
    void counters();
    void mirroring();
    void tilt();
};

namespace {
constexpr unsigned int Addr = 0x123456;

/// A motor with more of everything than the products have.
struct Motor : KVRMotorDevice
{
    Motor(unsigned int addr, VOXBus *bus)
        : KVRMotorDevice(addr, bus)
    {
        setRanges({{10, 60, 10}, {10, 60, 10}, {1, 65534, UnsetPosition}, 2, 2, appModes()});
    }
    unsigned short pulsesPerRound() const override { return 100; }
    unsigned char findMotorIP(unsigned short) const override { return None; }
};

/// A legacy motor that answers at once.
struct Legacy : HRMv2Stub
{
    Legacy(unsigned int addr, VOXBus *bus)
        : HRMv2Stub(addr, bus)
    {
        setStubOptions({});
    }
};

/// A product of one's own, which tilts, and acknowledges a wink without one.
struct Blind : ProductStub
{
    Blind(unsigned int addr, VOXBus *bus)
        : ProductStub(dataSheet(), addr, bus, nullptr)
    {
    }
    bool answerOwn(const VOXMessage &request, VOXReply *answer) override
    {
        *answer = KVRAck(*this, request);
        return request.cmd() == KVR::CTRL_WINK;
    }
    static const DataSheet &dataSheet()
    {
        static const Ranges ranges = {{10, 60, 10},
                                      {10, 60, 10},
                                      {1, 65534, UnsetPosition},
                                      2,
                                      2,
                                      {KVRMotor::VENETIAN, KVRMotor::ROLLER},
                                      true};
        static const DataSheet sheet = {VOX::NODETYPE_ANY, 100, ranges, {}};
        return sheet;
    }
};

template <typename Node>
KVRDevice *make(VOXBus *bus)
{
    return new Node(Addr, bus);
}

/// What there is: how it is made, its node type, what it is made with, and what it lacks.
struct Product
{
    KVRDevice *(*make)(VOXBus *bus);
    unsigned int type;
    QByteArray sheet;
    QByteArray missing;
};
const QMap<QByteArray, Product> Products = {
    {"TB20", {make<TB20Stub>, 2, "324 28 28 16 324 64767 16 1 0", "06 10 14 16 18 20 24 26 28"}},
    {"QM75", {make<QM75Stub>, 7, "128 40 40 40 32 64767 16 0 0", "06 13 14 17 18 23 24 27 28 B1 B2"}},
    {"MARLO", {make<MarloStub>, 6, "128 105 105 105 64 64767 16 1 2", "14 18 24 28"}},
    {"TB60LV", {make<TB60LVStub>, 8, "1686 25 25 15 1686 64767 16 1 0", "14 18 24 28 B6"}},
    {"MOTOR", {make<Motor>, 0, "100 10 10 10 1 65534 2 2 0", "14 18 24 28"}},
    {"BLIND", {make<Blind>, 0, "100 10 10 10 1 65534 2 2 1", "14 18 24 28"}},
    {"NODE", {make<KVRDevice>, 0, {}, {}}},
    {"HRMV2", {make<Legacy>, 0, {}, {}}},
};

struct Net : Wire
{
    std::unique_ptr<KVRDevice> node;
    const unsigned int addr;
    explicit Net(const QByteArray &product)
        : node(Products[product].make(&network))
        , addr(VOX::makeAddr(static_cast<VOX::NodeType>(Products[product].type), Addr))
    {
    }
    KVRMotorDevice &motor() { return static_cast<KVRMotorDevice &>(*node); }
    QByteArray say(const QByteArray &request, unsigned char flags = VOXMessage::AckFlag)
    {
        return ask(frame(request, addr, flags));
    }
    /// Where a conversation went wrong; empty if it did not.
    QByteArray holds(const QByteArray &conversation)
    {
        return mismatch(conversation, addr, VOXMessage::AckFlag, {});
    }
};

/// The bytes of a command with its name, as in "CTRL_STOP FF", in hexadecimal.
QByteArray bytesOf(const QByteArray &request)
{
    const QByteArray name = request.trimmed().split(' ').first();
    int id = -1;
    // A name that both generations have is the current one's.
    for (const QMetaEnum &ids : {KVR::CmdMetaEnum(), KVR::MotorCmdMetaEnum(), HRMv2::CmdMetaEnum()})
        id = id < 0 ? ids.keyToValue(name) : id;
    return QByteArray::number(id, 16).rightJustified(2, '0') + request.trimmed().mid(name.size());
}

const QByteArray Limits("11 02 00 1027 > 7F, 11 02 01 0000 > 7F,");
}

// What a product is made with; what it lacks is refused, and only that.
void tst_Products::refusals()
{
    for (const QByteArray &product : Products.keys()) {
        const Product expected = Products[product];
        if (expected.sheet.isEmpty())
            continue;
        Net net(product);
        const KVRMotorDevice &m = net.motor();
        QByteArray sheet;
        for (const int value : {int(m.pulsesPerRound()), int(m.upSpeed()), int(m.downSpeed()),
                                int(m.slowSpeed()), int(m.minDownLimit()), int(m.maxDownLimit()),
                                m.motorIPCount(), m.motorDCTCount(), int(m.appMode())})
            sheet += QByteArray::number(value) + ' ';
        QCOMPARE(sheet.trimmed(), expected.sheet);
        for (const VOXCmdInfo &info : KVR::motorCmds().values() + KVR::diagCmds().values()) {
            const bool isReply = info.cmd() > 0xBF || (info.cmd() >= 0x30 && info.cmd() <= 0x3F)
                || info.cmd() == KVR::POST_MOTOR_POSITION || info.cmd() == KVR::POST_MOTOR_STATUS;
            // A mode that the product lacks is refused with the same words.
            if (isReply || (info.cmd() == KVR::SET_APP_MODE && product != "TB20"))
                continue;
            const QByteArray cmd = QByteArray::number(0x100 + info.cmd(), 16).mid(1).toUpper();
            const QByteArray request = cmd + QByteArray("01").repeated(info.size() - VOXMessage::MinLength);
            const bool isMissing = expected.missing.split(' ').contains(cmd);
            QVERIFY2((net.say(request) == hex("6F 25")) == isMissing, product + ' ' + cmd);
            QVERIFY2(!isMissing || net.say(request, 0).isEmpty(), product + ' ' + cmd);
            const VOXMessage foreign = frame(request, Addr | 0x01000000, VOXMessage::AckFlag);
            QVERIFY2(net.ask(foreign).isEmpty(), "not for this product");
        }
    }
}

void tst_Products::conversations_data()
{
    const auto row = columns<QByteArray, QByteArray>("product", "conversation");
    row("SET_MOTOR_ROLLING_SPEED takes all or none", "TB60LV",
        "13 0A 1A 0A > 6F 10, 13 1A 0A 0A > 6F 10, 13 0A 0A 1A > 6F 10, 13 09 0A 0A > 6F 10,"
        "13 0A 09 0A > 6F 10, 13 0A 0A 09 > 6F 10, 23 > 33 19 19 0F, 13 0A 19 0C > 7F, 23 > 33 0A 19 0C,"
        "13 0A 0B > 6F 11, 13 19 0A 19 > 7F, 13 0A 0A 0A > 7F");
    row("SET_MOTOR_ROLLING_SPEED of a TB20, with one up and down", "TB20",
        "13 06 FF 07 > 7F, 23 > 33 06 06 07, 13 05 06 07 > 6F 10, 13 1D 06 07 > 6F 10, 13 06 06 1D > 6F 10,"
        "13 06 06 05 > 6F 10, 13 1C 00 1C > 7F, 23 > 33 1C 1C 1C");
    row("SET_MOTOR_ROLLING_SPEED of a MARLO, with four", "MARLO",
        "13 64 00 00 > 6F 10, 13 7A 00 00 > 7F, 23 > 33 7A 7A 7A, 13 57 00 00 > 7F, 13 8C 00 00 > 7F,"
        "13 8D 00 00 > 6F 10, 13 69 00 00 > 7F, 23 > 33 69 69 69");
    row("GET_DCT_LOCK of a MARLO, with one", "MARLO", "27 02 > 6F 10");
    row("CTRL_MOVE of a MARLO, for 720 ms at least", "MARLO",
        "01 00 47 00 > 6F 10, 01 00 00 00 > 6F 10, 01 00 48 00 > 7F, 01 00 47 > 6F 11");
    row("CTRL_MOVEOF of a MARLO, by 30 at least, limits or not", "MARLO",
        "04 02 1D00 FF > 6F 10, 04 05 1D00 FF > 6F 10, 04 02 1E00 FF > 6F 22, 04 06 0000 FF > 6F 22");
    row("SET_MOTOR_LIMITS of a MARLO shifts none", "MARLO",
        Limits + "11 04 00 6400 > 6F 25, 11 05 01 6400 > 6F 25, 11 00 00 0000 > 7F");
    row("CTRL_MOVE that a MARLO refuses shows in GET_MOTOR_STATUS", "MARLO",
        "16 01 05 > 7F, 0E > 0F 00 00 00 00, 01 00 48 00 > 6F 20, 0E > 0F 03 00 01 01");
    row("SET_MOTOR_SOFT_START_STOP", "TB60LV",
        "19 00 01 00 > 7F, 29 > 39 01 96 01 96, 19 01 02 07 > 7F, 19 02 00 00 > 7F, 29 > 39 01 07 00 96,"
        "19 03 00 00 > 6F 10, 19 00 03 00 > 6F 10, 19 00 00 > 6F 11, 39 > 6F 10");
    row("SET_TORQUE_LIMITATION: 0 is on and 1 is off", "TB60LV",
        "2A > 3A 01 00, 1A 01 00 > 7F, 2A > 3A 00 00, 1A 00 00 > 7F, 1A 02 01 > 7F, 2A > 3A 01 01,"
        "1A 02 02 > 6F 10, 2F 1A > 3F 1A 00, 1F 1A > 7F, 2F 1A > 3F 1A 01, 1A 03 FF > 7F, 2F 1A > 3F 1A 00,"
        "1A 04 00 > 6F 10");

    row("SET_APP_MODE of a curtain", "MARLO", "10 02 > 7F, 10 00 > 6F 25, 10 82 > 6F 25, 20 > 30 02");
    row("SET_APP_MODE is for those who ask for an answer", "MOTOR",
        "-10 02 >, 20 > 30 00, 10 02 > 7F, 20 > 30 02, 10 03 > 6F 25, 10 > 6F 11, 1F 10 > 7F, 20 > 30 00");
    row("CTRL_MOVEOF: a tilt needs no limits, its steps do", "MARLO",
        "0C > 0D FFFF FF 00 FF, 04 06 0000 FF > 6F 22," + Limits
            + "04 06 0000 FF > 7F, 04 07 0000 FF > 7F, 0E > 0F 00 00 00 00, 0C > 0D 0000 00 00 FF");
    row("SET_MOTOR_DIRECTION of 2 changes nothing", "QM75", "12 02 > 7F, 22 > 32 00, 12 01 > 7F, 22 > 32 01");
    row("SET_MOTOR_IP", "QM75",
        "15 02 01 6400 > 6F 22," + Limits
            + "25 01 > 35 01 FFFF FF, 15 02 01 6400 > 7F, 25 01 > 35 01 6400 01, 15 03 10 3200 > 7F,"
              "25 10 > 35 10 8813 32, 15 02 01 1127 > 6F 21, 15 02 01 1027 > 7F, 15 03 01 6400 > 7F,"
              "25 01 > 35 01 1027 64, 15 03 01 6500 > 6F 21, 15 02 00 0000 > 6F 10, 15 02 11 0000 > 6F 10,"
              "15 04 01 0000 > 6F 10, 15 01 02 0000 > 7F, 25 02 > 35 02 0000 00, 15 00 01 0000 > 7F,"
              "25 01 > 35 01 FFFF FF, 25 00 > 6F 10, 25 11 > 6F 10, 25 > 6F 11");
    row("SET_NETWORK_LOCK without limits", "QM75",
        "16 01 05 > 7F, 26 > 36 01 000001 05, 16 01 04 > 6F 2A, 16 00 04 > 6F 2A, 16 02 05 > 6F 10,"
        "16 02 04 > 6F 2A, 16 00 05 > 7F, 26 > 36 00 000001 00, 16 01 00 > 7F, 0E > 0F 00 00 00 00,"
        "02 FF > 7F, 0E > 0F 03 00 01 01");
    row("SET_DCT_LOCK of one", "TB20",
        "17 01 01 05 > 7F, 27 01 > 37 01 000001 05, 17 00 01 04 > 6F 2A, 17 00 00 04 > 6F 2A,"
        "17 00 00 06 > 7F, 27 01 > 37 00 000001 00, 17 02 01 09 > 6F 10, 17 01 02 09 > 6F 10, 27 00 > 6F 10,"
        "27 > 6F 11");
    row("SET_DCT_LOCK of all, or none", "MOTOR",
        "17 01 02 05 > 7F, 17 01 00 04 > 6F 2A, 27 01 > 37 00 000000 00, 17 01 00 06 > 7F,"
        "27 01 > 37 01 000001 06, 27 02 > 37 01 000001 06, 17 02 01 04 > 6F 10, 27 03 > 6F 10");
    row("SET_FACTORY_DEFAULT of no locks is fine", "QM75", "1F 17 > 7F, 1F 16 > 7F");
    row("SET_FACTORY_DEFAULT opens the lock", "MARLO",
        Limits
            + "06 00 0000 05 > 7F, 01 00 48 00 > 6F 20, 05 > 6F 20, 1F 16 > 7F, 0E > 0F 00 00 01 01,"
              "26 > 36 00 000001 05, 16 01 04 > 6F 2A");
    row("GET_FACTORY_DEFAULT: a lock is none, and leaves its priority", "MARLO",
        "2F 16 > 3F 16 01, 16 01 05 > 7F, 2F 17 > 3F 17 00, 1F 17 > 7F, 2F 17 > 3F 17 01, 17 01 01 07 > 7F,"
        "2F 16 > 3F 16 00, 1F 16 > 7F, 27 01 > 37 00 000001 07");
    row("CTRL_NETWORK_LOCK: a release names who released", "MARLO",
        Limits + "06 05 0000 00 > 7F, 26 > 36 00 000001 00");
    row("SET_FACTORY_DEFAULT by function", "TB60LV",
        Limits
            + "13 0A 0A 0A > 7F, 15 02 01 6400 > 7F, 2F 13 > 3F 13 00, 1F 13 > 7F, 23 > 33 19 19 0F,"
              "2F 13 > 3F 13 01, 2F 00 > 3F 00 00, 19 00 01 00 > 7F, 1A 01 00 > 7F, 1F 14 > 6F 25,"
              "2F 18 > 6F 25, 1F 01 > 6F 10, 1F > 6F 11, 1F 00 > 7F, 2F 00 > 3F 00 01, 29 > 39 00 96 00 96,"
              "21 > 31 FFFF FFFF");
    row("SET_FACTORY_DEFAULT of others' functions", "QM75", "1F 19 > 6F 25, 2F 1A > 6F 25");

    row("legacy requests to a TB20", "TB20",
        Limits
            + "42 > 62 00 1027, 12 01 > 7F, 42 > 62 01 1027, 12 00 > 7F, 5B 06 00 09 > 6F 10,"
              "5B 07 00 09 > 6F 10, 15 02 01 D007 > 7F, 43 00 > 63 00 D007, 43 10 > 6F 10, 43 > 6F 11,"
              "4B > 6B 00, 53 01 B80B > 7F, 25 02 > 35 02 B80B 1E, 53 10 0000 > 6F 10, 54 04 0500 > 6F 23,"
              "54 04 FFFF > 6F 23, 54 00 0000 > 6F 10, 54 80 0000 > 6F 10, 54 03 0000 > 7F,"
              "5B 03 00 09 > 6F 10, 5B 04 03 09 > 6F 23, 5B 00 00 03 > 7F, 4B > 6B 01, 54 01 0000 > 6F 20,"
              "5B 05 00 02 > 6F 2A, 03 00 0000 FF > 6F 20, 5B 05 00 03 > 7F, 4B > 6B 00,"
              "45 > 65 00000000000000000000000000000000");
    row("legacy requests need limits", "TB20",
        "53 01 0000 > 6F 22, 54 01 0000 > 6F 22, 5B 00 00 00 > 6F 22, 54 01 00 > 6F 11");
    row("the legacy motor", "HRMV2",
        "42 > 62 00 0010, 44 > 64 000000, 46 > 66 0D00 00 02 0C 05 06 20 00 00, 48 > 68 0000, 4B > 6B 00,"
        "5B 02 > 7F, 4B > 6B 02, 5B > 6F 11, 40 > 6F 10, 02 FF > 6F 10, B0 > 6F 10, 55 > 6F 10,"
        "43 00 > 6F 10, 43 01 > 63 01 0000, 53 FF 01 34 > 7F, 53 FF 02 3412 > 7F, 43 02 > 63 02 3412,"
        "53 FF 00 0000 > 6F 01, 53 FF 11 0000 > 6F 01, 51 03 341200 > 7F, 41 03 > 61 03 341200,"
        "51 0F 351200 > 7F, 41 0F > 61 0F 351200, -41 10 > 6F 01, -40 >, -43 00 >, -5B 04 >, 4B > 6B 04");
}

void tst_Products::conversations()
{
    QFETCH(QByteArray, product);
    QFETCH(QByteArray, conversation);
    Net net(product);
    QCOMPARE(net.holds(conversation), QByteArray());
}

void tst_Products::legacyAnswersAreDelayed()
{
    CatchingBus bus;
    struct Stub : HRMv2Stub
    {
        using HRMv2Stub::HRMv2Stub;
        using HRMv2Stub::standardAnswer;
    } stub(Addr, &bus);
    QCOMPARE(stub.stubOptions(), HRMv2Stub::DELAY_REPLY);
    QCOMPARE(stub.replyDelay(VOXMessage()), 0);
    for (const auto &[request, answer] :
         {std::pair("4B", "6B 00"), {"4B", "6B 00"}, {"41 03", "61 03 000000"}}) {
        for (const unsigned char flags : {0x80, 0x80, 0})
            stub.dispatch(frame(request, Addr, flags));
        QCOMPARE(bus.frames.size(), 1);
        QCOMPARE(text(BusMessage(bus.frames.takeFirst())), hex("6F FF"));
        QCOMPARE(timersOf(stub).value(0, {0, 0, {}}).interval, 50);
        QTRY_COMPARE(bus.frames.size(), 1);
        QCOMPARE(text(BusMessage(bus.frames.takeFirst())), hex(answer));
    }
    // It dies with the place that it is an answer from.
    CatchingBus other;
    const std::function<void()> changes[] = {[&] { stub.setAddr(1); }, [&] { stub.attach(&other); },
                                             [&] { stub.detach(); }};
    for (const auto &change : changes) {
        stub.dispatch(frame("4B", Addr));
        QCOMPARE(timersOf(stub).size(), 1);
        change();
        QCOMPARE(timersOf(stub).size(), 0);
    }
    stub.attach(&bus);
    stub.setStubOptions({});
    stub.dispatch(frame("4B", Addr));
    QCOMPARE(bus.frames.size(), 1);
    QCOMPARE(other.frames, QByteArrayList());
    // The timers of its base are not served.
    stub.standardAnswer(frame("50 01", Addr));
    expire(stub);
    QCOMPARE(timersOf(stub).size(), 1);
}

void tst_Products::slotsMayDestroy_data()
{
    const auto row = columns<QByteArray, QByteArray, QByteArray>("product", "before", "requests");
    // The first is a move that ends before anyone looks.
    const QByteArray moved("CTRL_MOVETO 03 0A00 FF");
    row("by an arrival", "TB60LV", moved,
        "GET_MOTOR_POSITION, CTRL_MOVE 00 64 00, CTRL_MOVE 02 64 00, CTRL_MOVEOF 00 0000 FF, "
        "CTRL_MOVEOF 02 6400 FF, CTRL_MOVEOF 05 6400 FF, SET_MOTOR_LIMITS 01 00 0000, "
        "SET_MOTOR_LIMITS 01 01 0000, SET_MOTOR_LIMITS 02 00 1027, SET_MOTOR_DIRECTION 01, "
        "SET_MOTOR_IP 01 01 0000, SET_FACTORY_DEFAULT 00, CTRL_STOP FF, CTRL_WINK, "
        "CTRL_NETWORK_LOCK 00 0000 00");
    row("by an arrival, in a product's answer", "MARLO", moved,
        "SET_MOTOR_LIMITS 02 00 1027, CTRL_MOVE 00 48 00, CTRL_MOVEOF 02 6400 FF");
    row("by an arrival, in a legacy answer", "TB20", moved,
        "SET_MOTOR_POSITION 03 0000, SET_LOCK_STATUS 00 00 00");
    row("by a status", "TB60LV", "CTRL_WINK",
        "CTRL_MOVETO 00 0000 FF, CTRL_MOVETO 01 0000 FF, CTRL_MOVEOF 02 6400 FF, CTRL_MOVEOF 03 6400 FF, "
        "CTRL_MOVE 01 64 00, CTRL_STOP FF, CTRL_NETWORK_LOCK 00 0000 05");
    row("by a refusal", "TB60LV", "SET_NETWORK_LOCK 01 05",
        "CTRL_MOVETO 00 0000 FF, CTRL_MOVEOF 02 6400 FF, CTRL_WINK");
    row("by a product's refusal", "MARLO", "SET_NETWORK_LOCK 01 05",
        "CTRL_MOVE 00 48 00, CTRL_MOVEOF 02 6400 FF");
    row("by a release", "MARLO", "CTRL_NETWORK_LOCK 00 0000 05",
        "CTRL_NETWORK_LOCK 05 0000 05, SET_FACTORY_DEFAULT 00, SET_FACTORY_DEFAULT 17");
    row("by a legacy refusal, or lock", "TB20", "SET_LOCK_STATUS 02 00 05",
        "SET_MOTOR_POSITION 01 0000, SET_LOCK_STATUS 00 00 05");
    row("by what all nodes tell", "NODE", "GET_NODE_ADDR",
        "SET_NODE_LABEL 41414141414141414141414141414141, SET_NETWORK_CONFIG 01 05 FF 0000 FF FF, "
        "SET_NETWORK_CONFIG FF 05 FF 0000 FF 01, SET_NETWORK_CONFIG 01 05 FF 0000 FF 01");
}

// A slot that hears of a change may destroy the node, which does not answer then: it tells first. So may the
// slots of what a host itself asks of the motor.
void tst_Products::slotsMayDestroy()
{
    QFETCH(QByteArray, product);
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, requests);
    using M = KVRMotorDevice;
    const auto isSilent = [&](const std::function<void(KVRDevice &)> &act) {
        CatchingBus bus;
        const QPointer<KVRDevice> node = Products[product].make(&bus);
        auto *motor = qobject_cast<KVRMotorDevice *>(node);
        if (motor) {
            motor->setLimits(0, 10000);
            motor->setTimeScale(10000);
        }
        node->dispatch(frame(bytesOf(before), Addr));
        QTest::qSleep(3);
        bus.frames.clear();
        const auto destroy = [&node] { delete node; };
        connect(node, &KVRDevice::nodeLabelChanged, destroy);
        connect(node, &KVRDevice::networkConfigChanged, destroy);
        connect(node, &KVRDevice::uploadRequest, destroy);
        if (motor)
            connect(motor, &KVRMotorDevice::statusChanged, destroy);
        act(*node);
        const bool isLeft = node;
        delete node;
        return !isLeft && bus.frames.isEmpty();
    };
    for (const QByteArray &request : requests.split(',')) {
        const VOXMessage asked = frame(bytesOf(request), Addr, VOXMessage::AckFlag);
        QVERIFY2(isSilent([&](KVRDevice &device) { device.dispatch(asked); }), request);
    }
    const std::function<void(M &)> looks[] = {
        [](M &m) { m.position(); },           [](M &m) { m.angle(); },        [](M &m) { m.isMoving(); },
        [](M &m) { m.isMovingUp(); },         [](M &m) { m.isMovingDown(); }, [](M &m) { m.restAt(7); },
        [](M &m) { m.setPositionPulses(10); }};
    for (const auto &look : looks)
        QVERIFY(!before.startsWith("CTRL_MOVETO")
                || isSilent([&](KVRDevice &device) { look(static_cast<M &>(device)); }));
}

void tst_Products::legacyTargets()
{
    Net net("TB20");
    QVERIFY(net.motor().setLimits(0, 10000));
    QVERIFY(net.motor().setMotorIP(3, 700));
    QByteArrayList targets;
    for (const char *request : {"54 02 0000", "54 01 0000", "54 04 0200", "54 08 0123", "54 10 8000"}) {
        net.say(request);
        targets += QByteArray::number(net.motor().targetPos());
    }
    QCOMPARE(targets.join(' '), QByteArray("10000 0 700 8961 5019"));
    net.say("54 03 0000");
    QCOMPARE(net.motor().startPos(), net.motor().targetPos());
    // Here alone the index counts from 1.
    net.say("5B 04 03 00");
    QCOMPARE(int(net.motor().targetPos()), 700);
}

void tst_Products::counters()
{
    Net net("TB60LV");
    MotorDiagnostic counters;
    counters.setTotalMoveCount(0x01234567);
    counters.setTotalRevCount(0x89abcdef);
    using D = MotorDiagnostic;
    unsigned short count = 0x0102;
    for (const auto set :
         {&D::setThermalCount, &D::setPostThermalMove, &D::setObstacleCount, &D::setPostObstacleMove,
          &D::setPowerCount, &D::setResetCount, &D::setEncoderErrCount})
        (counters.*set)(count++);
    MotorDiagnostic same = counters;
    same.setTotalRevCount(0x89abcdef);
    net.motor().setMotorDiagnostic(counters);
    net.motor().setMotorDiagnostic(same);
    QCOMPARE(net.motor().getMotorDiagnostic().constData(), counters.constData());
    const QByteArray all =
        "B0 > C0 674523 00, B1 > C1 EFCDAB 00, B2 > C2 0201 0301, B3 > C3 0401 0501, B4 > C4 0601";
    QCOMPARE(net.holds(all + ", B5 > C5 0701"), QByteArray());
    Net other("MARLO");
    other.motor().setMotorDiagnostic(counters);
    QCOMPARE(other.holds("B6 > C6 0801"), QByteArray());
}

void tst_Products::mirroring()
{
    Net net("QM75");
    net.motor().setPositionPulses(100);
    QCOMPARE(net.holds("02 FF > 7F," + Limits
                       + "12 01 > 7F, 0C > 0D AC26 63 FF FF, 12 01 > 7F, 0C > 0D AC26 63 FF FF"),
             QByteArray());
    net.say("03 00 0000 FF");
    QTRY_VERIFY(net.motor().isMoving());
    QCOMPARE(net.holds("12 00 > 6F 26, 1F 00 > 6F 26"), QByteArray());
    net.motor().setMotorDirection(KVRMotor::TurnDirection(2));
    QCOMPARE(list(net.motor().isMoving(), net.motor().status().state), list(false, KVRMotor::STATE_STOPPED));
    // Without a change, the factory's direction does not even show in the status.
    QCOMPARE(net.holds("12 00 > 7F, 02 FF > 7F, 1F 12 > 7F, 0E > 0F 00 00 01 01"), QByteArray());
    // All goes back: the direction first, about limits that are still there.
    net.motor().restAt(100);
    QCOMPARE(net.holds("12 01 > 7F, 1F 00 > 7F, 21 > 31 FFFF FFFF"), QByteArray());
    QCOMPARE(int(net.motor().positionPulses()), 100);

    Net curtain("MARLO");
    QCOMPARE(curtain.holds(Limits + "03 00 0000 FF > 7F"), QByteArray());
    QTRY_VERIFY(curtain.motor().isMoving());
    // No tilt in motion.
    QCOMPARE(list(curtain.motor().angle(), curtain.say("0C").mid(12, 2)), list(255, QByteArray("FF")));
    QCOMPARE(curtain.holds("11 04 00 6400 > 6F 26"), QByteArray());
}

// A product that says so takes the tilt of moves that it accepts, asked for an answer or not. Others, and
// rollers, take none.
void tst_Products::tilt()
{
    for (const QByteArray modes : {"MARLO:", "MOTOR:10 01 > 7F,"}) {
        Net other(modes.left(5));
        QCOMPARE(other.holds(modes.mid(6) + Limits + "03 01 0000 1E > 7F, 0C > 0D 0000 00 00 FF"),
                 QByteArray());
    }
    Net net("BLIND");
    const QSignalSpy angles(&net.motor(), &KVRMotorDevice::angleChanged);
    const QByteArray taken = "03 01 0000 07 > 6F 22, 0C > 0D FFFF FF 00 FF," + Limits
        + "03 01 0000 1E > 7F, 0C > 0D 0000 00 1E FF, 03 01 0000 FF > 7F, 03 02 0200 07 > 6F 23,"
          "03 05 0000 07 > 6F 10, 04 06 0000 07 > 7F, 02 07 > 7F, 0C > 0D 0000 00 1E FF,"
          "-03 03 0000 FE >, 0C > 0D 0000 00 FE FF, -05 >, 05 > 7F, 0E > 0F 00 FF 00 00";
    const QByteArray hidden = ", 10 00 > 7F, 03 01 0000 07 > 7F, 0C > 0D 0000 00 FF FF, 10 01 > 7F,"
                              "06 00 0000 05 > 7F, 03 01 0000 07 > 6F 20, 0C > 0D 0000 00 FE FF,"
                              "06 05 0000 05 > 7F, 03 00 0000 00 > 7F";
    QCOMPARE(net.holds(taken + hidden), QByteArray());
    QTRY_VERIFY(net.motor().isMoving());
    QCOMPARE(list(net.motor().angle(), net.say("0C").mid(12, 2)), list(255, QByteArray("FF")));
    net.motor().restAt(5);
    QCOMPARE(net.motor().angle(), uchar(0));
    net.motor().setAngle(9);
    net.motor().setAngle(9);
    QCOMPARE(net.holds("0C > 0D 0500 00 09 FF"), QByteArray());
    QCOMPARE(list(angles.size(), angles[0][0].toInt(), angles[1][0].toInt(), angles[2][0].toInt(),
                  angles[3][0].toInt()),
             list(4, 0x1E, 0xFE, 0, 9));
}

QTEST_GUILESS_MAIN(tst_Products)
#include "tst_products.moc"

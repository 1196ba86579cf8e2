#include "messages/voxdatareader.h"
#include "messages/voxdatawriter.h"
#include "support/columns.h"
#include "support/frames.h"
#include "transport/voxbus.h"

/// The frame, its check values, and its fields.
class tst_VOXMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lengthsAndFlags();
    void addresses();
    void validityAndCheckValues();
    void copiesAndThePreparedMark();
    void shortFramesAreHarmless();
    void fieldsRoundTrip();
    void accessesAreAllOrNothing();
};

namespace {
QByteArray header(const VOXMessage &message)
{
    return hex(message.data().left(VOXMessage::HeaderLength).toHex());
}
}

void tst_VOXMessage::lengthsAndFlags()
{
    VOXMessage message(static_cast<unsigned char>(0xAB));
    const auto seen = [&] {
        return list(header(message).left(5), message.len(), message.isAck(), message.isCRC());
    };
    QCOMPARE(seen(), list("00 AB", 11, true, true));
    message.setLen(40);
    QCOMPARE(seen(), list("00 BF", 31, true, true));
    QCOMPARE(message.data().mid(11), QByteArray(20, '\0'));
    message.setLen(5);
    QCOMPARE(seen(), list("00 AB", 11, true, true));
    message.setExtLen(0x4B);
    QCOMPARE(seen(), list("00 4B", 11, false, false));
    message.setAck(true);
    message.setCRC(true);
    QCOMPARE(seen(), list("00 EB", 11, true, true));
    message.setAck(false);
    QCOMPARE(seen(), list("00 6B", 11, false, true));
    message.setExtLen(0x43);
    QCOMPARE(message.data().size(), 3);
    QCOMPARE(int(VOXMessage(BusMessage(QByteArray(267, 'x'))).len()), 11);
}

void tst_VOXMessage::addresses()
{
    VOXMessage message(static_cast<unsigned char>(11));
    message.setSrcAddr(0x0F010203);
    message.setDestAddr(0xF8A1B2C3);
    QCOMPARE(list(header(message), message.srcAddr(true), message.srcAddr(false), message.destAddr(true)),
             list(hex("00 0B F8 030201 C3B2A1"), 0x0F010203, 0x010203, 0x08A1B2C3));
    message.setSrcNodeType(VOX::NODETYPE_TB20);
    QCOMPARE(header(message), hex("00 0B 28 030201 C3B2A1"));

    message.setGroupAddr(0x06123456, VOX::NODETYPE_MASTER);
    QCOMPARE(list(header(message), message.bcastAddr(true)), list(hex("00 0B F6 563412 000000"), 0x06123456));
    message.setBcastAddr(0x06123456, VOX::NODETYPE_ANY);
    QCOMPARE(list(header(message), message.bcastAddr(true), message.srcAddr(true)),
             list(hex("00 0B 60 563412 FFFFFF"), 0x00123456, 0x06123456));

    // The type does not matter, and one byte that differs makes a node.
    for (const auto &[addr, type] : {std::pair(0x0F000000u, VOX::GROUP),
                                     {0xFFFFFFu, VOX::BCAST},
                                     {0x00FFFFu, VOX::P2P},
                                     {0x010000u, VOX::P2P}})
        QCOMPARE(list(addr, frame("02", addr).addrType()), list(addr, type));
}

void tst_VOXMessage::validityAndCheckValues()
{
    const auto isValid = [](const QByteArray &bytes) { return VOXMessage(BusMessage(bytes)).isValid(); };
    const QByteArray good = frame("02 FF", 1).data();
    QVERIFY2(isValid(good.left(11) + "\x7f"), "a wrong check value is not looked at");
    QVERIFY2(!isValid(good.left(11)), "one byte too few");
    QVERIFY2(!isValid(good + '\0'), "one byte too many");
    QVERIFY2(!isValid('\0' + good.mid(1)), "command 0");
    QVERIFY2(!isValid(QByteArray("\x02\x0A", 2) + QByteArray(8, '\1')), "ten bytes that agree");
    QVERIFY2(!isValid(good + QByteArray(256, '\0')), "256 bytes too many");

    QByteArray digits("123456789");
    VOXBus::invert(digits.data(), std::size_t(digits.size()));
    const std::tuple<QByteArray, int, int> cases[] = {{QByteArray(9, '\0'), 0x08F7, 0x3B54},
                                                      {digits, 0x01DD, 0x2189},
                                                      {QByteArray(3, '\xF0'), 0x002D, 0x31F8}};
    for (const auto &[plain, checksum, crc] : cases)
        QCOMPARE(list(VOXBus::chksum(plain), VOXBus::crc(plain)), list(checksum, crc));
}

void tst_VOXMessage::copiesAndThePreparedMark()
{
    VOXMessage message = frame("02 FF", 1);
    const VOXMessage copy = message;
    QCOMPARE(list(message.isPrepared(), copy.sharesDataWith(message)), list(true, true));
    message.setCmd(3);
    QCOMPARE(list(message.isPrepared(), copy.isPrepared(), copy.sharesDataWith(message), int(copy.cmd())),
             list(false, true, false, 2));
    message.prepare();
    message.setAck(true);
    QVERIFY2(!message.isPrepared(), "a frame that nobody shares");
    VOXMessage tooShort(static_cast<unsigned char>(10));
    const QByteArray before = tooShort.data();
    tooShort.prepare();
    QVERIFY(!tooShort.isPrepared());
    QCOMPARE(static_cast<const VOXMessage &>(tooShort).data(), before);
}

void tst_VOXMessage::shortFramesAreHarmless()
{
    const QByteArray whole = frame("03 01020304", 0x08A1B2C3).data();
    for (int size = 0; size < whole.size(); ++size) {
        VOXMessage message{BusMessage(whole.left(size))};
        QCOMPARE(list(message.isValid(), message.addrType(), message.destAddr(false)),
                 list(false, VOX::P2P, size < 9 ? 0u : 0xA1B2C3u));
        message.setDestAddr(1);
        message.setBcastAddr(1, VOX::NODETYPE_ANY);
        message.setAck(true);
        message.setCmd(1);
        QCOMPARE(message.data().size(), size);
        unsigned char byte = 0;
        QCOMPARE((VOXDataReader(message) >> byte).fail(), size < 12);
    }
}

void tst_VOXMessage::fieldsRoundTrip()
{
    VOXMessage message(static_cast<unsigned char>(31));
    VOXDataWriter writer(message);
    writer << '\xFE' << quint16(0x8001) << 0x0A123456u << true << false;
    writer.writeUint32(0xFEDCBA98);
    QCOMPARE(hex(message.data().mid(9, 12).toHex()), hex("FE 0180 563412 01 00 98BADCFE"));
    char c = 0;
    unsigned short u16 = 0;
    unsigned int addr = 0xFFFFFFFF, u32 = 0;
    bool yes = false, no = true;
    VOXDataReader reader(message);
    (reader >> c >> u16 >> &addr >> yes >> &no).readUint32(u32);
    QCOMPARE(list(reader.fail(), int(c), u16, addr, yes, no, u32),
             list(false, int('\xFE'), 0x8001, 0x123456, true, false, 0xFEDCBA98));
}

// One byte is missing: nothing is moved, and nothing afterwards.
void tst_VOXMessage::accessesAreAllOrNothing()
{
    struct Skipping : VOXDataReader
    {
        using VOXDataReader::skip;
        using VOXDataReader::VOXDataReader;
    };
    quint8 u8 = 7;
    quint16 u16 = 7;
    unsigned int u24 = 7, u32 = 7;
    const std::function<void(VOXDataWriter &, VOXDataReader &)> accesses[] = {
        [&](auto &writer, auto &reader) { writer << u8, reader >> u8; },
        [&](auto &writer, auto &reader) { writer << u16, reader >> u16; },
        [&](auto &writer, auto &reader) { writer << u24, reader >> u24; },
        [&](auto &writer, auto &reader) { writer.writeUint32(u32), reader.readUint32(u32); },
    };
    for (int room = 0; room < 4; ++room) {
        VOXMessage message(static_cast<unsigned char>(11 + room));
        const QByteArray before = message.data();
        VOXDataWriter writer(message);
        Skipping reader(message);
        accesses[room](writer, reader);
        for (int width = 0; width <= 4; ++width) {
            reader.skip(width);
            QCOMPARE(InOrder({writer.fail(), reader.fail(), (reader >> u8).fail()}),
                     InOrder({true, true, true}));
        }
        QCOMPARE(u8 + u16 + u24 + u32, 28u);
        QCOMPARE(writer.write("x", 1) + reader.read(nullptr, 0), 0u);
        QCOMPARE(static_cast<const VOXMessage &>(message).data(), before);
    }
}

QTEST_GUILESS_MAIN(tst_VOXMessage)
#include "tst_voxmessage.moc"

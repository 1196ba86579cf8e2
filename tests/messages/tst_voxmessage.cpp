#include "messages/voxdatareader.h"
#include "messages/voxdatawriter.h"
#include "support/frames.h"
#include "transport/voxbus.h"

#include <QtTest>

/// The frame, its check values, and its fields.
class tst_VOXMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lengths();
    void flagsLeaveTheRestAlone();
    void addresses();
    void addressType_data();
    void addressType();
    void validity_data();
    void validity();
    void checkValues_data();
    void checkValues();
    void preparedMark();
    void copiesShareUntilWritten();
    void shortFramesAreHarmless();
    void fieldsRoundTrip();
    void accessesAreAllOrNothing_data();
    void accessesAreAllOrNothing();
    void skippingNeverRevivesAReader();
};

namespace {
QByteArray header(const VOXMessage &message)
{
    return hex(message.data().left(VOXMessage::HeaderLength).toHex());
}
}

void tst_VOXMessage::lengths()
{
    VOXMessage message(static_cast<unsigned char>(0xAB));
    QCOMPARE(int(message.len()), 11);
    QVERIFY(message.isAck() && message.isCRC());
    message.setLen(40);
    QCOMPARE(int(message.len()), 31);
    QCOMPARE(message.data().at(1), char(0xBF));
    QCOMPARE(message.data().mid(11), QByteArray(20, '\0'));
    message.setLen(5);
    QCOMPARE(message.data().at(1), char(0xAB));
    message.setExtLen(0x0C);
    QVERIFY(!message.isAck() && !message.isCRC());
    QCOMPARE(int(message.len()), 12);
    message.setExtLen(0x43);
    QCOMPARE(message.data().size(), 3);
    QCOMPARE(int(VOXMessage(BusMessage(QByteArray(267, 'x'))).len()), 11);
}

void tst_VOXMessage::flagsLeaveTheRestAlone()
{
    VOXMessage message(static_cast<unsigned char>(0x4B));
    message.setAck(true);
    message.setCRC(true);
    QCOMPARE(message.data().at(1), char(0xEB));
    message.setAck(false);
    QCOMPARE(message.data().at(1), char(0x6B));
    message.setSrcNodeType(VOX::NODETYPE_MASTER);
    message.setDestNodeType(VOX::NODETYPE_TB60LV);
    message.setSrcNodeType(VOX::NODETYPE_TB20);
    QCOMPARE(message.data().at(2), char(0x28));
}

void tst_VOXMessage::addresses()
{
    VOXMessage message(static_cast<unsigned char>(11));
    message.setSrcAddr(0x0F010203);
    message.setDestAddr(0xF8A1B2C3);
    QCOMPARE(header(message), hex("00 0B F8 030201 C3B2A1"));
    QCOMPARE(message.srcAddr(true), 0x0F010203u);
    QCOMPARE(message.srcAddr(false), 0x010203u);
    QCOMPARE(message.destAddr(true), 0x08A1B2C3u);
    message.setDestAddr(0xA1B2C3);
    QCOMPARE(message.destAddr(true), 0xA1B2C3u);
    QCOMPARE(message.srcNodeType(), VOX::NODETYPE_MASTER);

    message.setGroupAddr(0x06123456, VOX::NODETYPE_MASTER);
    QCOMPARE(header(message), hex("00 0B F6 563412 000000"));
    QCOMPARE(message.bcastAddr(true), 0x06123456u);
    message.setBcastAddr(0x06123456, VOX::NODETYPE_ANY);
    QCOMPARE(header(message), hex("00 0B 60 563412 FFFFFF"));
    QCOMPARE(message.bcastAddr(true), 0x00123456u);
    QCOMPARE(message.srcAddr(true), 0x06123456u);
}

void tst_VOXMessage::addressType_data()
{
    QTest::addColumn<unsigned int>("dest");
    QTest::addColumn<int>("type");
    QTest::newRow("all 00 is a group") << 0u << int(VOX::GROUP);
    QTest::newRow("its type does not matter") << 0x0F000000u << int(VOX::GROUP);
    QTest::newRow("all FF is everyone") << 0xFFFFFFu << int(VOX::BCAST);
    QTest::newRow("FF FF 00 is a node") << 0x00FFFFu << int(VOX::P2P);
    QTest::newRow("00 00 01 is a node") << 0x010000u << int(VOX::P2P);
}

void tst_VOXMessage::addressType()
{
    QFETCH(unsigned int, dest);
    QFETCH(int, type);
    QCOMPARE(int(frame("02", dest).addrType()), type);
}

void tst_VOXMessage::validity_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("isValid");
    const QByteArray good = frame("02 FF", 1).data();
    QTest::newRow("a frame") << good << true;
    QTest::newRow("a wrong check value is not looked at") << good.left(11) + "\x7f" << true;
    QTest::newRow("one byte too few") << good.left(11) << false;
    QTest::newRow("one byte too many") << good + '\0' << false;
    QTest::newRow("command 0") << '\0' + good.mid(1) << false;
    QTest::newRow("ten bytes that agree") << QByteArray("\x02\x0A", 2) + QByteArray(8, '\1') << false;
    QTest::newRow("256 bytes too many") << good + QByteArray(256, '\0') << false;
    QTest::newRow("nothing") << QByteArray() << false;
}

void tst_VOXMessage::validity()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, isValid);
    QCOMPARE(VOXMessage(BusMessage(bytes)).isValid(), isValid);
}

void tst_VOXMessage::checkValues_data()
{
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<int>("checksum");
    QTest::addColumn<int>("crc");
    QByteArray digits("123456789");
    VOXBus::invert(digits.data(), std::size_t(digits.size()));
    QTest::newRow("nothing") << QByteArray() << 0 << 0;
    QTest::newRow("nine zeros") << QByteArray(9, '\0') << 0x08F7 << 0x3B54;
    QTest::newRow("the line bytes 123456789") << digits << 0x01DD << 0x2189;
    QTest::newRow("bytes above 127") << QByteArray(3, '\xF0') << 0x002D << 0x31F8;
}

void tst_VOXMessage::checkValues()
{
    QFETCH(QByteArray, plain);
    QFETCH(int, checksum);
    QFETCH(int, crc);
    QCOMPARE(int(VOXBus::chksum(plain)), checksum);
    QCOMPARE(int(VOXBus::crc(plain)), crc);
    // In the frame, the high byte comes first.
    for (const bool isCrc : {false, true}) {
        VOXMessage message(static_cast<unsigned char>(11));
        message.setCmd(0x82);
        message.setCRC(isCrc);
        message.prepare();
        const QByteArray covered = message.data().left(9);
        const int check = isCrc ? VOXBus::crc(covered) : VOXBus::chksum(covered);
        QCOMPARE(message.data().right(2).toHex().toInt(nullptr, 16), check);
    }
}

void tst_VOXMessage::preparedMark()
{
    VOXMessage message = frame("02 FF", 1);
    QVERIFY(message.isPrepared());
    const VOXMessage copy = message;
    message.setAck(true);
    QVERIFY(!message.isPrepared());
    QVERIFY(copy.isPrepared());
    VOXMessage tooShort(static_cast<unsigned char>(10));
    const QByteArray before = tooShort.data();
    tooShort.prepare();
    QVERIFY(!tooShort.isPrepared());
    QCOMPARE(static_cast<const VOXMessage &>(tooShort).data(), before);
}

void tst_VOXMessage::copiesShareUntilWritten()
{
    VOXMessage message = frame("02 FF", 1);
    VOXMessage copy = message;
    QVERIFY(copy.sharesDataWith(message));
    copy.setCmd(3);
    QCOMPARE(int(message.cmd()), 2);
    QVERIFY(!copy.sharesDataWith(message));
}

void tst_VOXMessage::shortFramesAreHarmless()
{
    const QByteArray whole = frame("03 01020304", 0x08A1B2C3).data();
    for (int size = 0; size < whole.size(); ++size) {
        VOXMessage message{BusMessage(whole.left(size))};
        QVERIFY(!message.isValid());
        QVERIFY(size > 8 || message.addrType() == VOX::P2P);
        QCOMPARE(message.destAddr(false), size < 9 ? 0u : 0xA1B2C3u);
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
    (writer << static_cast<unsigned char>(0xFE) << static_cast<unsigned short>(0x8001) << 0x0A123456u << true
            << false)
        .writeUint32(0xFEDCBA98);
    QCOMPARE(hex(message.data().mid(9, 12).toHex()), hex("FE 0180 563412 01 00 98BADCFE"));
    unsigned char u8 = 0;
    unsigned short u16 = 0;
    unsigned int addr = 0xFFFFFFFF;
    unsigned int u32 = 0;
    bool yes = false;
    bool no = true;
    VOXDataReader reader(message);
    (reader >> u8 >> u16 >> &addr >> yes >> &no).readUint32(u32);
    QVERIFY(!reader.fail());
    QCOMPARE(int(u8), 0xFE);
    QCOMPARE(int(u16), 0x8001);
    QCOMPARE(addr, 0x123456u);
    QCOMPARE(u32, 0xFEDCBA98u);
    QVERIFY(yes && !no);
}

void tst_VOXMessage::accessesAreAllOrNothing_data()
{
    QTest::addColumn<int>("room");
    for (int room = 0; room <= 4; ++room)
        QTest::newRow(qPrintable(QString("%1 bytes").arg(room))) << room;
}

// Each width reads and writes where there is room, and else moves nothing and fails for good.
void tst_VOXMessage::accessesAreAllOrNothing()
{
    QFETCH(int, room);
    for (int width = 1; width <= 4; ++width) {
        VOXMessage message(static_cast<unsigned char>(11 + room));
        const QByteArray before = message.data();
        VOXDataWriter writer(message);
        VOXDataReader reader(message);
        unsigned char u8 = 7;
        unsigned short u16 = 7;
        unsigned int u24 = 7, u32 = 7;
        switch (width) {
        case 1:
            writer << u8;
            reader >> u8;
            break;
        case 2:
            writer << u16;
            reader >> u16;
            break;
        case 3:
            writer << u24;
            reader >> u24;
            break;
        default:
            writer.writeUint32(u32);
            reader.readUint32(u32);
            break;
        }
        QCOMPARE(writer.fail(), width > room);
        QCOMPARE(reader.fail(), width > room);
        if (width > room) {
            QCOMPARE(static_cast<const VOXMessage &>(message).data(), before);
            QCOMPARE(u8 + u16 + u24 + u32, 28u);
            QVERIFY((reader >> u8).fail());
            QCOMPARE(writer.write("x", 1), 0u);
            QCOMPARE(reader.read(nullptr, 0), 0u);
        }
    }
}

void tst_VOXMessage::skippingNeverRevivesAReader()
{
    VOXMessage message(static_cast<unsigned char>(13));
    unsigned char byte = 0;
    unsigned int *const skipped = nullptr;
    VOXDataReader reader(message);
    reader >> skipped;
    QVERIFY2(!reader.fail(), "a skip past the end is no failure yet");
    reader >> byte;
    QVERIFY(reader.fail());
    for (int i = 0; i < 10; ++i)
        reader >> skipped;
    QVERIFY((reader >> byte).fail());
}

QTEST_GUILESS_MAIN(tst_VOXMessage)
#include "tst_voxmessage.moc"

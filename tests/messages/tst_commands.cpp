#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxdebug.h"
#include "messages/voxmessage.h"
#include "support/frames.h"

#include <QtTest>

Q_DECLARE_METATYPE(VOXCmdInfo)

/// The command tables and the names of what is in them.
class tst_Commands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tables();
    void descriptors_data();
    void descriptors();
    void repliesAreKnown();
    void names_data();
    void names();
    void statusOfANack();
    void addresses();
    void logTexts();
};

void tst_Commands::tables()
{
    QCOMPARE(KVR::cmds().size(), 31);
    QCOMPARE(KVR::motorCmds().size(), 46);
    QCOMPARE(KVR::diagCmds().size(), 14);
    QCOMPARE(HRMv2::cmds().size(), 38);
    QCOMPARE(KVR::CmdMetaEnum().keyCount(), 31);
    QCOMPARE(KVR::MotorCmdMetaEnum().keyCount(), 46);
    QCOMPARE(KVR::DiagMetaEnum().keyCount(), 14);
    QCOMPARE(HRMv2::CmdMetaEnum().keyCount(), 38);
    QVERIFY(!VOXCmdInfo().isValid());
    QVERIFY(VOXCmdInfo() == VOXCmdInfo(0, 0, 0, 0));
}

void tst_Commands::descriptors_data()
{
    QTest::addColumn<VOXCmdInfo>("found");
    QTest::addColumn<VOXCmdInfo>("expected");
    const auto row = [](const char *name, const VOXCmdInfo &found, const VOXCmdInfo &expected) {
        QTest::newRow(name) << found << expected;
    };
    row("an address is asked of groups and all", KVR::findCmd(0x40), {0x40, 11, 6, 0x60});
    row("the statistics frame is three bytes longer than they are", KVR::findCmd(0x6E), {0x6E, 28, 1, 0});
    row("a set command has no reply", KVR::findCmd(0x56), {0x56, 18, 7, 0});
    row("the longest frame", KVR::findCmd(0x7D), {0x7D, 31, 1, 0x7E});
    row("a motor's reply", KVR::findCmd(0x0F), {0x0F, 15, 1, 0});
    row("the tilting speed has no room", KVR::findCmd(0x14), {0x14, 11, 7, 0});
    row("an intermediate position's reply is short in the table", KVR::findCmd(0x35), {0x35, 12, 1, 0});
    row("the torque reply is long in the table", KVR::findCmd(0x3A), {0x3A, 15, 1, 0});
    row("diagnostics answer 16 higher", KVR::findCmd(0xB3), {0xB3, 11, 7, 0xC3});
    row("nothing at 08", KVR::findCmd(0x08), VOXCmdInfo());
    row("legacy: everyone only", HRMv2::cmds().value(0x40), {0x40, 11, 4, 0x60});
    row("legacy: labels are CRC frames of 11", HRMv2::cmds().value(0x55), {0x55, 43, 3, 0});
    row("legacy: SET_MOTOR_INFO", HRMv2::cmds().value(0x56), {0x56, 19, 4, 0});
}

void tst_Commands::descriptors()
{
    QFETCH(VOXCmdInfo, found);
    QFETCH(VOXCmdInfo, expected);
    QVERIFY(found == expected);
}

void tst_Commands::repliesAreKnown()
{
    for (const auto *table : {&KVR::cmds(), &KVR::motorCmds(), &KVR::diagCmds(), &HRMv2::cmds()}) {
        for (const VOXCmdInfo &info : *table) {
            QVERIFY2(info.reply() == 0 || table->contains(info.reply()),
                     qPrintable(VOX::toString(info.cmd())));
            QVERIFY(!VOX::toString(info.cmd()).isEmpty());
        }
    }
}

void tst_Commands::names_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    const auto nack = [](int status) { return KVR::toString(static_cast<KVR::NackStatus>(status)); };
    const auto cmd = [](int id) { return VOX::toString(static_cast<unsigned char>(id)); };
    QTest::newRow("busy") << nack(255) << "BUSY";
    QTest::newRow("status 1 has two names") << nack(1) << "RNG";
    QTest::newRow("a motor's status") << nack(0x25) << "FEATURE_NOT_SUPPORTED";
    QTest::newRow("an unknown status, two digits") << nack(7) << "07";
    QTest::newRow("an unknown status, three digits") << nack(200) << "200";
    QTest::newRow("a standard command") << cmd(0x6F) << "NACK";
    QTest::newRow("a motor command") << cmd(0x03) << "CTRL_MOVETO";
    QTest::newRow("a diagnostic command") << cmd(0xC6) << "DIAG_POST_ENCODER_ERRORS";
    QTest::newRow("of two sets the current one") << cmd(0x45) << "GET_NODE_LABEL";
    QTest::newRow("a legacy command") << cmd(0x42) << "GET_MOTOR_SETTINGS";
    QTest::newRow("no command") << cmd(0xFE) << "";
    QTest::newRow("SET_IP is spelled so") << HRMv2::toString(0x53) << "SET_IP";
    QTest::newRow("a current command is no legacy one") << HRMv2::toString(0x50) << "";
    QTest::newRow("type 0") << VOX::toString(VOX::NodeType(0)) << "NODETYPE_ANY";
    QTest::newRow("type 15") << VOX::toString(VOX::NodeType(15)) << "NODETYPE_MASTER";
    QTest::newRow("type 11") << VOX::toString(VOX::NodeType(11)) << "";
    QTest::newRow("an address type") << VOX::toString(VOX::BCAST) << "BCAST";
    QTest::newRow("lock states have no names") << VOX::toString(VOX::LOCKED) << "";
    QTest::newRow("an address") << VOX::toString(0x1A) << "00001A";
    QTest::newRow("an address with its type") << VOX::toString(0x0612AB34u) << "612AB34";
}

void tst_Commands::names()
{
    QFETCH(QString, name);
    QTEST(name, "expected");
}

void tst_Commands::statusOfANack()
{
    QCOMPARE(int(KVR::getNackReply(frame("6F FF", HostAddr))), 255);
    QCOMPARE(int(KVR::getNackReply(frame("6F 22", HostAddr))), int(KVR::NACK_END_LIMITS_NOT_SET));
    QCOMPARE(int(KVR::getNackReply(frame("6F 22 00", HostAddr))), -1);
    QCOMPARE(int(KVR::getNackReply(frame("6E 22", HostAddr))), -1);
    QCOMPARE(int(KVR::getNackReply(VOXMessage())), -1);
}

void tst_Commands::addresses()
{
    QCOMPARE(VOX::makeAddr(VOX::NODETYPE_QM75, 0x1234567), 0x07234567u);
    QCOMPARE(int(VOX::getType(0xF0123456)), 0);
    QCOMPARE(int(VOX::getType(0x0F000001)), 15);
    QVERIFY(!VOX::LockStatusMetaEnum().isValid());
    unsigned char bytes[4] = {0, 0, 0, 0xEE};
    VOX::htovox(0x0A123456u, bytes);
    QCOMPARE(QByteArray(reinterpret_cast<char *>(bytes), 4).toHex(), QByteArray("563412ee"));
    unsigned int addr = 0xFFFFFFFF;
    VOX::voxtoh(bytes, addr);
    QCOMPARE(addr, 0x123456u);
}

void tst_Commands::logTexts()
{
    QString text;
    QDebug debug(&text);
    debug.nospace();
    operator<<(debug, static_cast<unsigned char>(0x6F)) << ' ';
    operator<<(debug, static_cast<unsigned char>(0xFE)) << ' ';
    operator<<(debug, KVR::GET_NODE_ADDR) << ' ';
    operator<<(debug, VOX::NodeType(11)) << ' ';
    operator<<(debug, 0x060A1B2Cu);
    QCOMPARE(text, QString("NACK UNKNOWN(fe) GET_NODE_ADDR UNKNOWN(0b) NODETYPE_MARLO(0a1b2c))"));
}

QTEST_GUILESS_MAIN(tst_Commands)
#include "tst_commands.moc"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxdebug.h"
#include "support/columns.h"
#include "support/frames.h"

#include <algorithm>

using Table = QHash<unsigned char, VOXCmdInfo>;
Q_DECLARE_METATYPE(const Table *)
Q_DECLARE_METATYPE(QMetaEnum)

/// The command tables and the names of what is in them.
class tst_Commands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tables_data();
    void tables();
    void names_data();
    void names();
    void numbers();
    void logTexts();
};

void tst_Commands::tables_data()
{
    // Id, size, addressing and reply of each, by id.
    const auto row = columns<const Table *, QMetaEnum, QByteArray>("table", "ids", "rows");
    row("standard", &KVR::cmds(), KVR::CmdMetaEnum(),
        "40:11/6/60 41:12/1/61 45:11/7/65 46:11/7/66 4C:11/7/6C 4D:11/7/6D 4E:11/1/6E 50:12/1/0 51:15/7/0 "
        "55:27/7/0 56:18/7/0 5E:13/7/0 60:11/1/0 61:15/1/0 65:27/7/0 66:17/7/0 6C:23/7/0 6D:29/7/0 6E:28/1/0 "
        "6F:12/1/0 70:11/7/71 71:17/7/0 74:11/7/75 75:17/7/0 79:11/7/7A 7A:11/7/0 7B:21/1/7C 7C:21/1/0 "
        "7D:31/1/7E 7E:31/1/0 7F:11/7/0");
    row("motor", &KVR::motorCmds(), KVR::MotorCmdMetaEnum(),
        "01:14/7/0 02:12/7/0 03:15/7/0 04:15/7/0 05:11/7/0 06:15/7/0 0C:11/1/0D 0D:16/1/0 0E:11/1/0F "
        "0F:15/1/0 10:12/7/0 11:15/7/0 12:12/7/0 13:14/7/0 14:11/7/0 15:15/7/0 16:13/7/0 17:14/7/0 18:11/7/0 "
        "19:14/7/0 1A:13/7/0 1F:12/7/0 20:11/1/30 21:11/1/31 22:11/1/32 23:11/1/33 24:11/1/34 25:12/1/35 "
        "26:11/1/36 27:12/1/37 28:11/1/38 29:11/7/39 2A:11/7/3A 2F:12/7/3F 30:12/7/0 31:15/1/0 32:12/1/0 "
        "33:14/1/0 34:11/1/0 35:12/1/0 36:16/1/0 37:16/1/0 38:11/1/0 39:15/1/0 3A:15/1/0 3F:12/1/0");
    row("diagnostic", &KVR::diagCmds(), KVR::DiagMetaEnum(),
        "B0:11/7/C0 B1:11/7/C1 B2:11/7/C2 B3:11/7/C3 B4:11/7/C4 B5:11/7/C5 B6:11/7/C6 "
        "C0:15/7/0 C1:15/7/0 C2:15/7/0 C3:15/7/0 C4:13/7/0 C5:13/7/0 C6:13/7/0");
    row("older motors", &HRMv2::cmds(), HRMv2::CmdMetaEnum(),
        "40:11/4/60 41:12/1/61 42:11/1/62 43:12/1/63 44:11/1/64 45:11/1/65 46:11/1/66 47:11/1/67 48:11/1/68 "
        "49:11/1/69 4A:11/1/6A 4B:11/1/6B 51:15/1/0 52:16/3/0 53:14/3/0 54:14/3/0 55:43/3/0 56:19/4/0 "
        "59:12/3/0 5A:14/3/0 5B:14/3/0 5C:14/3/0 60:11/1/0 61:15/1/0 62:14/1/0 63:14/1/0 64:14/1/0 65:43/1/0 "
        "66:21/1/0 67:14/1/0 68:13/1/0 69:12/1/0 6A:14/1/0 6B:12/1/0 6F:12/7/0 70:11/7/71 71:16/7/0 "
        "7F:11/7/0");
}

void tst_Commands::tables()
{
    QFETCH(const Table *, table);
    QFETCH(QMetaEnum, ids);
    QByteArrayList seen;
    for (auto it = table->cbegin(); it != table->cend(); ++it) {
        QVERIFY2(it.key() == it->cmd() && ids.valueToKey(it.key()), "a command without a name");
        seen.append(QString::asprintf(it->reply() ? "%02X:%d/%d/%02X" : "%02X:%d/%d/%d", it->cmd(),
                                      it->size(), it->options(), it->reply())
                        .toLatin1());
    }
    std::sort(seen.begin(), seen.end());
    QTEST(seen.join(' '), "rows");
    QCOMPARE(ids.keyCount(), table->size());
}

void tst_Commands::names_data()
{
    const auto row = columns<QString, QString>("name", "expected");
    const auto nack = [](int status) { return KVR::toString(static_cast<KVR::NackStatus>(status)); };
    const auto cmd = [](int id) { return VOX::toString(static_cast<unsigned char>(id)); };
    row("status 1 has two names", nack(1), "RNG");
    row("a motor's status", nack(0x25), "FEATURE_NOT_SUPPORTED");
    row("an unknown status", nack(7), "07");
    row("a standard command", cmd(0x6F), "NACK");
    row("a motor command", cmd(0x03), "CTRL_MOVETO");
    row("a diagnostic command", cmd(0xC6), "DIAG_POST_ENCODER_ERRORS");
    row("of two sets the current one", cmd(0x45), "GET_NODE_LABEL");
    row("a legacy command", cmd(0x42), "GET_MOTOR_SETTINGS");
    row("no command", cmd(0xFE), "");
    row("SET_IP is spelled so", HRMv2::toString(0x53), "SET_IP");
    row("a current command is no legacy one", HRMv2::toString(0x50), "");
    row("a type", VOX::toString(VOX::NodeType(15)), "NODETYPE_MASTER");
    row("an address type", VOX::toString(VOX::BCAST), "BCAST");
    row("lock states have no names", VOX::toString(VOX::LOCKED), "");
    row("an address", VOX::toString(0x1A), "00001A");
    row("an address with its type", VOX::toString(0x0612AB34u), "612AB34");
}

void tst_Commands::names()
{
    QFETCH(QString, name);
    QTEST(name, "expected");
}

void tst_Commands::numbers()
{
    QVERIFY(KVR::findCmd(0xC4) == VOXCmdInfo(0xC4, 13, 7, 0));
    QVERIFY(!KVR::findCmd(0x08).isValid() && KVR::findCmd(0x08) == VOXCmdInfo(0, 0, 0, 0));
    QCOMPARE(int(KVR::getNackReply(frame("6F FF", HostAddr))), 255);
    QCOMPARE(int(KVR::getNackReply(frame("6F 22 00", HostAddr))), -1);
    QCOMPARE(int(KVR::getNackReply(frame("6E 22", HostAddr))), -1);
    QCOMPARE(int(KVR::getNackReply(VOXMessage())), -1);
    QCOMPARE(VOX::makeAddr(VOX::NODETYPE_QM75, 0x1234567), 0x07234567u);
    QCOMPARE(int(VOX::getType(0xF0123456)), 0);
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
    operator<<(debug, static_cast<unsigned char>(0x0B)) << ' ';
    operator<<(debug, KVR::GET_NODE_ADDR) << ' ';
    operator<<(debug, VOX::NodeType(11));
    operator<<(debug.space(), 0x060A1B2Cu) << "now";
    QCOMPARE(text, QString("NACK UNKNOWN(0b) GET_NODE_ADDR UNKNOWN(0b) NODETYPE_MARLO(0a1b2c)) now "));
}

QTEST_GUILESS_MAIN(tst_Commands)
#include "tst_commands.moc"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxcommandtrait.h"
#include "messages/voxdebug.h"
#include "support/columns.h"
#include "support/frames.h"

using Table = QHash<unsigned char, VOXCmdInfo>;

/// Whether VOX::toString() takes it.
template <typename T, typename = void>
constexpr bool HasText = false;
template <typename T>
constexpr bool HasText<T, std::void_t<decltype(VOX::toString(std::declval<T>()))>> = true;

/// The command tables and the names of what is in them.
class tst_Commands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tables();
    void namesAndNumbers();
    void logTexts();
    void traits();
};

void tst_Commands::tables()
{
    const std::pair<Table, QMetaEnum> tables[] = {{KVR::cmds(), KVR::CmdMetaEnum()},
                                                  {KVR::motorCmds(), KVR::MotorCmdMetaEnum()},
                                                  {KVR::diagCmds(), KVR::DiagMetaEnum()},
                                                  {HRMv2::cmds(), HRMv2::CmdMetaEnum()}};
    for (const auto &[table, ids] : tables) {
        for (auto it = table.cbegin(); it != table.cend(); ++it)
            QCOMPARE(list(int(it->cmd()), ids.valueToKey(it.key()) != nullptr), list(int(it.key()), true));
        QCOMPARE(ids.keyCount(), table.size());
    }
    // Id, size, addressing and reply of each, by id.
    const QByteArray current =
        "01:14/7/00 02:12/7/00 03:15/7/00 04:15/7/00 05:11/7/00 06:15/7/00 0C:11/1/0D 0D:16/1/00 0E:11/1/0F "
        "0F:15/1/00 10:12/7/00 11:15/7/00 12:12/7/00 13:14/7/00 14:11/7/00 15:15/7/00 16:13/7/00 17:14/7/00 "
        "18:11/7/00 19:14/7/00 1A:13/7/00 1F:12/7/00 20:11/1/30 21:11/1/31 22:11/1/32 23:11/1/33 24:11/1/34 "
        "25:12/1/35 26:11/1/36 27:12/1/37 28:11/1/38 29:11/7/39 2A:11/7/3A 2F:12/7/3F 30:12/7/00 31:15/1/00 "
        "32:12/1/00 33:14/1/00 34:11/1/00 35:12/1/00 36:16/1/00 37:16/1/00 38:11/1/00 39:15/1/00 3A:15/1/00 "
        "3F:12/1/00 40:11/6/60 41:12/1/61 45:11/7/65 46:11/7/66 4C:11/7/6C 4D:11/7/6D 4E:11/1/6E 50:12/1/00 "
        "51:15/7/00 55:27/7/00 56:18/7/00 5E:13/7/00 60:11/1/00 61:15/1/00 65:27/7/00 66:17/7/00 6C:23/7/00 "
        "6D:29/7/00 6E:28/1/00 6F:12/1/00 70:11/7/71 71:17/7/00 74:11/7/75 75:17/7/00 79:11/7/7A 7A:11/7/00 "
        "7B:21/1/7C 7C:21/1/00 7D:31/1/7E 7E:31/1/00 7F:11/7/00 B0:11/7/C0 B1:11/7/C1 B2:11/7/C2 B3:11/7/C3 "
        "B4:11/7/C4 B5:11/7/C5 B6:11/7/C6 C0:15/7/00 C1:15/7/00 C2:15/7/00 C3:15/7/00 C4:13/7/00 C5:13/7/00 "
        "C6:13/7/00";
    const QByteArray older =
        "40:11/4/60 41:12/1/61 42:11/1/62 43:12/1/63 44:11/1/64 45:11/1/65 46:11/1/66 47:11/1/67 48:11/1/68 "
        "49:11/1/69 4A:11/1/6A 4B:11/1/6B 51:15/1/00 52:16/3/00 53:14/3/00 54:14/3/00 55:43/3/00 56:19/4/00 "
        "59:12/3/00 5A:14/3/00 5B:14/3/00 5C:14/3/00 60:11/1/00 61:15/1/00 62:14/1/00 63:14/1/00 64:14/1/00 "
        "65:43/1/00 66:21/1/00 67:14/1/00 68:13/1/00 69:12/1/00 6A:14/1/00 6B:12/1/00 6F:12/7/00 70:11/7/71 "
        "71:16/7/00 7F:11/7/00";
    const auto text = [](const QList<VOXCmdInfo> &rows) {
        QStringList seen;
        for (const VOXCmdInfo &row : rows)
            seen += QString::asprintf("%02X:%d/%d/%02X", row.cmd(), row.size(), row.options(), row.reply());
        seen.sort();
        return seen.join(' ').toLatin1();
    };
    QCOMPARE(text(KVR::cmds().values() + KVR::motorCmds().values() + KVR::diagCmds().values()), current);
    QCOMPARE(text(HRMv2::cmds().values()), older);
    const VOXCmdInfo infos[] = {{1, 11, 1, 2}, {3, 11, 1, 2}, {1, 12, 1, 2}, {1, 11, 3, 2}, {1, 11, 1, 4}};
    for (const VOXCmdInfo &info : infos)
        QCOMPARE(info == VOXCmdInfo(1, 11, 1, 2), &info == infos);
}

void tst_Commands::namesAndNumbers()
{
    using Nack = KVR::NackStatus;
    // Status 1 has two names.
    QCOMPARE(list(KVR::toString(Nack(1)), KVR::toString(Nack(0x25)), KVR::toString(Nack(7))),
             list("RNG", "FEATURE_NOT_SUPPORTED", "07"));
    // A number of no command, one of no legacy command, and lock states have no names.
    QCOMPARE(list(VOX::toString(uchar(0xFE)), HRMv2::toString(0x50), VOX::toString(VOX::LOCKED)),
             list("", "", ""));
    QCOMPARE(list(VOX::toString(VOX::NodeType(15)), VOX::toString(VOX::BCAST), VOX::toString(0x1A),
                  VOX::toString(0x0612AB34u)),
             list("NODETYPE_MASTER", "BCAST", "00001A", "612AB34"));
    QCOMPARE(list(HasText<VOX::NodeType>, HasText<uchar>, HasText<int>, HasText<VOX::Addr>),
             list(true, true, true, true));
    // Not as an address.
    QCOMPARE(list(HasText<KVR::Cmd>, HasText<HRMv2::Cmd>, HasText<Nack>), list(false, false, false));

    QCOMPARE(list(KVR::findCmd(8).isValid(), KVR::findCmd(8) == VOXCmdInfo(0, 0, 0, 0)), list(false, true));
    const std::tuple<VOXMessage, int, bool, bool> answers[] = {
        {frame("6F FF", HostAddr), 255, true, false},
        {frame("7F", HostAddr), -1, false, true},
        {frame("6F 22 00", HostAddr), -1, false, false},
        {frame("6E 22", HostAddr), -1, false, false},
        {VOXMessage(), -1, false, false}};
    for (const auto &[message, status, isNack, isAck] : answers)
        QCOMPARE(list(int(KVR::getNackReply(message)), KVR::isNack(message), KVR::isAck(message)),
                 list(status, isNack, isAck));
    unsigned char bytes[4] = {0, 0, 0, 0xEE};
    VOX::htovox(0x0A123456u, bytes);
    unsigned int addr = 0xFFFFFFFF;
    VOX::voxtoh(bytes, addr);
    QCOMPARE(list(QByteArray(reinterpret_cast<char *>(bytes), 4).toHex(), int(addr)),
             list("563412ee", 0x123456));
    QCOMPARE(list(int(VOX::makeAddr(VOX::NodeType(0x17), 0x1234567)), int(VOX::getType(0xF0123456))),
             list(0x07234567, 0));
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
    operator<<(debug.space(), 0x060A1B2Cu) << QString("then");
    operator<<(debug, 0x0B00000Cu);
    operator<<(debug, KVR::Cmd(KVR::CTRL_STOP));
    operator<<(debug, VOX::NODETYPE_TB20);
    QCOMPARE(text,
             QString("NACK UNKNOWN(0b) GET_NODE_ADDR UNKNOWN(0b) NODETYPE_MARLO(0a1b2c)) \"then\" (00000c)) "
                     "CTRL_STOP NODETYPE_TB20 "));
}

// What each command does, as its id, or as id and function where that makes a difference; a minus if twice is
// not as good as once.
void tst_Commands::traits()
{
    QMap<int, QByteArrayList> seen;
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        QMap<QByteArray, QByteArrayList> functions;
        for (int function = 0; function <= 16; ++function) {
            const auto trait =
                VOXCommandTrait::of(frame(QString::asprintf("%02X %02X", cmd, function).toLatin1(), 1));
            functions[QByteArray::number(trait.kind) + (trait.isHarmlessTwice ? "" : "-")] +=
                QByteArray::number(function);
        }
        for (auto each = functions.cbegin(); each != functions.cend(); ++each) {
            const QByteArray which = functions.size() == 1 ? QByteArray() : '/' + each->join(',');
            seen[each.key().left(1).toInt()] +=
                QString::asprintf("%02X", cmd).toLatin1() + which + each.key().mid(1);
        }
    }
    using Trait = VOXCommandTrait;
    QCOMPARE(seen.value(Trait::Stop).join(' '), QByteArray("02 54/3"));
    QCOMPARE(seen.value(Trait::AbsoluteMove).join(' '), QByteArray("03 54/1,2,4,8,16"));
    QCOMPARE(seen.value(Trait::RelativeMove).join(' '),
             QByteArray("01- 04- 54/0,5,6,7,9,10,11,12,13,14,15-"));
    QCOMPARE(seen.value(Trait::Wink).join(' '), QByteArray("05-"));
    QCOMPARE(seen.value(Trait::Setting).join(' '),
             QByteArray(
                 "06 10 11/0,1,2,3,6,7,8,9,10,11,12,13,14,15,16 11/4,5- 12 13 14 15 16 17 18 19 1A 1F 50 51 "
                 "52 53 55 56 5B 5E"));
    QCOMPARE(seen.value(Trait::Query).size(), 41);
    QVERIFY(!seen.value(Trait::Query).join(' ').contains('-'));
}

QTEST_GUILESS_MAIN(tst_Commands)
#include "tst_commands.moc"

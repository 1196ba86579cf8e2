#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxfield.h"
#include "support/captures.h"
#include "support/files.h"
#include "support/frames.h"
#include "vox/host/operation.h"
#include "vox/line/commandreference.h"

#include <QJsonArray>

#include <numeric>
#include <unistd.h>

/// What is made from the table of commands: a page, and a dissector.
class tst_Reference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyOperationHasACommand();
    void filesAreAsGenerated();
    void workedBytesAreRight();
    void dissectorAndMonitorAgree();
    void dissectorLinksAnswers();
};

namespace {
const QString Folder = QStringLiteral(VOX_SOURCE_DIR "/");
const QString Dissector = Folder + "share/wireshark/vox.lua";

/// Every value of @p name, however deep in the trees of a packet.
QString find(const QJsonObject &layer, const QString &name)
{
    for (auto member = layer.begin(); member != layer.end(); ++member) {
        if (member.key() == name && !member->isObject())
            return member->toString();
        const QString inside = member->isObject() ? find(member->toObject(), name) : QString();
        if (!inside.isNull())
            return inside;
    }
    return QString();
}

/// What tshark prints of a capture of @p items; nothing if it is not installed.
QByteArray dissected(const std::vector<LineItem> &items, const QString &options)
{
    if (QStandardPaths::findExecutable("tshark").isEmpty())
        return QByteArray();
    const QTemporaryDir folder;
    const QString capture = folder.filePath("all.pcap"), script = folder.filePath("vox.lua");
    writeCapture(capture, items);
    // As root it takes no script of a user's.
    setContents(script, contents(Dissector));
    const auto everyone =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
    for (const QString &name : {folder.path(), capture, script})
        QFile::setPermissions(name, everyone);
    const QString command = QString("env HOME=%1 LC_ALL=C.UTF-8 tshark -X lua_script:%2 -r %3 ") + options;
    QStringList words = QProcess::splitCommand((::getuid() == 0 ? "runuser -u nobody -- " : "")
                                               + command.arg(folder.path(), script, capture));
    QProcess process;
    process.start(words.takeFirst(), words);
    const bool isDone = process.waitForFinished(60000);
    const QByteArray complaints = process.readAllStandardError();
    if (!isDone || process.exitCode() != 0 || complaints.contains("Error"))
        qFatal("%s", complaints.constData());
    return process.readAllStandardOutput();
}

int widthOf(unsigned char cmd)
{
    const VOXField::Range fields = VOXField::of(cmd);
    return std::accumulate(fields.begin(), fields.end(), 0,
                           [](int sum, const VOXField &field) { return sum + field.width; });
}

/// A capture with all that there is: each command, plain and with a CRC, and what is wrong with frames.
std::vector<LineItem> everything()
{
    std::vector<LineItem> items;
    const auto add = [&items](const QByteArray &bytes) {
        items.push_back(LineItem::of(bytes, qint64(items.size()) * 1000000007));
    };
    unsigned char seed = 0;
    for (int cmd = 1; cmd <= 0xff; ++cmd) {
        const int width = widthOf(static_cast<unsigned char>(cmd));
        for (int fill = 0; fill < 3; ++fill) {
            QByteArray data(width, '\0');
            for (char &byte : data)
                byte = char(fill == 0 ? 0 : fill == 1 ? ++seed % 8 : ++seed);
            const QByteArray id = QByteArray::number(0x100 + cmd, 16).mid(1);
            add(line(frame(id + data.toHex(), 0x08000101 + unsigned(fill),
                           fill ? VOXMessage::CrcFlag : VOXMessage::AckFlag)));
        }
    }
    const QByteArray all = line(frame("05", 0xffffff));
    // Too short for its last field.
    add(line(frame("31 000001", HostAddr)));
    for (const QByteArray &bytes :
         {line(groupFrame("02 FF", 0x06a001)), all, QByteArray(all.chopped(1) + char(~all.back())),
          QByteArray("noise"), QByteArray(40, '\xf4')})
        add(bytes);
    return items;
}

/// How one packet of the dissector differs from what the monitor shows; empty if it does not.
QString mismatch(const LineItem &item, const QJsonObject &layers)
{
    QMap<QString, QString> expected;
    expected["frame.time_relative"] =
        QString::asprintf("%lld.%09lld", item.timeNs / 1000000000, item.timeNs % 1000000000);
    if (!item.isFrame())
        expected["vox.garbage"] = item.bytes.toHex(':');
    const std::pair<const char *, const char *> members[] = {{"vox.command_name", "command"},
                                                             {"vox.source", "source"},
                                                             {"vox.group", "group"},
                                                             {"vox.destination", "destination"},
                                                             {"vox.check_verdict", "check"}};
    for (const auto &[name, key] : members)
        expected[name] = item.toJson()[QLatin1String(key)].toString();
    for (const VOXField::Value &value : VOXField::valuesOf(item.frame)) {
        const QString name = QString("vox.field.") + value.field->name;
        QString &wanted = expected[name] = value.value.toString();
        if (value.field->kind == VOXField::Bytes)
            wanted = wanted.toLower().replace(' ', ':');
        if (value.field->kind == VOXField::Flag && find(layers, name).size() == 1)
            wanted = value.value.toBool() ? "1" : "0";
    }
    QString all;
    for (auto one = expected.begin(); one != expected.end(); ++one) {
        if (find(layers, one.key()) != one.value())
            all += QString("%1 is '%2', not '%3'").arg(one.key(), find(layers, one.key()), one.value());
    }
    return all;
}
}

// ctrlMoveTo is CTRL_MOVETO: the command of an operation, without its underscores, is its name.
void tst_Reference::everyOperationHasACommand()
{
    QSet<QString> operations;
    for (const QString &name : Operation::names())
        operations += name.toUpper();
    QCOMPARE(operations.size(), 72);
    for (const auto *table : {&KVR::cmds(), &KVR::motorCmds(), &KVR::diagCmds()}) {
        for (const VOXCmdInfo &info : *table)
            operations -= VOX::toString(info.cmd()).remove('_');
    }
    for (const VOXCmdInfo &info : HRMv2::cmds())
        operations -= "HRMV2:" + HRMv2::toString(info.cmd()).remove('_');
    QVERIFY2(operations == QSet<QString>{"HRMV2:SETOLDERIP"},
             "only the other form of SET_IP has another name");
}

// With VOX_UPDATE in the environment they are written anew.
void tst_Reference::filesAreAsGenerated()
{
    const QString page = Folder + "docs/commands.md";
    const QByteArray begin =
        "-- Generated: what each command's frame holds, and what answers it besides ACK and NACK.\n";
    const QByteArray script = contents(Dissector);
    const int from = script.indexOf(begin) + begin.size();
    const int to = script.indexOf("-- End of what is generated.\n");
    QVERIFY2(from > begin.size(), "no begin");
    QVERIFY2(to > from, "no end");
    const QByteArray generated = script.left(from) + commandLua() + script.mid(to);
    if (qEnvironmentVariableIsSet("VOX_UPDATE")) {
        setContents(page, commandPage());
        setContents(Dissector, generated);
    }
    QVERIFY2(contents(page) == commandPage(), "VOX_UPDATE=1 tst_reference writes it anew");
    QVERIFY2(script == generated, "VOX_UPDATE=1 tst_reference writes it anew");
}

// A frame of the page is there in both forms.
void tst_Reference::workedBytesAreRight()
{
    QByteArrayList names;
    LineItem item;
    for (const QByteArray &text : contents(Folder + "docs/protocol.md").split('\n')) {
        const QByteArray bytes = QByteArray::fromHex(text.mid(13));
        if (text.startsWith("    line ")) {
            item = LineItem::of(bytes, 0);
            QVERIFY2(item.verdict == LineItem::Intact, text);
            names += VOX::toString(item.frame.cmd()).toLatin1();
        } else if (text.startsWith("    logical ")) {
            QCOMPARE(bytes, item.frame.data());
        }
    }
    QCOMPARE(names.join(' '), QByteArray("GET_MOTOR_LIMITS POST_MOTOR_LIMITS"));
}

void tst_Reference::dissectorAndMonitorAgree()
{
    const std::vector<LineItem> items = everything();
    const QJsonArray packets = QJsonDocument::fromJson(dissected(items, "-T json")).array();
    if (packets.isEmpty())
        QSKIP("tshark is not installed; ./dev test installs it");
    QCOMPARE(packets.size(), int(items.size()));
    for (int i = 0; i < packets.size(); ++i) {
        const LineItem &item = items[std::size_t(i)];
        const QJsonObject packet = packets.at(i).toObject();
        const QString wrong = mismatch(item, packet["_source"].toObject()["layers"].toObject());
        QVERIFY2(wrong.isEmpty(), qPrintable(item.toString() + ": " + wrong));
    }
}

// Who speaks to whom, which packet has the answer, which the request, and the time between them.
void tst_Reference::dissectorLinksAnswers()
{
    std::vector<LineItem> items;
    const auto at = [&items](int ms, const VOXMessage &message) {
        items.push_back(LineItem::of(line(message), ms * qint64(1000000)));
    };
    const unsigned char ack = VOXMessage::AckFlag;
    const VOXMessage query = frame("0E", 0x000101, ack);
    at(0, query);
    at(20, frameFrom(0x000102, "0F 00 00 00 00"));
    at(30, frameFrom(0x000101, "0D 00 00 00 00 00"));
    at(250, query);
    at(290, frameFrom(0x000101, "0F 00 00 00 00"));
    at(1000, frame("40", 0xffffff));
    at(1010, frameFrom(0x000101, "60"));
    at(1025, frameFrom(0x000102, "60"));
    at(1030, frameFrom(0x000102, "60"));
    at(2000, groupFrame("02 FF", 0x00a001));
    at(3000, query);
    at(5001, frameFrom(0x000101, "0F 00 00 00 00"));
    at(6000, frame("44", 0x000301, ack));
    at(6001, frameFrom(0x000301, "6F 20"));
    at(6100, frame("44", 0x000301, ack));
    at(6107, frameFrom(0x000301, "64 00 00 00"));
    const QByteArray table =
        dissected(items,
                  "-2 -T fields -E separator=/s -e _ws.col.Source -e _ws.col.Destination "
                  "-e vox.response_in -e vox.response_to -e vox.response_time");
    if (table.isEmpty())
        QSKIP("tshark is not installed; ./dev test installs it");
    QByteArrayList lines;
    for (const QByteArray &text : table.trimmed().split('\n'))
        lines += text.simplified();
    QCOMPARE(
        lines.join('\n').replace("000000\n", "\n"),
        QByteArray("010000 000101\n000102 010000\n000101 010000\n010000 000101 5\n000101 010000 4 0.040\n"
                   "010000 all 7,8\n000101 010000 6 0.010\n000102 010000 6 0.025\n000102 010000\n"
                   "group 00A001\n010000 000101\n000101 010000\n010000 000301 14\n"
                   "000301 010000 13 0.001\n010000 000301 16\n000301 010000 15 0.007000000"));
}

QTEST_GUILESS_MAIN(tst_Reference)
#include "tst_reference.moc"

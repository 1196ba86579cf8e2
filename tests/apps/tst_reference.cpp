#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "support/frames.h"
#include "vox/line/commandfields.h"
#include "vox/line/commandreference.h"
#include "vox/line/pcapfile.h"

#include <QJsonArray>
#include <QtTest>

#include <unistd.h>

/// What is made from the table of commands: a page, and a dissector.
class tst_Reference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filesAreAsGenerated();
    void workedBytesAreRight();
    void dissectorAndMonitorAgree();
};

namespace {
const QString Folder = QStringLiteral(VOX_SOURCE_DIR "/");
const QString Dissector = Folder + "share/wireshark/vox.lua";

QByteArray read(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

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

/// A capture with all that there is: each command, plain and with a CRC, and what is wrong with frames.
std::vector<LineItem> everything()
{
    std::vector<QByteArray> lines;
    unsigned char seed = 0;
    for (int cmd = 1; cmd <= 0xff; ++cmd) {
        int width = 0;
        for (const CommandField &field : commandFields(static_cast<unsigned char>(cmd)))
            width += field.width;
        for (int fill = 0; fill < 3; ++fill) {
            QByteArray data(width, '\0');
            for (char &byte : data)
                byte = char(fill == 0 ? 0 : fill == 1 ? ++seed % 8 : ++seed);
            const QByteArray id = QByteArray::number(0x100 + cmd, 16).mid(1);
            const VOXMessage message = frame(id + data.toHex(), 0x08000101 + unsigned(fill),
                                             fill ? VOXMessage::CrcFlag : VOXMessage::AckFlag);
            lines.push_back(line(message));
        }
    }
    VOXMessage group = frame("02 FF", 0);
    group.setGroupAddr(0x06a001, VOX::NODETYPE_MASTER);
    group.prepare();
    VOXMessage all = frame("05", 0xffffff);
    QByteArray failed = line(all);
    failed.back() = char(~failed.back());
    for (const QByteArray &bytes :
         {line(group), line(all), failed, QByteArray("noise"), QByteArray(40, '\xf4')})
        lines.push_back(bytes);
    std::vector<LineItem> items;
    for (const QByteArray &bytes : lines)
        items.push_back(LineItem::of(bytes, qint64(items.size()) * 1000));
    return items;
}

/// How one packet of the dissector differs from what the monitor shows; empty if it does not.
QByteArray mismatch(const LineItem &item, const QJsonObject &layers)
{
    const QJsonObject expected = item.toJson();
    const auto differs = [&](const QString &name, const QString &wanted) {
        const QString actual = find(layers, name);
        return actual == wanted ? QByteArray()
                                : (name + " is '" + actual + "', not '" + wanted + "'").toUtf8();
    };
    if (!item.isFrame())
        return differs("vox.garbage", QString::fromLatin1(item.bytes.toHex(':')));
    QByteArray all = differs("vox.command_name", expected["command"].toString())
        + differs("vox.source", expected["source"].toString())
        + differs("vox.group", expected["group"].toString())
        + differs("vox.destination", expected["destination"].toString())
        + differs("vox.check_verdict", expected["check"].toString());
    for (const FieldValue &value : decodeFields(item.frame)) {
        const QString name = QString("vox.field.") + value.field.name;
        QString wanted = value.value.toVariant().toString();
        if (value.field.kind == CommandField::Bytes)
            wanted = wanted.toLower().replace(' ', ':');
        if (value.field.kind == CommandField::Flag && find(layers, name).size() == 1)
            wanted = value.value.toBool() ? "1" : "0";
        all += differs(name, wanted);
    }
    return all;
}
}

// With VOX_UPDATE in the environment they are written anew.
void tst_Reference::filesAreAsGenerated()
{
    const QString page = Folder + "docs/commands.md";
    const QByteArray begin = "-- Generated: what each command's frame holds.\n",
                     end = "-- End of what is generated.\n";
    const QByteArray script = read(Dissector);
    const int from = script.indexOf(begin) + begin.size();
    const int to = script.indexOf(end);
    QVERIFY(from > begin.size() && to > from);
    const QByteArray generated = script.left(from) + commandLua() + script.mid(to);
    if (qEnvironmentVariableIsSet("VOX_UPDATE")) {
        write(page, commandPage());
        write(Dissector, generated);
    }
    QVERIFY2(read(page) == commandPage(), "VOX_UPDATE=1 tst_reference writes it anew");
    QVERIFY2(script == generated, "VOX_UPDATE=1 tst_reference writes it anew");
}

// A frame of the page is there in both forms.
void tst_Reference::workedBytesAreRight()
{
    QByteArrayList names;
    LineItem item;
    for (const QByteArray &text : read(Folder + "docs/protocol.md").split('\n')) {
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
    if (QStandardPaths::findExecutable("tshark").isEmpty())
        QFAIL("tshark is not installed; ./dev test installs it");
    const QTemporaryDir folder;
    const QString capture = folder.filePath("all.pcap"), script = folder.filePath("vox.lua");
    const std::vector<LineItem> items = everything();
    {
        PcapWriter writer;
        QString problem;
        QVERIFY(writer.open(capture, &problem));
        for (const LineItem &item : items)
            QVERIFY(writer.write(item));
    }
    // As root it takes no script of a user's.
    write(script, read(Dissector));
    const auto everyone =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
    for (const QString &name : {folder.path(), capture, script})
        QFile::setPermissions(name, everyone);
    QStringList command = {"env",
                           "HOME=" + folder.path(),
                           "LC_ALL=C.UTF-8",
                           "tshark",
                           "-X",
                           "lua_script:" + script,
                           "-r",
                           capture,
                           "-T",
                           "json"};
    if (::getuid() == 0)
        command = QStringList{"runuser", "-u", "nobody", "--"} + command;
    QProcess process;
    process.start(command.takeFirst(), command);
    QVERIFY(process.waitForFinished(60000));
    const QByteArray complaints = process.readAllStandardError();
    QVERIFY2(!complaints.contains("Error") && process.exitCode() == 0, complaints);
    const QJsonArray packets = QJsonDocument::fromJson(process.readAllStandardOutput()).array();
    QCOMPARE(packets.size(), int(items.size()));
    for (int i = 0; i < packets.size(); ++i) {
        const QByteArray wrong = mismatch(
            items[std::size_t(i)], packets.at(i).toObject()["_source"].toObject()["layers"].toObject());
        QVERIFY2(wrong.isEmpty(), items[std::size_t(i)].toString().toUtf8() + ": " + wrong);
    }
}

QTEST_GUILESS_MAIN(tst_Reference)
#include "tst_reference.moc"

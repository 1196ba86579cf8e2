#include "vox/line/commandreference.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxfield.h"
#include "messages/voxmessage.h"
#include "vox/line/lineitem.h"

#include <QMap>
#include <QStringList>

namespace {
using Table = QHash<unsigned char, VOXCmdInfo>;
/// The names of an enumeration, by value.
using Keys = QMap<int, QString>;

constexpr int LastCommand = 0xff;

QString hex(int value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0'));
}

/// The enumerations that fields use, by name.
QMap<QString, Keys> enumerations()
{
    QMap<QString, Keys> found;
    for (int cmd = 0; cmd <= LastCommand; ++cmd) {
        for (const VOXField &field : VOXField::of(static_cast<unsigned char>(cmd))) {
            for (int value = 0; *field.enumName != '\0' && value <= LastCommand; ++value) {
                const QString key = field.key(value);
                if (!key.isEmpty())
                    found[QLatin1String(field.enumName)].insert(value, key);
            }
        }
    }
    return found;
}

QString kindOf(const VOXField &field)
{
    static const char *const names[] = {"number", "flag", "address", "text", "letter", "bytes"};
    return QLatin1String(names[field.kind]);
}

QString describe(const VOXField &field)
{
    const QString name = QStringLiteral("`%1`").arg(QLatin1String(field.name));
    if (*field.enumName != '\0')
        return QStringLiteral("%1 %2").arg(name, QLatin1String(field.enumName));
    QString text = QStringLiteral("%1 %2").arg(name, kindOf(field));
    if (field.width > 1 && field.kind != VOXField::Address)
        text += QStringLiteral(" of %1 bytes").arg(field.width);
    if (*field.unit != '\0')
        text += QStringLiteral(", %1").arg(QLatin1String(field.unit));
    if (field.none >= 0)
        text += QStringLiteral(", %1 for none").arg(field.none);
    return text;
}

QString addressing(unsigned char options)
{
    QStringList words;
    if ((options & VOX::P2P) != 0)
        words += QStringLiteral("node");
    if ((options & VOX::GROUP) != 0)
        words += QStringLiteral("group");
    if ((options & VOX::BCAST) != 0)
        words += QStringLiteral("all");
    return words.join(QStringLiteral(", "));
}

QString section(const QString &title, const Table &table, VOXField::Meaning meaning = VOXField::InKVR)
{
    QString text = QStringLiteral("\n## %1\n\n| Id | Command | Frame | Sent to | Answer | Data |\n"
                                  "| --- | --- | --- | --- | --- | --- |\n")
                       .arg(title);
    QList<unsigned char> ids = table.keys();
    std::sort(ids.begin(), ids.end());
    for (const unsigned char id : qAsConst(ids)) {
        const VOXCmdInfo info = table.value(id);
        QStringList fields;
        for (const VOXField &field : VOXField::of(id, meaning))
            fields += describe(field);
        const int length = info.size() & VOXMessage::LengthMask;
        if (meaning == VOXField::InHRMv2 && fields.isEmpty() && length > VOXMessage::MinLength)
            fields += QStringLiteral("not known");
        text += QStringLiteral("| %1 | `%2` | %3 | %4 | %5 | %6 |\n")
                    .arg(hex(id), nameOf(id, meaning))
                    .arg(length)
                    .arg(addressing(info.options()),
                         info.reply() == 0 ? QString()
                                           : QStringLiteral("`%1`").arg(nameOf(info.reply(), meaning)),
                         fields.join(QStringLiteral("; ")));
    }
    return text;
}

QString luaFields(unsigned char cmd)
{
    QStringList fields;
    for (const VOXField &field : VOXField::of(cmd))
        fields += QStringLiteral("{\"%1\", \"%2\", %3, \"%4\", \"%5\"}")
                      .arg(QLatin1String(field.name), kindOf(field))
                      .arg(field.width)
                      .arg(QLatin1String(field.unit), QLatin1String(field.enumName));
    return fields.join(QStringLiteral(", "));
}

/// The answers that a command has in either set, but for ACK and NACK, as one more member of its table; else
/// empty.
QString luaAnswers(unsigned char cmd)
{
    QStringList answers;
    for (const int answer : {int{KVR::findCmd(cmd).reply()}, int{HRMv2::findCmd(cmd).reply()}}) {
        if (answer != 0 && answer != KVR::ACK)
            answers += QStringLiteral("0x") + hex(answer);
    }
    answers.removeDuplicates();
    return answers.isEmpty() ? QString() : QStringLiteral(", {%1}").arg(answers.join(QStringLiteral(", ")));
}
}

QByteArray commandPage()
{
    QString page =
        QStringLiteral("# Commands\n\n"
                       "What the frame of each command holds, in the order of its bytes; numbers are "
                       "little-endian. `vox call`, `vox\n"
                       "monitor` and the dissector in `share/wireshark` read the table that this page is "
                       "made from. The frame's length\n"
                       "is in bytes, header and check value included. An answer whose data needs another "
                       "length is sent with that length;\n"
                       "only `POST_NETWORK_STAT` and the two totals end in bytes without a meaning.\n\n"
                       "The operation that sends `CTRL_MOVETO` is `ctrlMoveTo`, and so on. `vox call "
                       "ctrlMoveTo --help` shows its\n"
                       "arguments. `setNodeDiscovery true` sends 0, on purpose.\n");
    page += section(QStringLiteral("Every node"), KVR::cmds());
    page += section(QStringLiteral("Motors"), KVR::motorCmds());
    page += section(QStringLiteral("Counters of motors"), KVR::diagCmds());
    page += section(QStringLiteral("Motors of the older generation"), HRMv2::cmds(), VOXField::InHRMv2);
    page +=
        QStringLiteral("\nSome ids mean something else in the other tables: the node that sends or gets the "
                       "frame decides. Motors of this\n"
                       "generation skip the first byte of `SET_IP`, and want 15 bytes; those of the current "
                       "one read it as listed.\n");
    page += QStringLiteral("\n## Enumerations\n");
    const QMap<QString, Keys> all = enumerations();
    for (auto each = all.begin(); each != all.end(); ++each) {
        page += QStringLiteral("\n### %1\n\n").arg(each.key());
        for (auto key = each->begin(); key != each->end(); ++key)
            page += QStringLiteral("- %1 `%2`\n").arg(key.key()).arg(key.value());
    }
    return page.toUtf8();
}

QByteArray commandLua()
{
    QString text = QStringLiteral("local commands = {\n");
    for (int cmd = 0; cmd <= LastCommand; ++cmd) {
        const auto id = static_cast<unsigned char>(cmd);
        if (!nameOf(id).isEmpty())
            text += QStringLiteral("    [0x%1] = {\"%2\", {%3}%4},\n")
                        .arg(hex(cmd), nameOf(id), luaFields(id), luaAnswers(id));
    }
    text += QStringLiteral("}\n\nlocal enumerations = {\n");
    const QMap<QString, Keys> all = enumerations();
    for (auto each = all.begin(); each != all.end(); ++each) {
        QStringList keys;
        for (auto key = each->begin(); key != each->end(); ++key)
            keys += QStringLiteral("[%1] = \"%2\"").arg(key.key()).arg(key.value());
        text += QStringLiteral("    [\"%1\"] = {%2},\n").arg(each.key(), keys.join(QStringLiteral(", ")));
    }
    return (text + QStringLiteral("}\n")).toUtf8();
}

#include "messages/kvr.h"
#include "messages/voxdatawriter.h"
#include "proxies/kvrmotorproxy.h"
#include "vox/host/operation.h"
#include "vox/line/commandfields.h"

#include <QtTest>

#include <numeric>

class tst_CommandFields : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandHasALayoutThatFits();
    void operationsMatchTheirLayout_data();
    void operationsMatchTheirLayout();
    void decoding_data();
    void decoding();
};

namespace {
int widthOf(unsigned char cmd)
{
    const QVector<CommandField> fields = commandFields(cmd);
    return std::accumulate(fields.begin(), fields.end(), 0,
                           [](int sum, const CommandField &f) { return sum + f.width; });
}
}

void tst_CommandFields::everyCommandHasALayoutThatFits()
{
    // These replies are longer than their descriptors say.
    const QSet<int> longer = {KVR::POST_MOTOR_IP, KVR::POST_FACTORY_DEFAULT, KVR::POST_MOTOR_TILTING_SPEED,
                              KVR::POST_TILT_LIMITS};
    for (const auto *table : {&KVR::cmds(), &KVR::motorCmds(), &KVR::diagCmds()}) {
        for (const VOXCmdInfo &info : *table) {
            QVERIFY2(hasCommandFields(info.cmd()), qPrintable(VOX::toString(info.cmd())));
            if (!longer.contains(info.cmd()))
                QVERIFY2(widthOf(info.cmd()) <= info.size() - VOXMessage::MinLength,
                         qPrintable(VOX::toString(info.cmd())));
        }
    }
}

void tst_CommandFields::operationsMatchTheirLayout_data()
{
    QTest::addColumn<QString>("name");
    const QStringList names = Operation::names();
    QCOMPARE(names.size(), 56);
    for (const QString &name : names)
        QTest::newRow(qPrintable(name)) << name;
}

// ctrlMoveTo is CTRL_MOVETO: the command of an operation, without its underscores, is its name.
void tst_CommandFields::operationsMatchTheirLayout()
{
    QFETCH(QString, name);
    bool isKnown = false;
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        if (VOX::toString(static_cast<unsigned char>(cmd))
                    .remove(QLatin1Char('_'))
                    .compare(name, Qt::CaseInsensitive)
                != 0
            || !KVR::findCmd(static_cast<unsigned char>(cmd)).isValid())
            continue;
        isKnown = true;
        QVERIFY(hasCommandFields(static_cast<unsigned char>(cmd)));
        const VOXCmdInfo info = KVR::findCmd(static_cast<unsigned char>(cmd));
        QVERIFY(info.reply() == 0 || hasCommandFields(info.reply()));
        QCOMPARE(widthOf(info.cmd()), info.size() - VOXMessage::MinLength);
    }
    QVERIFY(isKnown);
}

void tst_CommandFields::decoding_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("text");
    QTest::newRow("position") << int(KVR::POST_MOTOR_POSITION) << QByteArray("3412630502")
                              << "position=4660 pulses percent=99 % tilt=5 ip=2";
    QTest::newRow("limits, up first")
        << int(KVR::POST_MOTOR_LIMITS) << QByteArray("0000b80b") << "upLimit=0 pulses downLimit=3000 pulses";
    QTest::newRow("keys, and a value without one")
        << int(KVR::POST_MOTOR_STATUS) << QByteArray("03ff0109")
        << "state=STATE_LOCKED direction=DIRECTION_NONE source=SOURCE_NETWORK cause=9";
    QTest::newRow("lock, address in between")
        << int(KVR::POST_NETWORK_LOCK) << QByteArray("0156341205") << "locked=true source=123456 priority=5";
    QTest::newRow("refusal of a motor") << int(KVR::NACK) << QByteArray("22") << "status=END_LIMITS_NOT_SET";
    QTest::newRow("label, padded") << int(KVR::POST_NODE_LABEL)
                                   << QByteArray("4b6974000000000000000000000000ff") << "label=Kit";
    QTest::newRow("serial, full") << int(KVR::POST_NODE_SERIAL_NUMBER)
                                  << QByteArray("303030303031585832303236") << "serial=000001XX2026";
    QTest::newRow("version") << int(KVR::POST_NODE_APP_VERSION) << QByteArray("797b4c410301")
                             << "reference=5012345 letter=A number=3 profile=1";
    QTest::newRow("config")
        << int(KVR::POST_NETWORK_CONFIG) << QByteArray("000701040101")
        << "bcastMode=BCAST_OFF maxRand=7 supervision=true supervisionPeriod=260 deafMode=true";
    QTest::newRow("a frame too short for its last field")
        << int(KVR::POST_MOTOR_LIMITS) << QByteArray("0000b8") << "upLimit=0 pulses";
}

void tst_CommandFields::decoding()
{
    QFETCH(int, cmd);
    QFETCH(QByteArray, payload);
    QFETCH(QString, text);
    const QByteArray bytes = QByteArray::fromHex(payload);
    VOXMessage frame(static_cast<unsigned char>(VOXMessage::MinLength + bytes.size()));
    frame.setCmd(static_cast<unsigned char>(cmd));
    VOXDataWriter(frame).write(bytes.constData(), uint(bytes.size()));
    QStringList shown;
    for (const FieldValue &value : decodeFields(frame))
        shown += QLatin1String(value.field.name) + QLatin1Char('=') + value.toString();
    QCOMPARE(shown.join(QLatin1Char(' ')), text);
}

QTEST_GUILESS_MAIN(tst_CommandFields)
#include "tst_commandfields.moc"

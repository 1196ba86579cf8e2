#include "messages/voxfield.h"
#include "support/frames.h"
#include "vox/line/commandfields.h"

#include <QtTest>

/// Until the program's own table is gone: whether it and VOXField say the same.
class tst_FieldTables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areEqual();
};

void tst_FieldTables::areEqual()
{
    int known = 0;
    unsigned seed = 1;
    for (int cmd = 0; cmd <= 255; ++cmd) {
        const auto id = static_cast<unsigned char>(cmd);
        QCOMPARE(VOXField::isKnown(id), hasCommandFields(id));
        known += VOXField::isKnown(id) ? 1 : 0;
        const QVector<CommandField> before = commandFields(id);
        const VOXField::Range now = VOXField::of(id);
        QCOMPARE(now.size(), before.size());
        for (int i = 0; i < now.size(); ++i) {
            const VOXField &n = now.at(i);
            const CommandField &b = before.at(i);
            QCOMPARE(QString(n.name), QString(b.name));
            QCOMPARE(int(n.kind), int(b.kind));
            QCOMPARE(n.width, b.width);
            QCOMPARE(QString(n.unit), QString(b.unit));
            QCOMPARE(n.none, b.none);
            QCOMPARE(QString(n.enumName), QString(b.enumeration));
            QCOMPARE(QString(n.enumeration().name()), QString(b.enumeration));
            for (int value = -1; value < 300; ++value)
                QCOMPARE(n.key(value), enumerationKey(b, value));
        }
        for (int round = 0; round < 600; ++round) {
            QByteArray bytes(round % 32, '\0');
            for (char &byte : bytes) {
                seed = seed * 1103515245 + 12345;
                byte = round % 3 == 0 ? char(seed >> 16)
                    : round % 3 == 1  ? char((seed >> 16) % 9)
                                      : char(seed >> 16) | '\xfc';
            }
            if (round > 2 && !bytes.isEmpty())
                bytes[0] = char(cmd);
            const VOXMessage frame{BusMessage(bytes)};
            QCOMPARE(VOXField::toJson(frame), fieldsOf(frame));
            const auto values = VOXField::valuesOf(frame);
            const auto old = decodeFields(frame);
            QCOMPARE(values.size(), old.size());
            for (int i = 0; i < values.size(); ++i) {
                QCOMPARE(values.at(i).toString(), old.at(i).toString());
                QCOMPARE(values.at(i).isNone(), old.at(i).isNone());
                QCOMPARE(VOXField::toVariantMap(frame).value(values.at(i).field->name).isNull(),
                         old.at(i).toJson().isNull());
            }
        }
    }
    QCOMPARE(known, 91);
}

QTEST_GUILESS_MAIN(tst_FieldTables)
#include "tst_fieldtables.moc"

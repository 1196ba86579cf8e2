#include "network/voxnetworkmodel.h"

#include "messages/kvr.h"
#include "support/columns.h"
#include "support/frames.h"
#include "support/pipedevice.h"

#include <QAbstractItemModelTester>
#include <QtTest>

class tst_VOXNetworkModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rows();
};

void tst_VOXNetworkModel::rows()
{
    QLoggingCategory::setFilterRules("vox.bus=false");
    auto *device = new PipeDevice;
    VOXBus bus(device);
    bus.open();
    auto network = std::make_unique<VOXNetwork>(&bus);
    network->setSending(false);
    network->add(0x300);
    // Rows are there at once, though the network has not told of them yet.
    VOXNetworkModel model(network.get());
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(model.rowCount(), 1);
    for (const VOX::Addr addr : {0x100u, 0x05000400u, 0x200u})
        network->add(addr);
    network->remove(0x300);
    network->add(0x300);
    QCoreApplication::processEvents();
    const auto column = [&](int role) {
        QStringList texts;
        for (int row = 0; row < model.rowCount(); ++row)
            texts += model.index(row).data(role).toString();
        return texts.join(' ');
    };
    QCOMPARE(column(VOXNetworkModel::AddressTextRole), QString("000100 000200 000300 000400"));
    QCOMPARE(column(VOXNetworkModel::IsMotorRole), QString("true true true false"));
    QCOMPARE(list(model.rowOf(0x200), model.rowOf(0x201), model.nodeAt(4) == nullptr), list(1, -1, true));

    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    device->feed(line(frameFrom(0x200, "0D E803 32 FF FF")) + line(frameFrom(0x200, "0F 01 00 01 01")));
    QCoreApplication::processEvents();
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.at(0).at(0).toModelIndex().row(), 1);
    const QModelIndex index = model.index(1);
    QCOMPARE(list(index.data(VOXNetworkModel::PercentRole), index.data(VOXNetworkModel::MovingRole),
                  index.data(VOXNetworkModel::StateRole), index.data(VOXNetworkModel::TargetPercentRole)),
             list(QVariant(50), QVariant(true), QVariant(1), QVariant()));
    QCOMPARE(list(model.nodeAt(1)->property("presence"), index.data(VOXNetworkModel::PresenceRole)),
             list(QVariant::fromValue(VOXNetworkNode::Up), QVariant(1)));
    device->feed(line(frameFrom(0x200, "65 4B 69 74 63 68 65 6E 00 00 00 00 00 00 00 00 00")));
    QCoreApplication::processEvents();
    QCOMPARE(index.data().toString(), QString("Kitchen"));

    network->remove(0x100);
    QCoreApplication::processEvents();
    QCOMPARE(model.rowOf(0x200), 0);
    network.reset();
    QCOMPARE(model.rowCount(), 0);
}

QTEST_GUILESS_MAIN(tst_VOXNetworkModel)
#include "tst_voxnetworkmodel.moc"

#include "proxies/kvrmotorproxy.h"
#include "proxies/voxnodelistmodel.h"

#include <QAbstractItemModelTester>
#include <QIdentityProxyModel>
#include <QtTest>

class tst_VOXNodeListModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheRulesOfModels();
    void storing();
    void inserting();
    void removing();
};

namespace {
QVariant variant(QObject *object)
{
    return QVariant::fromValue(object);
}
}

// As far as they are kept: rows that go from the middle are not those that were announced.
void tst_VOXNodeListModel::keepsTheRulesOfModels()
{
    // Display data is wanted to be a text.
    struct Rows : QIdentityProxyModel
    {
        QVariant data(const QModelIndex &, int) const override { return QVariant(); }
    };
    VOXNodeListModel model;
    Rows rows;
    rows.setSourceModel(&model);
    const QAbstractItemModelTester tester(&rows, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QVERIFY(model.insertRows(0, 2) && model.insertRows(1, 2) && model.insertRows(4, 1));
    QVERIFY(!model.insertRows(6, 1) && !model.insertRows(-1, 1) && !model.insertRows(0, 0));
    QCOMPARE(model.rowCount(), 5);
    QCOMPARE(model.rowCount(model.index(0)), 0);
    QVERIFY(model.removeRows(0, 1));
    QVERIFY(!model.removeRows(0, 5) && !model.removeRows(2147483647, 2147483647) && !model.removeRows(-1, 1));
    QVERIFY(!model.removeRows(0, 1, model.index(0)));
    QVERIFY(model.sibling(3, 0, model.index(0)) == model.index(3));
    QVERIFY(!model.sibling(4, 0, model.index(0)).isValid() && !model.sibling(1, 1, model.index(0)).isValid());
    QVERIFY(!model.sibling(1, 0, QModelIndex()).isValid());
}

void tst_VOXNodeListModel::storing()
{
    VOXNodeListModel model;
    model.insertRows(0, 1);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    const QModelIndex row = model.index(0);
    QVERIFY(model.data(row).canConvert<QObject *>() && !model.data(row).value<QObject *>());
    auto *proxy = new KVRMotorProxy(1, nullptr);
    QPointer<VOXNode> first = proxy;
    // A pointer to the subclass is taken as it is.
    QVERIFY(model.setData(row, QVariant::fromValue(proxy)) && model.setData(row, variant(proxy)));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(first);
    for (int role : {Qt::DisplayRole, Qt::EditRole})
        QVERIFY(model.data(row, role).userType() == QMetaType::QObjectStar
                && model.data(row, role) == variant(proxy));
    QVERIFY(!model.data(row, Qt::ToolTipRole).isValid());
    QVERIFY(!model.setData(row, variant(this)) && !model.setData(row, variant(nullptr)));
    QVERIFY(!model.setData(row, 7) && !model.setData(row, variant(proxy), Qt::UserRole));
    QVERIFY(!model.setData(QModelIndex(), variant(proxy)));
    // What is replaced goes, whoever owns it, but not while others may be at it; and what goes elsewhere
    // leaves its row empty.
    QObject owner;
    auto second = std::make_unique<VOXNode>(2, nullptr);
    proxy->setParent(&owner);
    QVERIFY(model.setData(row, variant(second.get()), Qt::DisplayRole) && first);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!first && changes.isEmpty());
    second.reset();
    QVERIFY(!model.data(row).value<QObject *>());
}

void tst_VOXNodeListModel::inserting()
{
    auto model = std::make_unique<VOXNodeListModel>();
    VOXNode stranger(1, nullptr);
    const QPointer<VOXNode> own = new VOXNode(2, nullptr, model.get());
    QVERIFY(model->insertRows(0, 2) && model->setData(model->index(0), variant(&stranger)));
    QVERIFY(model->setData(model->index(1), variant(own)));
    QSignalSpy announced(model.get(), &QAbstractItemModel::rowsInserted);
    // Under a row only in the place of row 0, which is then the list's.
    QVERIFY(model->insertRows(1, 2) && !model->insertRows(1, 1, model->index(1)));
    QVERIFY(model->insertRows(0, 1, model->index(1)));
    QCOMPARE(announced, QList<QVariantList>({{QModelIndex(), 1, 2}, {QModelIndex(), 0, 0}}));
    QVERIFY(model->index(1).data() == variant(&stranger) && model->index(4).data() == variant(own));
    // Its own nodes go with it, and no others: a second time would be a crash.
    model.reset();
    QVERIFY(!own);
}

void tst_VOXNodeListModel::removing()
{
    const std::tuple<int, int, QString> cases[] = {{2, 2, "24"}, {3, 1, "234"}, {0, 3, "24"}, {0, 4, "24"}};
    for (const auto &[row, count, left] : cases) {
        VOXNodeListModel model;
        VOXNode stranger(1, nullptr);
        for (unsigned int i = 4; i > 0; --i) {
            VOXNode *const node = i == 1 ? &stranger : new VOXNode(i, nullptr, &model);
            QVERIFY(model.insertRows(0, 1) && model.setData(model.index(0), variant(node)));
        }
        QSignalSpy announced(&model, &QAbstractItemModel::rowsRemoved);
        QVERIFY(model.removeRows(row, count));
        QCOMPARE(announced, QList<QVariantList>({{QModelIndex(), row, row + count - 1}}));
        QString addrs;
        for (int i = 0; i < model.rowCount(); ++i)
            addrs += QString::number(model.index(i).data().value<QObject *>()->property("addr").toUInt());
        QCOMPARE(addrs, left);
        QCOMPARE(model.findChildren<VOXNode *>().size(), 3);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(model.findChildren<VOXNode *>().size(), left.size());
    }
}

QTEST_GUILESS_MAIN(tst_VOXNodeListModel)
#include "tst_voxnodelistmodel.moc"

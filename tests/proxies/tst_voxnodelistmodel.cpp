#include "proxies/kvrmotorproxy.h"
#include "proxies/voxnodelistmodel.h"
#include "support/columns.h"

#include <QAbstractItemModelTester>
#include <QIdentityProxyModel>

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
    QCOMPARE(InOrder({model.insertRows(0, 2), model.insertRows(1, 2), model.insertRows(4, 1),
                      model.insertRows(6, 1), model.insertRows(-1, 1), model.insertRows(0, 0)}),
             InOrder({true, true, true, false, false, false}));
    QCOMPARE(list(model.rowCount(), model.rowCount(model.index(0))), list(5, 0));
    QCOMPARE(InOrder({model.removeRows(0, 1), model.removeRows(0, 5), model.removeRows(-1, 1),
                      model.removeRows(2147483647, 2147483647), model.removeRows(0, 1, model.index(0))}),
             InOrder({true, false, false, false, false}));
    const QModelIndex top = model.index(0), none;
    QCOMPARE(list(model.sibling(3, 0, top), model.sibling(4, 0, top), model.sibling(1, 1, top),
                  model.sibling(1, 0, none)),
             list(model.index(3), none, none, none));
}

void tst_VOXNodeListModel::storing()
{
    VOXNodeListModel model;
    model.insertRows(0, 1);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    const QModelIndex row = model.index(0);
    QCOMPARE(list(model.data(row)), list(variant(nullptr)));
    auto *proxy = new KVRMotorProxy(1, nullptr);
    QPointer<VOXNode> first = proxy;
    // A pointer to the subclass is taken as it is.
    QCOMPARE(InOrder({model.setData(row, QVariant::fromValue(proxy)), model.setData(row, variant(proxy))}),
             InOrder({true, true}));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(first);
    for (int role : {Qt::DisplayRole, Qt::EditRole})
        QCOMPARE(list(model.data(row, role)), list(variant(proxy)));
    QVERIFY(!model.data(row, Qt::ToolTipRole).isValid());
    QCOMPARE(InOrder({model.setData(row, variant(this)), model.setData(row, variant(nullptr)),
                      model.setData(row, 7), model.setData(row, variant(proxy), Qt::UserRole),
                      model.setData(QModelIndex(), variant(proxy))}),
             InOrder({false, false, false, false, false}));
    // What is replaced goes, whoever owns it, but not while others may be at it; and what goes elsewhere
    // leaves its row empty.
    QObject owner;
    auto second = std::make_unique<VOXNode>(2, nullptr);
    proxy->setParent(&owner);
    QVERIFY(model.setData(row, variant(second.get()), Qt::DisplayRole));
    QVERIFY2(first, "it has gone at once");
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(list(first.data(), changes.size()), list(static_cast<VOXNode *>(nullptr), 0));
    second.reset();
    QCOMPARE(list(model.data(row)), list(variant(nullptr)));
}

void tst_VOXNodeListModel::inserting()
{
    auto model = std::make_unique<VOXNodeListModel>();
    VOXNode stranger(1, nullptr);
    const QPointer<VOXNode> own = new VOXNode(2, nullptr, model.get());
    model->insertRows(0, 2);
    model->setData(model->index(0), variant(&stranger));
    model->setData(model->index(1), variant(own));
    QSignalSpy announced(model.get(), &QAbstractItemModel::rowsInserted);
    // Under a row only in the place of row 0, which is then the list's.
    QCOMPARE(InOrder({model->insertRows(1, 2), model->insertRows(1, 1, model->index(1)),
                      model->insertRows(0, 1, model->index(1))}),
             InOrder({true, false, true}));
    QCOMPARE(announced, QList<QVariantList>({{QModelIndex(), 1, 2}, {QModelIndex(), 0, 0}}));
    QCOMPARE(list(model->index(1).data(), model->index(4).data()), list(variant(&stranger), variant(own)));
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
            model.insertRows(0, 1);
            model.setData(model.index(0), variant(node));
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

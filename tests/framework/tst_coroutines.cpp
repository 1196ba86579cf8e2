#include "framework/busobject.h"
#include "framework/voxcoro.h"
#include "support/recordingbus.h"

#include <QtTest>

/// A host that waits for its calls with co_await.
class tst_Coroutines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void callsAreWaitedFor();
    void tasksMayGo();
};

namespace {
struct Host
{
    std::unique_ptr<RecordingBus> bus = std::make_unique<RecordingBus>();
    BusObject object{bus.get(), nullptr};
    QByteArrayList heard;

    VOXTask askTwice()
    {
        const BusPendingCall first = co_await object.call(query(0x40));
        heard.append(text(first.reply()));
        const BusPendingCall second = co_await object.call(query(0x41));
        heard.append(second.isError() ? second.errorString().toLatin1() : text(second.reply()));
        // One that has ended already.
        heard.append(QByteArray::number(int((co_await first).error())));
    }
};
}

void tst_Coroutines::callsAreWaitedFor()
{
    Host host;
    const VOXTask task = host.askTwice();
    QVERIFY(!task.isDone());
    host.bus->dispatcher().dispatch(answer("60 01"));
    QCOMPARE(host.heard, QByteArrayList{hex("60 01")});
    QTRY_COMPARE(host.bus->written.size(), 2);
    host.bus.reset();
    QTRY_VERIFY(task.isDone());
    QCOMPARE(host.heard, (QByteArrayList{hex("60 01"), "The call was canceled", "0"}));
}

void tst_Coroutines::tasksMayGo()
{
    Host host;
    VOXTask task = host.askTwice();
    task = VOXTask();
    host.bus->dispatcher().dispatch(answer("60 01"));
    QCoreApplication::processEvents();
    QCOMPARE(host.heard, QByteArrayList());
    QVERIFY(task.isDone());
}

QTEST_GUILESS_MAIN(tst_Coroutines)
#include "tst_coroutines.moc"

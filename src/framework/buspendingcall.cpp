#include "framework/buspendingcall.h"

#include "framework/bus.h"
#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

namespace {
constexpr int DriveIntervalMs = 5;
}

BusPendingCall::BusPendingCall() = default;

BusPendingCall::BusPendingCall(BusPendingCallPointer data)
    : d(std::move(data))
{
}

BusPendingCall::BusPendingCall(const BusPendingCall &other) = default;
BusPendingCall &BusPendingCall::operator=(const BusPendingCall &other) = default;
BusPendingCall::~BusPendingCall() = default;

bool BusPendingCall::isFinished() const
{
    return !d || d->isFinished();
}

BusPendingCall::Error BusPendingCall::error() const
{
    return d ? d->error() : Canceled;
}

QString BusPendingCall::errorString() const
{
    static const char *const texts[] = {
        "",
        QT_TRANSLATE_NOOP("BusPendingCall", "The bus is not open"),
        QT_TRANSLATE_NOOP("BusPendingCall", "No reply within the time-out"),
        QT_TRANSLATE_NOOP("BusPendingCall", "The message could not be written"),
        QT_TRANSLATE_NOOP("BusPendingCall", "The call was canceled"),
        QT_TRANSLATE_NOOP("BusPendingCall", "A newer call has taken its place"),
        QT_TRANSLATE_NOOP("BusPendingCall", "It has waited too long to be sent"),
        QT_TRANSLATE_NOOP("BusPendingCall", "Too many calls wait to be sent"),
    };
    return isError() ? QCoreApplication::translate("BusPendingCall", texts[error()]) : QString();
}

BusMessage BusPendingCall::reply() const
{
    return d ? d->reply() : BusMessage();
}

QList<BusMessage> BusPendingCall::replies() const
{
    return d ? d->replies() : QList<BusMessage>();
}

void BusPendingCall::cancel()
{
    if (d)
        d->setError(Canceled);
}

bool BusPendingCall::waitForFinished(int timeoutMs) const
{
    if (isFinished())
        return true;
    // Code that the loop runs may destroy this handle.
    const BusPendingCallPointer data = d;
    QEventLoop loop;
    const BusPendingCallWatcher watcher(*this);
    QObject::connect(&watcher, &BusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    // The device announces no more data while received data is being handled. So a timer lets the bus look
    // for it.
    QTimer drive;
    QObject::connect(&drive, &QTimer::timeout, &loop, [&data] { data->driveBus(); });
    drive.start(DriveIntervalMs);
    QTimer limit;
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    limit.setTimerType(Qt::PreciseTimer);
    if (timeoutMs >= 0)
        limit.start(timeoutMs);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    return data->isFinished();
}

void BusPendingCall::notify(QObject *context, std::function<void(const BusPendingCall &)> functor) const
{
    // The watcher is a child of the context where that is allowed. Otherwise it may outlive the context, if
    // no event loop runs any more.
    const bool mayBeChild = context && context->thread() == QThread::currentThread();
    auto *watcher = new BusPendingCallWatcher(*this, mayBeChild ? context : nullptr);
    QObject::connect(watcher, &BusPendingCallWatcher::finished, watcher, &QObject::deleteLater);
    QObject::connect(watcher, &BusPendingCallWatcher::finished, context ? context : watcher,
                     [call = *this, functor = std::move(functor)] { functor(call); });
}

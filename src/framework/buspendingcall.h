#ifndef VOX_FRAMEWORK_BUSPENDINGCALL_H
#define VOX_FRAMEWORK_BUSPENDINGCALL_H

#include <vox/framework/busmessage.h>
#include <vox/framework/buspendingcallpointer.h>

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

#include <functional>
#include <type_traits>
#include <utility>

/// The handle of a call that is on its way: small, copyable, and all copies speak of the same call.
///
/// Every call ends exactly once: by its reply, by being sent if it expects none, by its time-out, a failed
/// write, a closed or destroyed bus, or cancel(). A refusal by the node is a reply. Results are final once
/// the call has finished. Dropping every copy does not withdraw the call. Used on the bus's thread; a
/// call that has finished may be read, and the last copy destroyed, on any.
/// @ingroup framework
class VOX_BUS_EXPORT BusPendingCall
{
    Q_GADGET

public:
    /// How a call has ended.
    enum Error : int {
        NoError = 0, ///< Answered, or sent if it expects no answer. Also a group call whose time is over.
        NotOpen = 1, ///< The bus was not open, or has been closed since.
        Timeout = 2, ///< No reply has come in time.
        WriteFailed = 3, ///< The bus could not send it.
        Canceled = 4, ///< By cancel(), or by the destruction of the bus.
        Superseded = 5, ///< A scheduler has not sent it, because a newer call makes it pointless.
        Expired = 6, ///< A scheduler has not sent it, because it has waited for too long.
        Overflow = 7 ///< A scheduler has not sent it, because too many calls wait.
    };
    Q_ENUM(Error)

    /// A call that never was: finished, with Canceled.
    BusPendingCall();
    /// The handle of @p data; if that is null, a call that never was.
    explicit BusPendingCall(BusPendingCallPointer data);
    ///@{
    /// Another handle of the same call.
    BusPendingCall(const BusPendingCall &other);
    BusPendingCall &operator=(const BusPendingCall &other);
    ///@}
    ~BusPendingCall();

    /// True as soon as the results are final, which is before any watcher hears of it.
    bool isFinished() const;
    ///@{
    /// No error while the call is pending.
    bool isError() const { return error() != NoError; }
    Error error() const;
    ///@}
    /// A sentence for people; empty without an error.
    QString errorString() const;

    /// The reply; the first one of a group call. Empty while there is none.
    BusMessage reply() const;
    /// All replies in their order of arrival. Only group and broadcast calls have more than one.
    QList<BusMessage> replies() const;

    /// Withdraws the call if it is still queued, and frees the line if it was waiting for its reply. What has
    /// been sent stays sent. Ends the call with Canceled; a call that has finished is left as it is.
    void cancel();

    /// Blocks in a local event loop until the call has finished, @p timeoutMs milliseconds at most (-1: no
    /// limit), and returns isFinished(). For programs and tests. The bus gets input even if this is called
    /// from inside the delivery of another frame.
    bool waitForFinished(int timeoutMs = -1) const;

    /// Calls @p functor once the call has finished, with this call as argument if it takes one. The functor
    /// runs on the thread of @p context, and never from inside this function, BusObject::call(), cancel() or
    /// close(), even if the call has finished already. It is not called if @p context is destroyed before;
    /// without a context it is always called.
    template <typename Functor>
    void onFinished(QObject *context, Functor functor) const
    {
        if constexpr (std::is_invocable_v<Functor &, const BusPendingCall &>)
            notify(context, std::move(functor));
        else
            notify(context, [functor = std::move(functor)](const BusPendingCall &) mutable { functor(); });
    }

protected:
    /// What the copies share; null for a call that never was.
    BusPendingCallPointer d;

private:
    void notify(QObject *context, std::function<void(const BusPendingCall &)> functor) const;
};

Q_DECLARE_METATYPE(BusPendingCall)

#endif

#ifndef VOX_FRAMEWORK_VOXCORO_H
#define VOX_FRAMEWORK_VOXCORO_H

#include <vox/framework/buspendingcallwatcher.h>

#if __cplusplus < 202002L
#    error "voxcoro.h is for programs that are built with C++20 or later"
#endif

#include <coroutine>
#include <exception>
#include <memory>
#include <utility>

/// A coroutine of a host, which may `co_await` pending calls.
///
/// It begins at once, and goes on from the event loop of the bus's thread. Owns the coroutine: destroying the
/// task ends it where it waits, and nothing of it runs any more. What it has sent stays sent. An exception
/// that leaves the coroutine ends the program, as one from a slot does.
/// @ingroup framework
class VOXTask
{
public:
    /// @cond
    // Required by the language.
    struct promise_type
    {
        VOXTask get_return_object() { return VOXTask(Handle::from_promise(*this)); }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_always final_suspend() noexcept { return {}; }
        void return_void() { }
        [[noreturn]] void unhandled_exception() { std::terminate(); }
    };
    /// @endcond

    /// No coroutine: done.
    VOXTask() = default;
    ///@{
    /// Takes the coroutine over. The task that was moved from is done, or owns the coroutine that this one
    /// had.
    VOXTask(VOXTask &&other) noexcept
        : m_handle(std::exchange(other.m_handle, nullptr))
    {
    }
    VOXTask &operator=(VOXTask &&other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ///@}
    /// Ends it.
    ~VOXTask()
    {
        if (m_handle)
            m_handle.destroy();
    }

    /// Whether the coroutine has come to its end.
    bool isDone() const { return !m_handle || m_handle.done(); }

private:
    using Handle = std::coroutine_handle<promise_type>;

    explicit VOXTask(Handle handle)
        : m_handle(handle)
    {
    }

    Handle m_handle;
};

/// Suspends a coroutine while a call is pending. `co_await call` makes it, and gives the finished call.
/// @ingroup framework
class BusCallAwaiter
{
public:
    /// Waits for @p call, on its bus's thread.
    explicit BusCallAwaiter(BusPendingCall call)
        : m_call(std::move(call))
    {
    }

    /// @cond
    // Required by the language.
    bool await_ready() const { return m_call.isFinished(); }
    void await_suspend(std::coroutine_handle<> coroutine)
    {
        m_watcher.reset(new BusPendingCallWatcher(m_call));
        QObject::connect(m_watcher.get(), &BusPendingCallWatcher::finished,
                         [coroutine] { coroutine.resume(); });
    }
    BusPendingCall await_resume() { return m_call; }
    /// @endcond

private:
    // The resumed coroutine destroys its awaiter inside the watcher's signal.
    struct Later
    {
        void operator()(BusPendingCallWatcher *watcher) const
        {
            watcher->disconnect();
            watcher->deleteLater();
        }
    };

    BusPendingCall m_call;
    std::unique_ptr<BusPendingCallWatcher, Later> m_watcher;
};

/// Lets a coroutine wait for @p call.
inline BusCallAwaiter operator co_await(const BusPendingCall &call)
{
    return BusCallAwaiter(call);
}

#endif

#include "simulation/virtualclock_p.h"

#include <QElapsedTimer>

#include <chrono>

#include <cerrno>
#include <ctime>
#include <dlfcn.h>
#include <unistd.h>

namespace {
constexpr qint64 NsPerSecond = 1000000000;
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 NsPerUs = 1000;

// At a fixed place for each thread: programs that link this library, and have no virtual time, read it with
// each look at a clock. Sanitizers look at clocks before they are ready for what they instrument.
#define VOX_PLAIN __attribute__((no_sanitize("address", "thread", "undefined")))
__attribute__((tls_model("initial-exec"))) thread_local VirtualClock *t_clock = nullptr;

/// What the program would have called without this library.
template <typename Function>
VOX_PLAIN Function *next(Function *&found, const char *name)
{
    // Several threads may look it up at once, and find the same.
    if (Function *known = __atomic_load_n(&found, __ATOMIC_RELAXED))
        return known;
    auto *function = reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
    __atomic_store_n(&found, function, __ATOMIC_RELAXED);
    return function;
}

qint64 nanoseconds(const timespec &time)
{
    return time.tv_sec * NsPerSecond + time.tv_nsec;
}

std::chrono::nanoseconds steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}
}

extern "C" {
VOX_PLAIN Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static int (*real)(clockid_t, timespec *) = nullptr;
    const VirtualClock *const mine = t_clock;
    if (!mine || clock != CLOCK_MONOTONIC)
        return next(real, "clock_gettime")(clock, time);
    *time = {mine->now() / NsPerSecond, mine->now() % NsPerSecond};
    return 0;
}

VOX_PLAIN Q_DECL_EXPORT int nanosleep(const timespec *time, timespec *rest)
{
    static int (*real)(const timespec *, timespec *) = nullptr;
    if (!t_clock)
        return next(real, "nanosleep")(time, rest);
    t_clock->moveTo(t_clock->now() + nanoseconds(*time));
    return 0;
}

VOX_PLAIN Q_DECL_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *rest)
{
    static int (*real)(clockid_t, int, const timespec *, timespec *) = nullptr;
    const bool isUntil = (flags & TIMER_ABSTIME) != 0;
    if (!t_clock || (isUntil && clock != CLOCK_MONOTONIC))
        return next(real, "clock_nanosleep")(clock, flags, time, rest);
    t_clock->moveTo(nanoseconds(*time) + (isUntil ? 0 : t_clock->now()));
    return 0;
}

VOX_PLAIN Q_DECL_EXPORT int usleep(useconds_t us)
{
    static int (*real)(useconds_t) = nullptr;
    if (!t_clock)
        return next(real, "usleep")(us);
    t_clock->moveTo(t_clock->now() + us * NsPerUs);
    return 0;
}
}

VirtualClock::VirtualClock()
    : m_now(steadyTime().count())
{
    Q_ASSERT(!t_clock);
    t_clock = this;
}

VirtualClock::~VirtualClock()
{
    t_clock = nullptr;
}

bool VirtualClock::isHeeded() const
{
    // Both would have moved on, had they asked the system.
    QElapsedTimer qtClock;
    qtClock.start();
    return steadyTime().count() == m_now && qtClock.msecsSinceReference() == m_now / NsPerMs;
}

#include "vox/outputqueue.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {
constexpr std::chrono::seconds Patience{1};

/// The system's error; 0 if all has been written.
int writeAll(int descriptor, const QByteArray &text)
{
    for (qint64 done = 0; done < text.size();) {
        const ssize_t count =
            ::write(descriptor, text.constData() + done, static_cast<std::size_t>(text.size() - done));
        if (count < 0 && errno != EINTR)
            return errno;
        done += std::max<ssize_t>(count, 0);
    }
    return 0;
}
}

struct OutputQueue::State
{
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<QByteArray> texts;
    qint64 bytes = 0;
    int dropped = 0;
    bool hasFailed = false;
    bool isEnding = false;

    bool isDone() const { return texts.empty() || hasFailed; }

    void run(int descriptor, const std::function<void(int)> &failed)
    {
        std::unique_lock lock(mutex);
        while (!hasFailed) {
            changed.wait(lock, [this] { return isEnding || !texts.empty(); });
            if (texts.empty())
                return;
            const QByteArray text = texts.front();
            lock.unlock();
            const int error = writeAll(descriptor, text);
            if (error != 0)
                failed(error);
            lock.lock();
            // A text counts until it is out.
            texts.pop_front();
            bytes -= text.size();
            hasFailed = error != 0;
            changed.notify_all();
        }
    }
};

OutputQueue::OutputQueue(int descriptor, std::function<void(int)> failed)
    : m_state(std::make_shared<State>())
{
    std::thread([state = m_state, descriptor, failed = std::move(failed)] {
        state->run(descriptor, failed);
    }).detach();
}

OutputQueue::~OutputQueue()
{
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->isEnding = true;
        m_state->changed.notify_all();
    }
    wait();
}

bool OutputQueue::isEmpty() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->isDone();
}

void OutputQueue::wait() const
{
    std::unique_lock lock(m_state->mutex);
    for (qint64 left = -1; !m_state->isDone() && m_state->bytes != left;) {
        left = m_state->bytes;
        m_state->changed.wait_for(lock, Patience, [&] { return m_state->bytes != left; });
    }
}

bool OutputQueue::push(const QByteArray &text)
{
    const std::lock_guard lock(m_state->mutex);
    if (m_state->hasFailed)
        return true;
    if (m_state->bytes + text.size() > MaxBytes) {
        ++m_state->dropped;
        return false;
    }
    m_state->texts.push_back(text);
    m_state->bytes += text.size();
    m_state->changed.notify_all();
    return true;
}

int OutputQueue::takeDropped()
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->texts.empty() ? std::exchange(m_state->dropped, 0) : 0;
}

#pragma once
// Things passed from one thread to another in the order given: put() never
// waits, take() waits for one. halt() ends the waiting for good: take() then
// gives nothing, and so does every take() after it. A run that reads on one
// thread and writes on another passes its full batches one way and the
// empty ones back the other, through two of these.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

template <typename T>
class Handoff {
public:
    void put(T item)
    {
        {
            const std::lock_guard lock(m_);
            items_.push_back(std::move(item));
        }
        cv_.notify_all();
    }
    // The first thing put, waiting for it; nothing once halted.
    std::optional<T> take()
    {
        std::unique_lock lock(m_);
        cv_.wait(lock, [this] { return halted_ || !items_.empty(); });
        if (halted_)
            return std::nullopt;
        T item = std::move(items_.front());
        items_.pop_front();
        return item;
    }
    void halt()
    {
        {
            const std::lock_guard lock(m_);
            halted_ = true;
        }
        cv_.notify_all();
    }
    // Waits for halt().
    void waitForHalt()
    {
        std::unique_lock lock(m_);
        cv_.wait(lock, [this] { return halted_; });
    }

private:
    std::mutex m_;
    std::condition_variable cv_;
    std::deque<T> items_;
    bool halted_ = false;
};

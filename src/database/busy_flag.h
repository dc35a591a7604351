#pragma once
// The busy flag of a data module: serialises its row operations. An operation waits for the flag by
// polling every 1 ms, at most 1000 times, and then gives up with its busy result. The flag is an atomic
// test-and-set, so two threads can never both take it. A caller that finds others already waiting joins
// them instead of grabbing the flag the moment it is released, so a thread running operations back to
// back cannot starve another one past its 1000 polls.

#include <atomic>

namespace tembrix {

class BusyFlag {
public:
    static constexpr int kPollLimit = 1000;

    // Takes the flag, polling 1 ms up to the poll limit (1000 unless set). False when it stayed taken.
    bool Acquire();
    // How many 1 ms polls Acquire makes before it gives up (at least 1). Only tests lower it, so that a
    // held flag gives its busy results in milliseconds instead of a second each. Any thread.
    void SetPollLimit(int polls) { m_pollLimit.store(polls < 1 ? 1 : polls, std::memory_order_relaxed); }
    // Takes the flag at once if it is free.
    bool TryAcquire() { return !m_flag.test_and_set(std::memory_order_acquire); }
    void Release() { m_flag.clear(std::memory_order_release); }
    bool IsSet() const { return m_flag.test(std::memory_order_relaxed); }

private:
    std::atomic_flag m_flag;
    std::atomic<int> m_waiters{0};
    std::atomic<int> m_pollLimit{kPollLimit};
};

// Holds a BusyFlag for one scope. Ok() is false when it could not be taken.
class BusyGuard {
public:
    explicit BusyGuard(BusyFlag& flag) : m_flag(flag), m_held(flag.Acquire()) {}
    ~BusyGuard() {
        if (m_held) {
            m_flag.Release();
        }
    }
    BusyGuard(const BusyGuard&) = delete;
    BusyGuard& operator=(const BusyGuard&) = delete;
    bool Ok() const { return m_held; }

private:
    BusyFlag& m_flag;
    bool m_held;
};

}  // namespace tembrix

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
    // Takes the flag, polling 1 ms up to 1000 times. False when it stayed taken.
    bool Acquire();
    // Takes the flag at once if it is free.
    bool TryAcquire() { return !m_flag.test_and_set(std::memory_order_acquire); }
    void Release() { m_flag.clear(std::memory_order_release); }
    bool IsSet() const { return m_flag.test(std::memory_order_relaxed); }

private:
    std::atomic_flag m_flag;
    std::atomic<int> m_waiters{0};
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

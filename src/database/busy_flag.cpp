#include "database/busy_flag.h"

#include <chrono>
#include <thread>

namespace tembrix {

bool BusyFlag::Acquire() {
    if (m_waiters.load(std::memory_order_acquire) == 0 && TryAcquire()) {
        return true;
    }
    m_waiters.fetch_add(1, std::memory_order_acq_rel);
    const int limit = m_pollLimit.load(std::memory_order_relaxed);
    bool taken = false;
    for (int polls = 0;; ++polls) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (TryAcquire()) {
            taken = true;
            break;
        }
        if (polls + 1 >= limit) {
            break;
        }
    }
    m_waiters.fetch_sub(1, std::memory_order_acq_rel);
    return taken;
}

}  // namespace tembrix

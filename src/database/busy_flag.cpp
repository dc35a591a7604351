#include "database/busy_flag.h"

#include <chrono>
#include <thread>

namespace tembrix {

bool BusyFlag::Acquire() {
    for (int polls = 0;; ++polls) {
        if (TryAcquire()) {
            return true;
        }
        if (polls == 1000) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace tembrix

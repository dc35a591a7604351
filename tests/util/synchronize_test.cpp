// Calls from worker threads onto the main thread: each runs there, exactly once, before its caller goes
// on; calls of one worker keep their order; a call may itself wait for another worker's calls.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>
#include <memory>
#include <vector>

#include "util/synchronize.h"

namespace tembrix {
namespace {

// Catches a call run off the main thread, twice, out of order, or after its caller went on.
TEST(Synchronize, ManyWorkersEachSeeTheirCallsRunInOrderOnTheMainThread) {
    constexpr int kWorkers = 4;
    constexpr int kCallsEach = 50;
    // Written only on the main thread, by the synchronised calls; read by the workers after each call.
    std::vector<std::vector<int>> seen(kWorkers);
    int offMainThread = 0;
    std::vector<int> lastSeenByWorker(kWorkers, -1);
    std::vector<std::unique_ptr<QThread>> threads;
    for (int w = 0; w < kWorkers; ++w) {
        threads.emplace_back(QThread::create([&, w] {
            for (int i = 0; i < kCallsEach; ++i) {
                Synchronize([&, w, i] {
                    if (!OnMainThread()) {
                        ++offMainThread;
                    }
                    seen[w].push_back(i);
                });
                // The call has run before Synchronize returns.
                lastSeenByWorker[w] = seen[w].back();
            }
            MarkWorkEnd(threads[w].get());
        }));
    }
    for (auto& thread : threads) {
        thread->start();
    }
    for (auto& thread : threads) {
        JoinThread(thread.get());
    }
    EXPECT_EQ(offMainThread, 0);
    for (int w = 0; w < kWorkers; ++w) {
        ASSERT_EQ(seen[w].size(), static_cast<size_t>(kCallsEach)) << "worker " << w;
        for (int i = 0; i < kCallsEach; ++i) {
            EXPECT_EQ(seen[w][i], i) << "worker " << w;
        }
        EXPECT_EQ(lastSeenByWorker[w], kCallsEach - 1);
    }
}

TEST(Synchronize, ACallMayJoinAnotherWorkerThatIsWaitingForTheMainThread) {
    // Catches a deadlock: the outer call joins the inner worker, whose call is queued behind it.
    std::vector<QString> order;
    std::unique_ptr<QThread> inner(QThread::create([&] {
        Synchronize([&] { order.push_back(QStringLiteral("inner")); });
        MarkWorkEnd(inner.get());
    }));
    std::unique_ptr<QThread> outer(QThread::create([&] {
        Synchronize([&] {
            inner->start();
            JoinThread(inner.get());
            order.push_back(QStringLiteral("outer"));
        });
        MarkWorkEnd(outer.get());
    }));
    outer->start();
    JoinThread(outer.get());
    EXPECT_EQ(order, (std::vector<QString>{QStringLiteral("inner"), QStringLiteral("outer")}));
}

}  // namespace
}  // namespace tembrix

// Calls from worker threads onto the main thread: each runs there, once, in order, before its caller goes on.

#include <gtest/gtest.h>

#include <QThread>
#include <algorithm>
#include <memory>
#include <vector>

#include "util/synchronize.h"

namespace tembrix {
namespace {

// Catches a call run off the main thread, twice, out of order, or after its caller went on.
TEST(Synchronize, ManyWorkersEachSeeTheirCallsRunInOrderOnTheMainThread) {
    std::vector<std::vector<int>> seen(4), expected(4);  // written only on the main thread
    std::vector<std::unique_ptr<QThread>> threads;
    for (int w = 0; w < 4; ++w) {
        threads.emplace_back(QThread::create([&, w] {
            for (int i = 0; i < 50; ++i) {
                Synchronize([&, w, i] { seen[w].push_back(OnMainThread() ? i : -1); });
                expected[w].push_back(seen[w].size() == static_cast<size_t>(i + 1) ? i : -2);
            }
            MarkWorkEnd(threads[w].get());
        }));
    }
    std::for_each(threads.begin(), threads.end(), [](auto& thread) { thread->start(); });
    std::for_each(threads.begin(), threads.end(), [](auto& thread) { JoinThread(thread.get()); });
    EXPECT_EQ(seen, expected);
}

// Catches a deadlock: the outer call joins the inner worker, whose call is queued behind it.
TEST(Synchronize, ACallMayJoinAnotherWorkerThatIsWaitingForTheMainThread) {
    std::vector<QString> order;
    std::unique_ptr<QThread> inner(QThread::create([&] {
        Synchronize([&] { order.push_back("inner"); });
        MarkWorkEnd(inner.get());
    }));
    std::unique_ptr<QThread> outer(QThread::create([&] {
        Synchronize([&] {
            inner->start();
            JoinThread(inner.get());
            order.push_back("outer");
        });
        MarkWorkEnd(outer.get());
    }));
    outer->start();
    JoinThread(outer.get());
    EXPECT_EQ(order, (std::vector<QString>{"inner", "outer"}));
}

}  // namespace
}  // namespace tembrix

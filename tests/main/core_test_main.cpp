// Test entry point for the core layers: a QCoreApplication, so that Synchronize and queued calls have a
// main thread to run on.

#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

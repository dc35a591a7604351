// The logs: the program log reset once per run, my.log appended, errors.log in the current folder, one
// whole time-stamped line per call even when threads write at once.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QScopeGuard>
#include <QSet>
#include <thread>
#include <vector>

#include "support/print_text.h"
#include "support/temp_dir.h"
#include "util/logs.h"

namespace tembrix {
namespace {

// The lines of a UTF-8 log file, which must end with a line feed.
QStringList LogLines(const QString& path) {
    const QString text = test::ReadText(path);
    EXPECT_TRUE(text.endsWith(u'\n')) << path.toStdString();
    return text.split(u'\n').mid(0, text.count(u'\n'));
}

// Checks "<stamp><separator><message>" with a stamp of the current local time, and returns the message.
QString MessageOf(const QString& line, QChar separator) {
    const QDateTime when = QDateTime::fromString(line.left(19), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    EXPECT_TRUE(when.isValid() && qAbs(when.secsTo(QDateTime::currentDateTime())) <= 120)
        << line.toStdString();
    EXPECT_EQ(QString(separator), line.mid(19, 1)) << line.toStdString();
    return line.mid(20);
}

// Catches a program log not reset at the run's first line, or appended wrongly, and failures not told.
TEST(Logs, ProgramLogIsResetOnceAndThenAppended) {
    test::TempDir dir;
    const QString log = dir.Write(QStringLiteral("tembrix.log"), "left from the last run\n");
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Read Ini file"), false));
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Ошибка: путь/к файлу"), true));
    const QStringList lines = LogLines(log);
    ASSERT_EQ(2, lines.size());
    EXPECT_EQ(QStringLiteral("Read Ini file"), MessageOf(lines[0], u' '));
    EXPECT_EQ(QStringLiteral("Ошибка: путь/к файлу"), MessageOf(lines[1], u' '));
    EXPECT_FALSE(WriteProgramLog(dir.Write(QStringLiteral("plain"), "x") + QStringLiteral("/tembrix.log"),
                                 QStringLiteral("m"), false));
    EXPECT_FALSE(WriteProgramLog(QString(), QStringLiteral("m"), true));
}

// Catches my.log reset, logs written before their place is known, and errors.log misplaced or untabbed.
TEST(Logs, StoreAndErrorLogs) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    dir.Write(QStringLiteral("my.log"), QByteArray("2020-01-01 00:00:00 older line\n"));
    const auto reset = qScopeGuard([] { SetLogLocations(QString(), QString()); });
    SetLogLocations(log, dir.Path());
    EXPECT_EQ(log, ProgramLogPath());
    ProgramLog(QStringLiteral("Init completed"));
    WriteStoreLog(QStringLiteral("Query insert error!"));
    const QStringList program = LogLines(log);
    ASSERT_EQ(1, program.size());
    EXPECT_EQ(QStringLiteral("Init completed"), MessageOf(program[0], u' '));
    const QStringList store = LogLines(dir.File(QStringLiteral("my.log")));
    ASSERT_EQ(2, store.size());
    EXPECT_EQ(QStringLiteral("2020-01-01 00:00:00 older line"), store[0]);
    EXPECT_EQ(QStringLiteral("Query insert error!"), MessageOf(store[1], u' '));

    test::TempDir current;
    SetLogLocations(QString(), QString());
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(current.Path()));
    ProgramLog(QStringLiteral("lost"));
    WriteStoreLog(QStringLiteral("lost"));
    WriteErrorLog(QStringLiteral("first"));
    WriteErrorLog(QStringLiteral("second\tpart"));
    ASSERT_TRUE(QDir::setCurrent(previous));
    EXPECT_EQ(QStringList{QStringLiteral("errors.log")},
              QDir(current.Path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    const QStringList lines = LogLines(current.File(QStringLiteral("errors.log")));
    ASSERT_EQ(2, lines.size());
    EXPECT_EQ(QStringLiteral("first"), MessageOf(lines[0], u'\t'));
    EXPECT_EQ(QStringLiteral("second\tpart"), MessageOf(lines[1], u'\t'));
}

// Catches lines torn or lost when threads write at once.
TEST(Logs, ThreadsWritingAtOnceLeaveWholeLines) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    const auto reset = qScopeGuard([] { SetLogLocations(QString(), QString()); });
    SetLogLocations(log, dir.Path());
    constexpr int kThreads = 4;
    constexpr int kLines = 100;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kLines; ++i) {
                ProgramLog(QStringLiteral("worker %1 line %2 %3").arg(t).arg(i).arg(QString(40, u'ж')));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const QStringList lines = LogLines(log);
    ASSERT_EQ(kThreads * kLines, lines.size());
    QSet<QString> seen;
    for (const QString& line : lines) {
        const QString message = MessageOf(line, u' ');
        EXPECT_TRUE(message.endsWith(QString(40, u'ж'))) << line.toStdString();
        seen.insert(message);
    }
    EXPECT_EQ(kThreads * kLines, seen.size());
}

}  // namespace
}  // namespace tembrix

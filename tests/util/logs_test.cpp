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

// The messages of a log whose lines are "<current local time><separator><message>\n" (else a failure).
QStringList Messages(const QString& path, QChar separator = u' ', qsizetype keep = 0) {
    const QString text = test::ReadText(path);
    EXPECT_TRUE(text.endsWith(u'\n')) << path.toStdString();
    QStringList lines = text.split(u'\n').mid(0, text.count(u'\n'));
    for (qsizetype i = keep; i < lines.size(); ++i) {
        const QDateTime when = QDateTime::fromString(lines[i].left(19), "yyyy-MM-dd hh:mm:ss");
        EXPECT_TRUE(when.isValid() && qAbs(when.secsTo(QDateTime::currentDateTime())) <= 120 &&
                    lines[i].mid(19, 1) == separator)
            << lines[i].toStdString();
        lines[i] = lines[i].mid(20);
    }
    return lines;
}

// Catches a program log not reset at the run's first line or not appended, failures not told, my.log
// reset, logs written before their place is known, and errors.log misplaced or untabbed.
TEST(Logs, ProgramStoreAndErrorLogs) {
    test::TempDir dir;
    const QString log = dir.Write("tembrix.log", "left from the last run\n");
    ASSERT_TRUE(WriteProgramLog(log, "Read Ini file", false));
    const auto reset = qScopeGuard([] { SetLogLocations(QString(), QString()); });
    SetLogLocations(log, dir.Path());
    EXPECT_EQ(log, ProgramLogPath());
    ProgramLog("Ошибка: путь/к файлу");
    EXPECT_EQ(Messages(log), (QStringList{"Read Ini file", "Ошибка: путь/к файлу"}));
    EXPECT_FALSE(WriteProgramLog(dir.Write("plain", "x") + "/tembrix.log", "m", false) ||
                 WriteProgramLog(QString(), "m", true));
    dir.Write("my.log", "2020-01-01 00:00:00 older line\n");
    WriteStoreLog("Query insert error!");
    EXPECT_EQ(Messages(dir.File("my.log"), u' ', 1),
              (QStringList{"2020-01-01 00:00:00 older line", "Query insert error!"}));

    test::TempDir current;
    SetLogLocations(QString(), QString());
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(current.Path()));
    ProgramLog("lost");
    WriteStoreLog("lost");
    WriteErrorLog("first");
    WriteErrorLog("second\tpart");
    ASSERT_TRUE(QDir::setCurrent(previous));
    EXPECT_EQ(QStringList{"errors.log"},
              QDir(current.Path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    EXPECT_EQ(Messages(current.File("errors.log"), u'\t'), (QStringList{"first", "second\tpart"}));
}

// Catches lines torn or lost when threads write at once.
TEST(Logs, ThreadsWritingAtOnceLeaveWholeLines) {
    test::TempDir dir;
    const QString log = dir.File("tembrix.log");
    const auto reset = qScopeGuard([] { SetLogLocations(QString(), QString()); });
    SetLogLocations(log, dir.Path());
    std::vector<std::thread> threads;
    QSet<QString> expected;
    for (int t = 0; t < 4; ++t) {
        for (int i = 0; i < 100; ++i) {
            expected.insert(QStringLiteral("worker %1 line %2 %3").arg(t).arg(i).arg(QString(40, u'ж')));
        }
        threads.emplace_back([t] {
            for (int i = 0; i < 100; ++i) {
                ProgramLog(QStringLiteral("worker %1 line %2 %3").arg(t).arg(i).arg(QString(40, u'ж')));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const QStringList lines = Messages(log);
    EXPECT_TRUE(lines.size() == 400 && QSet<QString>(lines.begin(), lines.end()) == expected);
}

}  // namespace
}  // namespace tembrix

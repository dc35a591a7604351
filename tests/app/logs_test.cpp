// The three logs: program log reset or appended, my.log beside the program, errors.log in the current
// folder, one whole time-stamped line per call even when threads write at once.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSet>
#include <ostream>
#include <thread>
#include <vector>

#include "indexing/logs.h"
#include "support/temp_dir.h"

// Readable failure messages for texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

// The lines of a UTF-8 log file, which must end with a line feed.
QStringList LogLines(const QString& path) {
    QFile f(path);
    const QString text = f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    EXPECT_TRUE(text.endsWith(u'\n')) << path.toStdString();
    QStringList lines = text.split(u'\n');
    lines.removeLast();
    return lines;
}

// Checks "<stamp><separator><message>" with a stamp of the current local time, and returns the message.
QString MessageOf(const QString& line, QChar separator) {
    const QDateTime when = QDateTime::fromString(line.left(19), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    EXPECT_TRUE(when.isValid() && qAbs(when.secsTo(QDateTime::currentDateTime())) <= 120)
        << line.toStdString();
    EXPECT_EQ(QString(separator), line.mid(19, 1)) << line.toStdString();
    return line.mid(20);
}

// Sets the log locations for a test and clears them afterwards.
class LocationGuard {
public:
    LocationGuard(const QString& log, const QString& dir) : m_previousLog(ProgramLogPath()) {
        SetLogLocations(log, dir);
    }
    ~LocationGuard() { SetLogLocations(m_previousLog, QString()); }

private:
    QString m_previousLog;
};

// The run's first line starts the log afresh; a log that cannot be opened, or has no path, fails.
TEST(Logs, ProgramLogIsResetOnceAndThenAppended) {
    test::TempDir dir;
    const QString log = dir.Write(QStringLiteral("tembrix.log"), "left from the last run\n");
    const QStringList messages = {QStringLiteral("Read Ini file"), QStringLiteral("Ошибка: путь/к файлу")};
    ASSERT_TRUE(WriteProgramLog(log, messages[0], false));
    ASSERT_TRUE(WriteProgramLog(log, messages[1], true));
    QStringList lines = LogLines(log);
    ASSERT_EQ(2, lines.size());
    EXPECT_EQ(messages[0], MessageOf(lines[0], u' '));
    EXPECT_EQ(messages[1], MessageOf(lines[1], u' '));
    ASSERT_TRUE(WriteProgramLog(log, messages[0], false));
    EXPECT_EQ(1, LogLines(log).size());

    const QString below = dir.Write(QStringLiteral("plain"), "x") + QStringLiteral("/tembrix.log");
    EXPECT_FALSE(WriteProgramLog(below, QStringLiteral("m"), true));
    EXPECT_FALSE(WriteProgramLog(below, QStringLiteral("m"), false));
    EXPECT_FALSE(WriteProgramLog(QString(), QStringLiteral("m"), true));
}

// Once the locations are settled the program log and my.log (beside the program, never reset) take lines;
// before that they are not written anywhere, while errors.log always goes to the current folder, with a tab.
TEST(Logs, StoreAndErrorLogs) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    dir.Write(QStringLiteral("my.log"), QByteArray("2020-01-01 00:00:00 older line\n"));
    {
        LocationGuard guard(log, dir.Path());
        EXPECT_EQ(log, ProgramLogPath());
        ProgramLog(QStringLiteral("Init completed"));
        WriteStoreLog(QStringLiteral("Query insert error!"));
    }
    const QStringList program = LogLines(log);
    ASSERT_EQ(1, program.size());
    EXPECT_EQ(QStringLiteral("Init completed"), MessageOf(program[0], u' '));
    const QStringList store = LogLines(dir.File(QStringLiteral("my.log")));
    ASSERT_EQ(2, store.size());
    EXPECT_EQ(QStringLiteral("2020-01-01 00:00:00 older line"), store[0]);
    EXPECT_EQ(QStringLiteral("Query insert error!"), MessageOf(store[1], u' '));

    test::TempDir current;
    LocationGuard guard{QString(), QString()};
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

TEST(Logs, ThreadsWritingAtOnceLeaveWholeLines) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    LocationGuard guard(log, dir.Path());
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
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

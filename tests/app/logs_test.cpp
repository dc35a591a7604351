// The three logs: program log reset or appended, my.log beside the program, errors.log in the current
// folder, one whole time-stamped line per call even when threads write at once.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
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

// The lines of a UTF-8 log file; each must end with a line feed.
QStringList LogLines(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QString text = QString::fromUtf8(f.readAll());
    EXPECT_TRUE(text.isEmpty() || text.endsWith(u'\n')) << path.toStdString();
    QStringList lines = text.split(u'\n');
    lines.removeLast();
    return lines;
}

// Checks "<stamp><separator><message>" with a stamp of the current local time, and returns the message.
QString MessageOf(const QString& line, QChar separator) {
    static const QRegularExpression stamp(QStringLiteral("^(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)(.)"));
    const QRegularExpressionMatch m = stamp.match(line);
    if (!m.hasMatch()) {
        ADD_FAILURE() << "no time stamp: " << line.toStdString();
        return QString();
    }
    EXPECT_EQ(QString(separator), m.captured(2));
    const QDateTime when = QDateTime::fromString(m.captured(1), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    EXPECT_TRUE(when.isValid());
    EXPECT_LE(qAbs(when.secsTo(QDateTime::currentDateTime())), 120) << line.toStdString();
    return line.mid(m.capturedEnd(2));
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

TEST(Logs, ProgramLogIsResetOnceAndThenAppended) {
    test::TempDir dir;
    const QString log = dir.Write(QStringLiteral("tembrix.log"), "left from the last run\n");
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Read Ini file"), false));
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Prepare dialogs"), true));
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Ошибка: путь/к файлу"), true));
    QStringList lines = LogLines(log);
    ASSERT_EQ(3, lines.size());
    EXPECT_EQ(QStringLiteral("Read Ini file"), MessageOf(lines[0], u' '));
    EXPECT_EQ(QStringLiteral("Prepare dialogs"), MessageOf(lines[1], u' '));
    EXPECT_EQ(QStringLiteral("Ошибка: путь/к файлу"), MessageOf(lines[2], u' '));

    // The next run starts the log afresh.
    ASSERT_TRUE(WriteProgramLog(log, QStringLiteral("Read Ini file"), false));
    lines = LogLines(log);
    ASSERT_EQ(1, lines.size());
    EXPECT_EQ(QStringLiteral("Read Ini file"), MessageOf(lines[0], u' '));
}

TEST(Logs, ProgramLogThatCannotBeOpenedFails) {
    test::TempDir dir;
    const QString plain = dir.Write(QStringLiteral("plain"), "x");
    EXPECT_FALSE(WriteProgramLog(plain + QStringLiteral("/tembrix.log"), QStringLiteral("m"), true));
    EXPECT_FALSE(WriteProgramLog(plain + QStringLiteral("/tembrix.log"), QStringLiteral("m"), false));
    EXPECT_FALSE(WriteProgramLog(QString(), QStringLiteral("m"), true));
}

TEST(Logs, SettledLocationsTakeProgramAndStoreLines) {
    test::TempDir dir;
    const QString log = dir.File(QStringLiteral("tembrix.log"));
    const QString myLog = dir.File(QStringLiteral("my.log"));
    dir.Write(QStringLiteral("my.log"), QByteArray("2020-01-01 00:00:00 older line\n"));
    {
        LocationGuard guard(log, dir.Path());
        EXPECT_EQ(log, ProgramLogPath());
        ASSERT_TRUE(WriteProgramLog(ProgramLogPath(), QStringLiteral("Read Ini file"), false));
        ProgramLog(QStringLiteral("Init completed"));
        WriteStoreLog(QStringLiteral("Query insert error!"));
        WriteStoreLog(QStringLiteral("Query insert error!"));
    }
    const QStringList program = LogLines(log);
    ASSERT_EQ(2, program.size());
    EXPECT_EQ(QStringLiteral("Init completed"), MessageOf(program[1], u' '));

    // my.log is never reset.
    const QStringList store = LogLines(myLog);
    ASSERT_EQ(3, store.size());
    EXPECT_EQ(QStringLiteral("2020-01-01 00:00:00 older line"), store[0]);
    EXPECT_EQ(QStringLiteral("Query insert error!"), MessageOf(store[1], u' '));
    EXPECT_EQ(QStringLiteral("Query insert error!"), MessageOf(store[2], u' '));
}

TEST(Logs, NothingIsWrittenBeforeTheLocationsAreSettled) {
    test::TempDir dir;
    LocationGuard guard{QString(), QString()};
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.Path()));
    ProgramLog(QStringLiteral("lost"));
    WriteStoreLog(QStringLiteral("lost"));
    QDir::setCurrent(previous);
    EXPECT_TRUE(QDir(dir.Path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

TEST(Logs, ErrorLogGoesToTheCurrentFolderWithATab) {
    test::TempDir dir;
    const QString previous = QDir::currentPath();
    const QString elsewhere = QDir(previous).filePath(QStringLiteral("errors.log"));
    const bool elsewhereExisted = QFile::exists(elsewhere);
    ASSERT_TRUE(QDir::setCurrent(dir.Path()));
    WriteErrorLog(QStringLiteral("first"));
    WriteErrorLog(QStringLiteral("second\tpart"));
    QDir::setCurrent(previous);
    ASSERT_EQ(previous, QDir::currentPath());

    const QStringList lines = LogLines(dir.File(QStringLiteral("errors.log")));
    ASSERT_EQ(2, lines.size());
    EXPECT_EQ(QStringLiteral("first"), MessageOf(lines[0], u'\t'));
    EXPECT_EQ(QStringLiteral("second\tpart"), MessageOf(lines[1], u'\t'));
    EXPECT_EQ(elsewhereExisted, QFile::exists(elsewhere));
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

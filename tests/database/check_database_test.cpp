// The check worker on databases with known faults: report lines, failing passes, progress, a stop.

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QStringList>

#include "database/check_database.h"
#include "database/index_store.h"
#include "database/maint_test_db.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"
#include "util/synchronize.h"

namespace tembrix {
namespace {

using test::RawRow;

// What a run delivered to the main thread; `events` in order: "lines", "failure", "finish <progress>".
struct CheckRun {
    QStringList lines, failures, events;
    bool FinishedOnceLastAt100() const {
        return events.filter("finish") == QStringList{"finish 100"} && events.last() == "finish 100";
    }
};

// Runs a check of `store` to its end; with `stop`, stops it at the first lines (its closing pause then cut
// short).
CheckRun RunCheck(TDataModule1& store, bool stop = false) {
    CheckDatabase worker(store);
    CheckRun run;
    worker.finishPauseMs = stop ? 60000 : 0;
    worker.onLines = [&](const QStringList& lines) {
        EXPECT_TRUE(OnMainThread());
        run.lines += lines, run.events << "lines";
        if (stop) {
            worker.requestInterruption();
        }
    };
    worker.onFailure = [&](const QString& error) { run.failures << error, run.events << "failure"; };
    worker.onFinish = [&] { run.events << QStringLiteral("finish %1").arg(worker.progress.load()); };
    test::RunToEnd(worker);
    return run;
}

// A row of `path` whose index holds `values` plain values stored in `size` bytes (-1: exactly their bytes).
RawRow Row(const QString& md5, const QString& path, int values = 6000, int64_t size = -1) {
    RawRow r = test::Row(md5, values);
    r.sourcePath = path;
    r.indexSize = size < 0 ? r.indexSize : size;
    return r;
}

class CheckDatabaseTest : public ::testing::Test {
protected:
    void Make(const std::vector<RawRow>& rows) {
        ASSERT_TRUE(test::MakeDatabase(path, rows) && store.Connect(path));
    }

    test::TempDir dir;
    test::RecordingMessages messages;
    QString existing = dir.Write(QStringLiteral("music/a.mp3"), QByteArray("x"));
    QString missing = dir.File(QStringLiteral("music/zz/missing.mp3"));
    QString path = dir.File(QStringLiteral("index.db"));
    TDataModule1 store;
};

// One row per kind of fault, healthy rows around them: catches a fault missed, reported twice or with the
// wrong figure, a pass out of order, and a finish that is not last or not at 100 %.
TEST_F(CheckDatabaseTest, KnownFaultsGiveExactlyTheirLinesPassByPass) {
    RawRow emptyText = Row("e1", existing);
    std::tie(emptyText.sha2, emptyText.sourceFileName, emptyText.info) = std::tuple("", "", "");
    RawRow lowNumbers = Row("e2", existing);
    std::tie(lowNumbers.infoNull, lowNumbers.duration, lowNumbers.allTracks) = std::tuple(true, 0, 0);
    RawRow oddIndex = Row("s2", existing, 500, 1001);
    oddIndex.indexData += "\xFF";                 // the odd byte is no value
    std::vector<uint16_t> values(70003, 0xFFFF);  // a count past 16 bits, three past the last group of 4
    values[10] = 0x7FFF, values[20] = 0x8000, values[30] = 7;
    RawRow negative = Row("n1", existing, 0, 2 * 70003);
    negative.indexData = test::EnvelopeBytes(values);
    RawRow justUnderMinute = Row("b1", existing, 3000, 5999);
    justUnderMinute.indexData.chop(1);
    RawRow noSize = Row("sz", existing);
    noSize.sourceSize.clear();
    const QString gone = dir.File(QStringLiteral("music/0gone.mp3"));      // read before the files that exist
    const QString other = dir.File(QStringLiteral("music/zz/other.mp3"));  // in the missing folder of 12
    Make({Row("d2", existing), Row("d2", existing),                        // 1, 2
          Row("d3", existing), Row("d3", existing), Row("d3", existing),   // 3 .. 5
          emptyText, lowNumbers, Row("s1", existing, 500), oddIndex,       // 6 .. 9
          Row("m1", existing, 3000, 5000), negative, Row("p1", missing),   // 10 .. 12
          Row("z1", existing, 0), justUnderMinute, Row("b2", existing, 3000), noSize,  // 13 .. 16
          Row("p2", dir.Path()), Row("p3", gone), Row("p4", other)});                  // 17 (a folder) .. 19
    const CheckRun run = RunCheck(store);

    ASSERT_EQ(run.lines.size(), 19) << run.lines.join(u'\n').toStdString();
    // Which row of a duplicate group names it is SQLite's choice.
    EXPECT_TRUE(QRegularExpression("^Id=[12]\tНайдены  дубликаты \\(2\\)$").match(run.lines[0]).hasMatch());
    EXPECT_TRUE(QRegularExpression("^Id=[345]\tНайдены  дубликаты \\(3\\)$").match(run.lines[1]).hasMatch());
    const QString expected =
        "Id=6\tНайдены пустые поля (sha2, source_file_name, info)\nId=7\tНайдены пустые поля (duration, "
        "all_tracks, info)\nId=8\tНайдены короткие индексы (1000)\nId=13\tНайдены пустые поля (index_size)\n"
        "Id=13\tНайдены короткие индексы (0)\nId=16\tНайдены пустые поля (source_size)\n"
        "Id=12\tИсходный файл не найден: %1\nId=17\tИсходный файл не найден: %2\n"
        "Id=18\tИсходный файл не найден: %3\nId=19\tИсходный файл не найден: %4\n"
        "Id=8\tРазмер индексных данных (1000) менее минуты!\nId=9\tРазмер индексных данных (1001) менее "
        "минуты!\n"
        "Id=10\tРеальный размер индексных данных (6000) отличен от значения поля index_size (5000)\n"
        "Id=10\tРазмер индексных данных (6000) менее минуты!\nId=11\tОбнаружено (70001) отрицательных "
        "значений "
        "огибающей!\nId=13\tИндексные данные отстутствуют!\nId=14\tРазмер индексных данных (5999) менее "
        "минуты!";
    EXPECT_EQ(run.lines.mid(2).join(u'\n'), expected.arg(missing, dir.Path(), gone, other));
    EXPECT_TRUE(run.failures.isEmpty() && messages.shown.isEmpty() && run.FinishedOnceLastAt100());
}

// Catches a failing pass that ends the check, or is not told.
TEST_F(CheckDatabaseTest, WithoutTheTableEveryPassFailsOnItsOwn) {
    ASSERT_TRUE(store.Connect(dir.File(QStringLiteral("bare.db"))));
    const CheckRun run = RunCheck(store);
    EXPECT_EQ(run.failures, (QStringList{"Ошибка чтения количества записей!", "Ошибка поиска дубликатов!",
                                         "Ошибка поиска пустых полей!", "Ошибка чтения списка файлов!",
                                         "Ошибка чтения индексных данных!"}));
    EXPECT_TRUE(run.lines.isEmpty() && run.FinishedOnceLastAt100()) << run.events.join(u',').toStdString();
}

// Catches a stop that lets the pass run on or the later passes report, or that loses the finish. The stop
// comes with the first batch of lines: what arrived must be the first lines of the whole report, not all.
TEST_F(CheckDatabaseTest, StopInAPassEndsItAndSkipsTheRowsOfTheRest) {
    std::vector<RawRow> rows;  // each with an empty field, a missing source and a short index
    for (int i = 0; i < 20000; ++i) {
        rows.push_back(Row(QString::number(i), missing, 10));
        rows.back().created.clear();
    }
    Make(rows);
    const QStringList all = RunCheck(store).lines;
    const CheckRun run = RunCheck(store, true);
    EXPECT_TRUE(!run.lines.isEmpty() && run.lines.size() < all.size() &&
                run.lines == all.mid(0, run.lines.size()) && run.FinishedOnceLastAt100());
}

}  // namespace
}  // namespace tembrix

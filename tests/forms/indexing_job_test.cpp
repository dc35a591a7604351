// Indexing driven through the main window: Start's refusals in their order with the settings page they
// open, whole jobs on generated media (statuses in the grid, counters in the status bar, report lines,
// "Задание выполнено!"), and Stop in the middle of a job.

#include <gtest/gtest.h>

#include <QPushButton>
#include <QTest>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "forms/queue_model.h"
#include "forms/report_window.h"
#include "main_window_fixture.h"
#include "support/media_fixtures.h"
#include "util/file_utils.h"

namespace tembrix::test {
namespace {

// A window whose settings point at a real work folder, database and tools (fake tool files unless
// `realTools`).
struct JobFixture {
    explicit JobFixture(bool realTools) {
        f.window->Timer1Timer();  // the start-up tick is over
        Settings& s = f.window->CurrentSettings();
        s.workDir = work.Path();
        s.dbPath = f.dir.File(QStringLiteral("index.db"));
        if (realTools) {
            s.ffmpegPath = RealFfmpeg();
            s.soxPath = RealSox();
            // The tag tool where the worker looks for it: beside the program and in id3-tags/.
            QFile::link(ProgramDir() + QStringLiteral("/id3-tags-cli"),
                        f.dir.File(QStringLiteral("id3-tags-cli")));
            QFile::link(ProgramDir() + QStringLiteral("/id3-tags"), f.dir.File(QStringLiteral("id3-tags")));
        } else {
            s.ffmpegPath = f.dir.Write(QStringLiteral("tools/ffmpeg"), "fake");
            s.soxPath = f.dir.Write(QStringLiteral("tools/sox"), "fake");
        }
        f.store.Connect(s.dbPath);
        f.store.CreateTable();
    }
    QStringList Statuses() const {
        QStringList statuses;
        for (qsizetype n = 0; n < f.window->Queue().Count(); ++n) {
            statuses.append(f.window->Model()->CellText(static_cast<int>(n), QueueModel::kStatus));
        }
        return statuses;
    }
    QStringList StatusBar() const {
        f.window->Timer3Timer();
        QStringList panels;
        for (int panel = 0; panel < 6; ++panel) {
            panels.append(f.window->StatusPanelText(panel));
        }
        return panels;
    }
    void Add(const QStringList& paths) {
        f.messages.fileLists.push_back(paths);
        f.window->AddFilesExecute();
    }
    bool WaitForJobEnd(int ms) {
        QElapsedTimer clock;
        clock.start();
        while (f.window->Scheduler().IsRunning() && clock.elapsed() < ms) {
            QTest::qWait(50);
        }
        return !f.window->Scheduler().IsRunning();
    }
    int Rows() {
        return static_cast<int>(f.store.QueryScalar(QStringLiteral("SELECT COUNT(*) AS res FROM Data")));
    }

    MainWindowFixture f;
    TempDir work;
};

TEST(StartRefusals, EachCheckInItsOrderWithItsMessageAndPage) {
    const struct {
        const char* missing;
        std::function<void(Settings&, const QString& scratch)> spoil;
        const char* message;
        int page;  // -1: no settings dialog
    } cases[] = {
        {"everything", [](Settings& s, const QString&) { s = Settings(); }, "Выберите рабочий каталог!", 0},
        {"work folder", [](Settings& s, const QString& x) { s.workDir = x + QStringLiteral("/nowhere"); },
         "Выберите рабочий каталог!", 0},
        {"database", [](Settings& s, const QString& x) { s.dbPath = x + QStringLiteral("/none.db"); },
         "Выберите или создайте базу данных!", 0},
        {"database and tools",
         [](Settings& s, const QString&) {
             s.dbPath.clear();
             s.soxPath = QStringLiteral("/no/sox");
         },
         "Выберите или создайте базу данных!", 0},
        {"ffmpeg", [](Settings& s, const QString& x) { s.ffmpegPath = x + QStringLiteral("/no/ffmpeg"); },
         "Отсутствует утилита FFMPEG! Установите её пожалуйста и укажите её путь!", 1},
        {"sox", [](Settings& s, const QString& x) { s.soxPath = x + QStringLiteral("/no/sox"); },
         "Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!", 1},
        {"files", [](Settings&, const QString&) {}, "Добавьте в список аудио или видео файлы!", -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.missing);
        JobFixture job(false);
        c.spoil(job.f.window->CurrentSettings(), job.f.dir.Path());
        job.f.messages.shown.clear();
        job.f.window->StartButton()->click();
        EXPECT_EQ(job.f.messages.shown, QStringList({QString::fromUtf8(c.message)}));
        if (c.page < 0) {
            EXPECT_TRUE(job.f.modals.empty());
        } else {
            ASSERT_EQ(job.f.modals.size(), 1u);
            EXPECT_EQ(job.f.modals[0].className, "tembrix::TForm2");
            EXPECT_EQ(job.f.modals[0].page, c.page);
        }
        EXPECT_FALSE(job.f.window->Scheduler().IsRunning());
        EXPECT_EQ(job.f.window->StartButton()->text(), "Начать индексацию");
        EXPECT_FALSE(job.f.window->ReportWindow()->isVisible());
    }
}

TEST(IndexingJob, NoThreadsEndsTheJobAtTheFirstTick) {
    JobFixture job(false);
    job.f.window->CurrentSettings().threads = 0;
    job.Add({job.f.dir.Write(QStringLiteral("media/a.mp3"), "x")});
    job.f.window->StartExecute();
    EXPECT_EQ(job.f.window->StartButton()->text(), "Остановить индексацию");
    EXPECT_TRUE(job.f.window->ReportWindow()->isVisible());
    ASSERT_TRUE(job.WaitForJobEnd(5000));
    EXPECT_EQ(job.f.messages.shown, QStringList({"Задание выполнено!"}));
    EXPECT_EQ(job.Statuses(), QStringList({""}));
    EXPECT_EQ(job.f.window->StartButton()->text(), "Начать индексацию");
}

TEST(IndexingJob, AQueueWithoutWaitingFilesEndsAtOnce) {
    JobFixture job(false);
    job.Add({job.f.dir.Write(QStringLiteral("media/a.mp3"), "x")});
    job.f.window->Queue().SetStatus(kStatusError, job.f.window->Queue().At(0).path);
    job.f.window->BitBtn4Click();
    ASSERT_TRUE(job.WaitForJobEnd(5000));
    EXPECT_EQ(job.f.messages.shown, QStringList({"Задание выполнено!"}));
    EXPECT_EQ(job.Statuses(), QStringList({"ошибка"}));
}

TEST(IndexingJob, AWholeJobThroughTheWindow) {
    MediaFixtures& media = MediaFixtures::Instance();
    const QString wav = media.Tone(QStringLiteral(".wav"), 61, 0);
    const QString mp3 = media.Tone(QStringLiteral(".mp3"), 62, 1);
    const QString shortOgg = media.Tone(QStringLiteral(".ogg"), 20, 2);
    ASSERT_FALSE(wav.isEmpty() || mp3.isEmpty() || shortOgg.isEmpty());

    JobFixture job(true);
    job.f.window->CurrentSettings().threads = 2;
    job.Add({wav, mp3, shortOgg});
    job.f.window->BitBtn4Click();
    EXPECT_EQ(job.f.window->StartButton()->text(), "Остановить индексацию");
    ASSERT_TRUE(job.WaitForJobEnd(120000));

    EXPECT_EQ(job.Statuses(), QStringList({"обработан", "обработан", "ошибка"}));
    EXPECT_EQ(job.StatusBar(), QStringList({"Кол-во файлов: 3", "Обработано: 2", "Ошибка: 1",
                                            "Проиндексировано ранее: 0", "В обработке: 0", "Осталось: 0"}));
    TForm3* report = job.f.window->ReportWindow();
    EXPECT_TRUE(report->isVisible());
    QStringList successes = report->PageText(TForm3::kSuccessPage).split(u'\n');
    successes.sort();
    QStringList expected = {"Обработан успешно: " + wav, "Обработан успешно: " + mp3};
    expected.sort();
    EXPECT_EQ(successes, expected);
    EXPECT_EQ(report->PageText(TForm3::kErrorPage), "Очень маленький размер аудио данных! - " + shortOgg);
    EXPECT_EQ(report->PageText(TForm3::kAlreadyPage), "");
    report->Timer1Timer();
    EXPECT_EQ(report->StatusText(0), "Успешно обработаны: 2");
    EXPECT_EQ(report->StatusText(1), "Сообщения об ошибках: 1");
    EXPECT_EQ(report->StatusText(2), "Проиндексированы ранее: 0");
    EXPECT_EQ(job.f.messages.shown, QStringList({"Задание выполнено!"}));
    EXPECT_EQ(job.f.window->StartButton()->text(), "Начать индексацию");
    EXPECT_EQ(job.Rows(), 2);

    // A second job over a new list: the file indexed before is reported so, the report starts afresh.
    job.f.window->ClearListExecute();
    const QString flac = media.Tone(QStringLiteral(".flac"), 61, 3);
    job.Add({wav, flac});
    job.f.window->StartExecute();
    EXPECT_EQ(report->PageText(TForm3::kSuccessPage), "");
    ASSERT_TRUE(job.WaitForJobEnd(120000));
    EXPECT_EQ(job.Statuses(), QStringList({"уже проиндексирован", "обработан"}));
    EXPECT_EQ(report->PageText(TForm3::kAlreadyPage), "Уже проиндексирован - " + wav);
    EXPECT_EQ(report->PageText(TForm3::kSuccessPage), "Обработан успешно: " + flac);
    EXPECT_EQ(job.StatusBar()[3], "Проиндексировано ранее: 1");
    EXPECT_EQ(job.Rows(), 3);

    // Очистить empties the three pages.
    report->N2Click();
    for (int page = 0; page < 3; ++page) {
        EXPECT_EQ(report->LineCount(page), 0);
        EXPECT_EQ(report->PageText(page), "");
    }
}

TEST(IndexingJob, StopMarksOnlyTheFilesInWork) {
    MediaFixtures& media = MediaFixtures::Instance();
    QStringList files;
    for (int variant = 0; variant < 5; ++variant) {
        files.append(media.Tone(QStringLiteral(".wav"), 61, variant));
        ASSERT_FALSE(files.last().isEmpty());
    }
    JobFixture job(true);
    job.f.window->CurrentSettings().threads = 2;
    job.Add(files);
    job.f.window->StartExecute();
    QElapsedTimer clock;
    clock.start();
    while (job.f.window->Queue().CountWithStatus(kStatusInWork) == 0 && clock.elapsed() < 10000) {
        QTest::qWait(20);
    }
    const QStringList inWork = [&] {
        QStringList paths;
        for (qsizetype n = 0; n < job.f.window->Queue().Count(); ++n) {
            if (job.f.window->Queue().At(n).status == kStatusInWork) {
                paths.append(job.f.window->Queue().At(n).path);
            }
        }
        return paths;
    }();
    ASSERT_EQ(inWork.size(), 2);
    job.f.window->Action(QStringLiteral("N21"))->trigger();  // Стоп

    EXPECT_FALSE(job.f.window->Scheduler().IsRunning());
    EXPECT_EQ(job.f.messages.shown.last(), "Индексация остановлена!");
    EXPECT_EQ(job.f.window->StartButton()->text(), "Начать индексацию");
    for (qsizetype n = 0; n < job.f.window->Queue().Count(); ++n) {
        const QueueEntry& entry = job.f.window->Queue().At(n);
        EXPECT_EQ(entry.status, inWork.contains(entry.path) ? kStatusStopped : QString())
            << entry.path.toStdString();
    }
    EXPECT_EQ(job.Statuses().count(QStringLiteral("остановлен")), 2);
    EXPECT_EQ(job.StatusBar(), QStringList({"Кол-во файлов: 5", "Обработано: 0", "Ошибка: 0",
                                            "Проиндексировано ранее: 0", "В обработке: 0", "Осталось: 3"}));
    QStringList stopped = job.f.window->ReportWindow()->PageText(TForm3::kErrorPage).split(u'\n');
    stopped.sort();
    QStringList expected = {"Остановлен: " + inWork[0], "Остановлен: " + inWork[1]};
    expected.sort();
    EXPECT_EQ(stopped, expected);
    EXPECT_FALSE(FolderExists(job.work.File(QStringLiteral("0"))));
    EXPECT_FALSE(FolderExists(job.work.File(QStringLiteral("1"))));
}

}  // namespace
}  // namespace tembrix::test

// Indexing driven through the main window: Start's refusals, a whole job on generated media, Stop.

#include <gtest/gtest.h>

#include <QProgressBar>
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

// A window whose settings point at a work folder, a database and tools (fake files unless `realTools`).
struct JobFixture {
    explicit JobFixture(bool realTools) {
        f.window->Timer1Timer();  // the start-up tick is over
        Settings& s = f.window->CurrentSettings();
        s.workDir = work.Path();
        s.dbPath = f.dir.File(QStringLiteral("index.db"));
        s.ffmpegPath = realTools ? RealFfmpeg() : f.dir.Write(QStringLiteral("tools/ffmpeg"), "fake");
        s.soxPath = realTools ? RealSox() : f.dir.Write(QStringLiteral("tools/sox"), "fake");
        if (!realTools) {
            f.dir.Write(QStringLiteral("tools/ffprobe"), "fake");
        }
        for (const char* tool : {"/id3-tags-cli", "/id3-tags"}) {  // where the worker looks for the tag tool
            QFile::link(ProgramDir() + QLatin1String(tool), f.dir.Path() + QLatin1String(tool));
        }
        f.store.Connect(s.dbPath);
        f.store.CreateTable();
    }
    QStringList Statuses() const {
        QStringList statuses;
        for (int n = 0; n < f.window->Queue().Count(); ++n) {
            statuses.append(f.window->Model()->CellText(n, QueueModel::kStatus));
        }
        return statuses;
    }
    QString StatusPanel(int panel) const {
        f.window->Timer3Timer();
        return f.window->StatusPanelText(panel);
    }
    void Start(const QStringList& paths) {
        f.messages.fileLists.push_back(paths);
        f.window->AddFilesExecute();
        f.window->StartExecute();
    }
    bool WaitForJobEnd() {
        return QTest::qWaitFor([this] { return !f.window->Scheduler().IsRunning(); }, 120000);
    }
    // Another copy of the program over the same INI file (so the same work folder).
    void StartSecondCopy() {
        f.window->WriteINIExecute();
        other = std::make_unique<TForm1>(otherStore, f.Executable(), MainWindowFixture::kSlots);
    }

    TempDir work;  // outlives the windows, which hold its lock
    MainWindowFixture f;
    TDataModule1 otherStore;
    std::unique_ptr<TForm1> other;
};

// Catches a refusal that opens the wrong settings page or still starts the job; a job started into a
// database that is named but not connected (its rows would fail or go elsewhere); a work folder another
// copy of the program uses.
TEST(StartRefusals, EachCheckWithItsMessageAndSettingsPage) {
    const struct {
        std::function<void(JobFixture&)> spoil;
        const char* message;  // "%1": the work folder
        int page;             // -1: no settings dialog
    } cases[] = {
        {[](JobFixture& j) { j.f.window->CurrentSettings().workDir += QStringLiteral("/nowhere"); },
         "Выберите рабочий каталог!", 0},
        {[](JobFixture& j) { j.f.window->CurrentSettings().dbPath.clear(); },
         "Выберите или создайте базу данных!", 0},
        {[](JobFixture& j) { j.f.store.Disconnect(); }, "Выберите или создайте базу данных!", 0},
        {[](JobFixture& j) { j.StartSecondCopy(); },
         "Рабочий каталог используется другой копией программы: %1", -1},
        {[](JobFixture& j) { j.f.window->CurrentSettings().ffmpegPath += QStringLiteral("-none"); },
         "Отсутствует утилита FFMPEG! Установите её пожалуйста и укажите её путь!", 1},
        {[](JobFixture& j) { j.f.window->CurrentSettings().soxPath += QStringLiteral("-none"); },
         "Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!", 1},
        {[](JobFixture& j) { QFile::remove(j.f.dir.File(QStringLiteral("tools/ffprobe"))); },
         "Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!", 1},
        {[](JobFixture&) {}, "Добавьте в список аудио или видео файлы!", -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        JobFixture job(false);
        c.spoil(job);
        job.f.messages.shown.clear();
        job.f.window->StartButton()->click();
        EXPECT_EQ(job.f.messages.shown, QStringList({QString::fromUtf8(c.message).arg(job.work.Path())}));
        ASSERT_EQ(job.f.modals.size(), c.page < 0 ? 0u : 1u);
        if (c.page >= 0) {
            EXPECT_EQ(job.f.modals[0].className, "tembrix::TForm2");
            EXPECT_EQ(job.f.modals[0].page, c.page);
        }
        EXPECT_FALSE(job.f.window->Scheduler().IsRunning() || job.f.window->ReportWindow()->isVisible());
    }
}

// Catches check or import opened while a job runs.
TEST(IndexingJob, CheckAndImportWaitForTheJob) {
    JobFixture job(false);
    job.Start({job.f.dir.Write(QStringLiteral("media/a.mp3"), "x")});
    ASSERT_TRUE(job.f.window->Scheduler().IsRunning());
    job.f.window->N39Click();
    job.f.window->N41Click();
    EXPECT_EQ(job.f.messages.shown, QStringList({"Перед началом проверки остановите индексацию данных!",
                                                 "Перед началом импорта остановите индексацию данных!"}));
    EXPECT_TRUE(job.f.modals.empty());
}

// Catches a job's end, statuses, counters or report lines missed, an old report kept, a threadless job.
TEST(IndexingJob, AWholeJobThroughTheWindow) {
    MediaFixtures& media = MediaFixtures::Instance();
    const QString wav = media.Tone(QStringLiteral(".wav"), 61, 0);
    const QString mp3 = media.Tone(QStringLiteral(".mp3"), 62, 1);
    const QString shortOgg = media.Tone(QStringLiteral(".ogg"), 20, 2);
    ASSERT_FALSE(wav.isEmpty() || mp3.isEmpty() || shortOgg.isEmpty());

    JobFixture job(true);
    job.f.window->CurrentSettings().threads = 0;
    job.Start({wav});
    EXPECT_TRUE(job.f.window->ReportWindow()->isVisible());
    ASSERT_TRUE(job.WaitForJobEnd());
    EXPECT_EQ(job.Statuses(), QStringList({""}));

    job.f.window->CurrentSettings().threads = 2;
    job.Start({mp3, shortOgg});
    ASSERT_TRUE(job.WaitForJobEnd());
    EXPECT_EQ(job.Statuses(), QStringList({"обработан", "обработан", "ошибка"}));
    EXPECT_EQ(job.StatusPanel(1), "Обработано: 2");
    TForm3* report = job.f.window->ReportWindow();
    QStringList successes = report->PageText(TForm3::kSuccessPage).split(u'\n');
    successes.sort();
    QStringList expected = {"Обработан успешно: " + mp3, "Обработан успешно: " + wav};
    expected.sort();
    EXPECT_EQ(successes, expected);
    EXPECT_EQ(report->PageText(TForm3::kErrorPage), "Очень маленький размер аудио данных! - " + shortOgg);
    report->Timer1Timer();
    EXPECT_EQ(QStringList({report->StatusText(0), report->StatusText(1), report->StatusText(2)}),
              QStringList({"Успешно обработаны: 2", "Сообщения об ошибках: 1", "Проиндексированы ранее: 0"}));
    EXPECT_EQ(job.f.messages.shown, QStringList(2, "Задание выполнено!"));

    // A second job over a new list: the report starts afresh and tells the file indexed before.
    job.f.window->ClearListExecute();
    job.Start({wav});
    ASSERT_TRUE(job.WaitForJobEnd());
    EXPECT_EQ(job.Statuses(), QStringList({"уже проиндексирован"}));
    EXPECT_EQ(report->PageText(TForm3::kSuccessPage) + report->PageText(TForm3::kErrorPage), "");
    EXPECT_EQ(report->PageText(TForm3::kAlreadyPage), "Уже проиндексирован - " + wav);
    EXPECT_TRUE(job.f.window->ProgressBar()->text().startsWith(QStringLiteral("Файлы: 1 из 1, ")));
    EXPECT_EQ(job.f.window->ProgressBar()->value(), 1000);

    // The report closed is shown again from the menu as it was.
    report->close();
    job.f.window->Action(QStringLiteral("N56"))->trigger();
    EXPECT_TRUE(report->isVisible());
    EXPECT_EQ(report->PageText(TForm3::kAlreadyPage), "Уже проиндексирован - " + wav);
}

// Catches a Stop that leaves the job running, the files in work unmarked or the counters stale.
// (The stop may end after the call returns: the windows go on answering meanwhile.)
TEST(IndexingJob, StopFromTheMenuMarksTheFilesInWork) {
    QStringList files;
    for (int variant = 0; variant < 5; ++variant) {
        files.append(MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61, variant));
    }
    JobFixture job(true);
    job.f.window->CurrentSettings().threads = 2;
    job.Start(files);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return job.f.window->Queue().CountWithStatus(kStatusInWork) == 2; }, 10000));
    job.f.window->Action(QStringLiteral("N21"))->trigger();  // Стоп
    ASSERT_TRUE(job.WaitForJobEnd());
    EXPECT_EQ(job.f.messages.shown.last(), "Индексация остановлена!");
    EXPECT_EQ(job.Statuses().count(QStringLiteral("остановлен")), 2);
    EXPECT_EQ(job.StatusPanel(5), "Осталось: 3");
    EXPECT_EQ(
        job.f.window->ReportWindow()->PageText(TForm3::kErrorPage).count(QStringLiteral("Остановлен: ")), 2);
}

// Catches closing the window or "Перезапуск" during a job that leaves its workers running, its files in
// work unmarked, its scratch folders behind, or the stop message on the screen.
TEST(IndexingJob, ClosingOrRestartingDuringAJobStopsItQuietly) {
    const struct {
        const char* way;
        std::function<void(JobFixture&)> end;
    } ways[] = {
        {"close", [](JobFixture& j) { j.f.window->close(); }},
        {"restart",
         [](JobFixture& j) {
             const QString program = j.f.dir.Write(QStringLiteral("tembrix"), "#!/bin/sh\nexit 0\n");
             QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
             j.f.window->N47Click();
         }},
    };
    QStringList files;
    for (int variant = 0; variant < 3; ++variant) {
        files.append(MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61, variant));
    }
    for (const auto& way : ways) {
        SCOPED_TRACE(way.way);
        JobFixture job(true);
        job.f.window->CurrentSettings().threads = 2;
        job.Start(files);
        ASSERT_TRUE(QTest::qWaitFor([&] { return job.f.window->Queue().CountWithStatus(kStatusInWork) == 2; },
                                    10000));
        way.end(job);
        ASSERT_TRUE(job.WaitForJobEnd());
        EXPECT_EQ(job.Statuses(), QStringList({"остановлен", "остановлен", ""}));
        EXPECT_FALSE(job.f.messages.shown.contains(QStringLiteral("Индексация остановлена!")));
        EXPECT_FALSE(FolderExists(job.work.File(QStringLiteral("0"))) ||
                     FolderExists(job.work.File(QStringLiteral("1"))));
    }
}

}  // namespace
}  // namespace tembrix::test

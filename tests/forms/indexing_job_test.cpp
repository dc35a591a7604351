// Indexing driven through the main window: Start's refusals, a whole job on generated media, stopping.

#include <gtest/gtest.h>

#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include "app/indexing_queue.h"
#include "app/indexing_scheduler.h"
#include "forms/queue_model.h"
#include "forms/report_window.h"
#include "support/media_fixtures.h"
#include "util/file_utils.h"
#include "window_fixtures.h"

namespace tembrix::test {
namespace {

// A window whose settings point at a work folder, a connected database and tools: the real ones, or
// fakes that never end.
struct JobFixture {
    explicit JobFixture(bool realTools) {
        f.window->Timer1Timer();  // the start-up tick is over
        Settings& s = f.window->CurrentSettings();
        s.workDir = work.Path();
        s.dbPath = f.dir.File(QStringLiteral("index.db"));
        s.threads = 2;
        const QString tools = f.dir.File(QStringLiteral("tools")), hang = QStringLiteral("exec sleep 60");
        s.ffmpegPath = realTools ? RealFfmpeg() : WriteFakeTool(tools, QStringLiteral("ffmpeg"), hang);
        s.soxPath = realTools ? RealSox() : WriteFakeTool(tools, QStringLiteral("sox"), hang);
        WriteFakeTool(tools, QStringLiteral("ffprobe"), hang);
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
    bool Run(const QStringList& paths) {  // starts a job and waits for its end
        Start(paths);
        return WaitForEnd();
    }
    bool WaitForEnd() {
        return QTest::qWaitFor([this] { return !f.window->Scheduler().IsRunning(); }, 120000);
    }
    void Start(const QStringList& paths) {
        f.messages.fileLists.push_back(paths);
        f.window->AddFilesExecute();
        f.window->StartExecute();
    }

    TempDir work;  // outlives the windows, which hold its lock
    MainWindowFixture f;
};

// Catches a refusal that opens the wrong settings page or still starts the job; a job started into a
// database that is named but not connected.
TEST(StartRefusals, EachCheckWithItsMessageAndSettingsPage) {
    const auto settings = [](JobFixture& j) -> Settings& { return j.f.window->CurrentSettings(); };
    const struct {
        std::function<void(JobFixture&)> spoil;
        const char* message;
        std::vector<int> pages;  // settings pages opened
    } cases[] = {
        {[&](JobFixture& j) { settings(j).workDir += "/nowhere"; }, "Выберите рабочий каталог!", {0}},
        {[&](JobFixture& j) { settings(j).dbPath.clear(); }, "Выберите или создайте базу данных!", {0}},
        {[](JobFixture& j) { j.f.store.Disconnect(); }, "Выберите или создайте базу данных!", {0}},
        {[&](JobFixture& j) { settings(j).ffmpegPath += "-none"; },
         "Отсутствует утилита FFMPEG! Установите её пожалуйста и укажите её путь!",
         {1}},
        {[&](JobFixture& j) { settings(j).soxPath += "-none"; },
         "Отсутствует утилита SOX! Установите её пожалуйста и укажите её путь!",
         {1}},
        {[](JobFixture& j) { QFile::remove(j.f.dir.File(QStringLiteral("tools/ffprobe"))); },
         "Отсутствует утилита FFPROBE! Установите её пожалуйста в каталог FFMPEG!",
         {1}},
        {[](JobFixture&) {}, "Добавьте в список аудио или видео файлы!", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        JobFixture job(false);
        c.spoil(job);
        job.f.window->StartButton()->click();
        EXPECT_EQ(job.f.messages.shown, QStringList({QString::fromUtf8(c.message)}));
        EXPECT_EQ(job.f.modals, c.pages);
        EXPECT_FALSE(job.f.window->Scheduler().IsRunning() || job.f.window->ReportWindow()->isVisible());
    }
}

// Catches a job's statuses, counters, progress or report lines not shown, an old report kept, and a
// closed report that cannot be shown again.
TEST(IndexingJob, AWholeJobThroughTheWindow) {
    MediaFixtures& media = MediaFixtures::Instance();
    const QString mp3 = media.Tone(QStringLiteral(".mp3"), 62, 1),
                  ogg = media.Tone(QStringLiteral(".ogg"), 20, 2);
    ASSERT_FALSE(mp3.isEmpty() || ogg.isEmpty());
    JobFixture job(true);
    TForm3* report = job.f.window->ReportWindow();
    ASSERT_TRUE(job.Run({mp3, ogg}));
    EXPECT_TRUE(report->isVisible());
    EXPECT_EQ(job.Statuses(), QStringList({"обработан", "ошибка"}));
    job.f.window->Timer3Timer();
    report->Timer1Timer();
    EXPECT_EQ(QStringList({job.f.window->StatusPanelText(1), report->PageText(TForm3::kSuccessPage),
                           report->PageText(TForm3::kErrorPage), report->StatusText(0), report->StatusText(1),
                           report->StatusText(2)}),
              QStringList({"Обработано: 1", "Обработан успешно: " + mp3,
                           "Очень маленький размер аудио данных! - " + ogg, "Успешно обработаны: 1",
                           "Сообщения об ошибках: 1", "Проиндексированы ранее: 0"}));
    EXPECT_EQ(job.f.messages.shown, QStringList({"Задание выполнено!"}));

    job.f.window->ClearListExecute();  // a second job: the report starts afresh
    ASSERT_TRUE(job.Run({mp3}));
    EXPECT_EQ(job.Statuses(), QStringList({"уже проиндексирован"}));
    EXPECT_EQ(report->PageText(TForm3::kSuccessPage) + report->PageText(TForm3::kErrorPage), "");
    EXPECT_TRUE(job.f.window->ProgressBar()->text().startsWith(QStringLiteral("Файлы: 1 из 1, ")));
    EXPECT_EQ(job.f.window->ProgressBar()->value(), 1000);
    report->close();
    job.f.window->Action(QStringLiteral("N56"))->trigger();
    EXPECT_TRUE(report->isVisible());
    EXPECT_EQ(report->PageText(TForm3::kAlreadyPage), "Уже проиндексирован - " + mp3);
}

// Catches check or import opened during a job; a Stop, closing the window or "Перезапуск" that leaves
// the job running or its files in work unmarked; the stop message missing from Stop or shown on the others.
TEST(IndexingJob, StopCloseAndRestartEndTheJob) {
    const struct {
        const char* way;
        std::function<void(JobFixture&)> end;
    } ways[] = {
        {"stop", [](JobFixture& j) { j.f.window->Action(QStringLiteral("N21"))->trigger(); }},
        {"close", [](JobFixture& j) { j.f.window->close(); }},
        {"restart",
         [](JobFixture& j) {
             WriteFakeTool(j.f.dir.Path(), QStringLiteral("tembrix"), QStringLiteral("exit 0"));
             j.f.window->N47Click();
         }},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way.way);
        JobFixture job(false);
        job.Start({job.f.dir.Write("m/a.wav", "x"), job.f.dir.Write("m/b.mp3", "x"),
                   job.f.dir.Write("m/c.wav", "x")});
        ASSERT_TRUE(QTest::qWaitFor([&] { return job.f.window->Queue().CountWithStatus(kStatusInWork) == 2; },
                                    10000));
        job.f.window->N39Click();
        job.f.window->N41Click();
        EXPECT_TRUE(job.f.modals.empty());
        way.end(job);
        ASSERT_TRUE(job.WaitForEnd());
        EXPECT_EQ(job.Statuses(), QStringList({"остановлен", "остановлен", ""}));
        QStringList told = {"Перед началом проверки остановите индексацию данных!",
                            "Перед началом импорта остановите индексацию данных!"};
        EXPECT_EQ(job.f.messages.shown,
                  way.way == std::string("stop") ? told << "Индексация остановлена!" : told);
    }
}

}  // namespace
}  // namespace tembrix::test

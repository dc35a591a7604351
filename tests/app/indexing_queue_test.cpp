// The indexing queue: which files it takes, the entries it keeps, pruning, list files and statuses.

#include <gtest/gtest.h>

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTime>
#include <ostream>
#include <vector>

#include "app/indexing_queue.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

// Readable failure messages for texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

const QByteArray kBom("\xEF\xBB\xBF");
#ifdef Q_OS_WIN
const QByteArray kEol("\r\n");
#else
const QByteArray kEol("\n");
#endif

QByteArray ReadBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Creates `count` media files a0.mp3 … in the folder and returns their paths.
QStringList MakeFiles(const test::TempDir& dir, int count) {
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths.append(dir.Write(QStringLiteral("a%1.mp3").arg(i), "x"));
    }
    return paths;
}

QStringList PathsOf(const IndexingQueue& queue) {
    QStringList paths;
    for (qsizetype i = 0; i < queue.Count(); ++i) {
        paths.append(queue.At(i).path);
    }
    return paths;
}

IndexingQueue QueueOf(const QStringList& paths) {
    IndexingQueue queue;
    for (const QString& p : paths) {
        EXPECT_TRUE(queue.AddFile(p)) << p.toStdString();
    }
    return queue;
}

TEST(MediaClassifiers, ExtensionTable) {
    struct Row {
        const char* ext;
        const char* type;
        bool direct;
        bool tags;
        bool multiTrack;
    };
    const char* audio = "аудио";
    const char* video = "видео";
    const Row rows[] = {
        {".wav", audio, true, true, false},
        {".mp3", audio, true, true, false},
        {".ogg", audio, true, false, false},
        {".aac", audio, true, false, false},
        {".flac", audio, true, false, false},
        {".aiff", audio, true, true, false},
        {".m4a", audio, false, true, false},
        {".wma", audio, true, true, true},
        {".opus", audio, true, false, false},
        {".au", audio, true, false, false},
        {".voc", audio, true, false, false},
        {".snd", audio, true, false, false},
        {".mp4", video, false, false, true},
        {".mov", video, false, false, true},
        {".mkv", video, false, false, true},
        {".m2ts", video, false, false, true},
        {".avi", video, false, false, false},
        {".wmv", video, false, true, true},
        {".webm", video, false, false, false},
        {".mpg", video, false, false, false},
        {".mpeg", video, false, false, false},
        {".ogv", video, false, false, false},
        {".asf", video, false, true, true},
        // Capitals, near misses and things that are not an extension at all.
        {".MP3", "", false, false, false},
        {".Wav", "", false, false, false},
        {".WMA", "", false, false, false},
        {".MKV", "", false, false, false},
        {"mp3", "", false, false, false},
        {"", "", false, false, false},
        {".", "", false, false, false},
        {".mp3 ", "", false, false, false},
        {".aif", "", false, false, false},
        {".m4", "", false, false, false},
        {".mpeg4", "", false, false, false},
        {".txt", "", false, false, false},
    };
    for (const Row& row : rows) {
        const QString ext = QString::fromUtf8(row.ext);
        SCOPED_TRACE(row.ext);
        EXPECT_EQ(QString::fromUtf8(row.type), MediaTypeOf(ext));
        EXPECT_EQ(row.direct, IsDirectAudio(ext));
        EXPECT_EQ(row.tags, IsTagBearing(ext));
        EXPECT_EQ(row.multiTrack, IsMultiTrack(ext));
    }
}

TEST(MediaClassifiers, StatusWords) {
    EXPECT_EQ(QStringLiteral("в обработке"), kStatusInWork);
    EXPECT_EQ(QStringLiteral("обработан"), kStatusDone);
    EXPECT_EQ(QStringLiteral("ошибка"), kStatusError);
    EXPECT_EQ(QStringLiteral("уже проиндексирован"), kStatusAlreadyIndexed);
    EXPECT_EQ(QStringLiteral("остановлен"), kStatusStopped);
}

// The queue classifies by the extension of the file name, not of the whole path.
TEST(IndexingQueue, ClassifyLooksAtTheFileNameOnly) {
    const struct {
        const char* path;
        const char* type;
    } rows[] = {
        {"/music/song.mp3", "аудио"},    {"/music/clip.final.mkv", "видео"}, {"/music/a.mp3/readme", ""},
        {"/music/Song.MP3", ""},         {"/music/no-extension", ""},        {"/music/archive.mp3.txt", ""},
        {"relative/name.flac", "аудио"}, {"/music/.mp3", "аудио"},           {"", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(QString::fromUtf8(row.type), IndexingQueue::Classify(QString::fromUtf8(row.path)));
    }
}

TEST(IndexingQueue, AddFileRecordsTheEntry) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString path = dir.Write(QStringLiteral("Мой концерт.live.mkv"), QByteArray(12345, 'v'));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(
        file.setFileTime(QDateTime(QDate(2023, 1, 2), QTime(3, 4, 5)), QFileDevice::FileModificationTime));
    file.close();

    IndexingQueue queue;
    ASSERT_TRUE(queue.AddFile(path));
    ASSERT_EQ(1, queue.Count());
    const QueueEntry& e = queue.At(0);
    EXPECT_EQ(path, e.path);
    EXPECT_EQ(QStringLiteral("Мой концерт.live"), e.name);
    EXPECT_EQ(QStringLiteral("видео"), e.type);
    EXPECT_EQ(12345u, e.size);
    EXPECT_EQ(QStringLiteral("02.01.2023 3:04:05"), e.created);
    EXPECT_TRUE(e.status.isEmpty());
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST(IndexingQueue, DateOfAFileChangedAtMidnightHasNoTime) {
    test::TempDir dir;
    const QString path = dir.Write(QStringLiteral("a.wav"), "x");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(
        file.setFileTime(QDateTime(QDate(2024, 12, 31), QTime(0, 0)), QFileDevice::FileModificationTime));
    file.close();
    IndexingQueue queue;
    ASSERT_TRUE(queue.AddFile(path));
    EXPECT_EQ(QStringLiteral("31.12.2024"), queue.At(0).created);
}

TEST(IndexingQueue, AddFileRefusesDuplicatesAndUnknownExtensionsSilently) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString song = dir.Write(QStringLiteral("song.mp3"), "x");
    const QString capitals = dir.Write(QStringLiteral("SONG.MP3"), "x");
    const QString text = dir.Write(QStringLiteral("notes.txt"), "x");

    IndexingQueue queue;
    EXPECT_TRUE(queue.AddFile(song));
    EXPECT_FALSE(queue.AddFile(song));
    EXPECT_FALSE(queue.AddFile(capitals));
    EXPECT_FALSE(queue.AddFile(text));
    EXPECT_FALSE(queue.AddFile(QString()));
    EXPECT_EQ(1, queue.Count());
    EXPECT_TRUE(messages.shown.isEmpty());

    // Identity is the exact text of the path.
    EXPECT_TRUE(queue.Contains(song));
    EXPECT_FALSE(queue.Contains(song.toUpper()));
    EXPECT_FALSE(queue.Contains(dir.Path() + QStringLiteral("//song.mp3")));
    EXPECT_TRUE(queue.AddFile(dir.Path() + QStringLiteral("//song.mp3")));
}

TEST(IndexingQueue, VanishedFileIsKeptAfterShowingItsPath) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString gone = dir.File(QStringLiteral("gone.ogg"));
    QDir().mkpath(dir.File(QStringLiteral("folder.mp3")));
    const QString folder = dir.File(QStringLiteral("folder.mp3"));

    IndexingQueue queue;
    EXPECT_TRUE(queue.AddFile(gone));
    EXPECT_TRUE(queue.AddFile(folder));
    ASSERT_EQ(2, queue.Count());
    EXPECT_EQ((QStringList{gone, folder}), messages.shown);
    EXPECT_TRUE(queue.At(0).created.isEmpty());
    EXPECT_EQ(0u, queue.At(0).size);
    EXPECT_EQ(QStringLiteral("gone"), queue.At(0).name);
    EXPECT_EQ(QStringLiteral("аудио"), queue.At(0).type);
    EXPECT_TRUE(queue.At(1).created.isEmpty());
}

TEST(IndexingQueue, AtOutsideTheQueueGivesAnEmptyEntry) {
    IndexingQueue queue;
    EXPECT_TRUE(queue.At(0).path.isEmpty());
    EXPECT_TRUE(queue.At(-1).path.isEmpty());
}

TEST(IndexingQueue, DeleteBeforeAndAfterKeepTheSelectedEntry) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 5);
    struct Case {
        const char* what;
        bool before;  // DeleteBefore, else DeleteAfter
        qsizetype index;
        bool result;
        QStringList remaining;
    };
    const Case cases[] = {
        {"before the first", true, 0, true, files},
        {"before the third", true, 2, true, files.mid(2)},
        {"before the last", true, 4, true, files.mid(4)},
        {"before past the end", true, 5, false, files},
        {"before a negative", true, -1, false, files},
        {"after the last", false, 4, true, files},
        {"after the second", false, 1, true, files.mid(0, 2)},
        {"after the first", false, 0, true, files.mid(0, 1)},
        {"after past the end", false, 5, false, files},
        {"after a negative", false, -1, false, files},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        IndexingQueue queue = QueueOf(files);
        EXPECT_EQ(c.result, c.before ? queue.DeleteBefore(c.index) : queue.DeleteAfter(c.index));
        EXPECT_EQ(c.remaining, PathsOf(queue));
        // Look-ups by path still find the entries that moved, and not the removed ones.
        for (const QString& p : files) {
            EXPECT_EQ(c.remaining.contains(p), queue.Contains(p));
            EXPECT_EQ(c.remaining.contains(p), queue.SetStatus(kStatusDone, p));
        }
        EXPECT_EQ(c.remaining.size(), queue.CountWithStatus(kStatusDone));
    }
}

TEST(IndexingQueue, DeleteOneEntry) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 4);
    IndexingQueue queue = QueueOf(files);
    EXPECT_FALSE(queue.Delete(4));
    EXPECT_FALSE(queue.Delete(-1));
    EXPECT_TRUE(queue.Delete(1));
    EXPECT_EQ((QStringList{files[0], files[2], files[3]}), PathsOf(queue));
    EXPECT_TRUE(queue.SetStatus(kStatusError, files[3]));
    EXPECT_EQ(kStatusError, queue.At(2).status);
    EXPECT_TRUE(queue.Delete(2));
    EXPECT_FALSE(queue.Contains(files[3]));
    // A removed file can be added again, at the end.
    EXPECT_TRUE(queue.AddFile(files[1]));
    EXPECT_EQ((QStringList{files[0], files[2], files[1]}), PathsOf(queue));
    queue.Clear();
    EXPECT_EQ(0, queue.Count());
    EXPECT_FALSE(queue.Contains(files[0]));
    EXPECT_FALSE(queue.Delete(0));
}

// Random edits against a plain list of paths: the path look-ups must agree with the list at every step.
TEST(IndexingQueue, LookUpsFollowEveryEdit) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 12);
    QRandomGenerator random(20240607);
    IndexingQueue queue;
    QStringList model;
    for (int step = 0; step < 600; ++step) {
        const int op = random.bounded(10);
        const qsizetype n = model.size();
        const qsizetype index = n > 0 ? random.bounded(static_cast<int>(n)) : 0;
        if (op < 5) {
            const QString& p = files[random.bounded(static_cast<int>(files.size()))];
            EXPECT_EQ(!model.contains(p), queue.AddFile(p));
            if (!model.contains(p)) {
                model.append(p);
            }
        } else if (op == 5 && n > 0) {
            EXPECT_TRUE(queue.Delete(index));
            model.removeAt(index);
        } else if (op == 6 && n > 0) {
            EXPECT_TRUE(queue.DeleteBefore(index));
            model = model.mid(index);
        } else if (op == 7 && n > 0) {
            EXPECT_TRUE(queue.DeleteAfter(index));
            model = model.mid(0, index + 1);
        } else if (op == 8 && n > 0) {
            EXPECT_TRUE(queue.SetStatus(QString::number(step), model[index]));
            EXPECT_EQ(QString::number(step), queue.At(index).status);
        } else {
            const QString& p = files[random.bounded(static_cast<int>(files.size()))];
            const qsizetype at = model.indexOf(p);
            EXPECT_EQ(at >= 0, queue.Contains(p));
            EXPECT_EQ(at >= 0 ? queue.At(at).status : QString(), queue.StatusOf(p));
        }
        ASSERT_EQ(model, PathsOf(queue)) << "step " << step;
    }
}

TEST(IndexingQueue, StatusesDriveTheNextFile) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 3);
    IndexingQueue queue = QueueOf(files);
    EXPECT_EQ(files[0], queue.NextWithStatus(QString()));
    EXPECT_EQ(3, queue.CountWithStatus(QString()));
    EXPECT_TRUE(queue.NextWithStatus(kStatusInWork).isEmpty());

    EXPECT_TRUE(queue.SetStatus(kStatusInWork, files[0]));
    EXPECT_TRUE(queue.SetStatus(kStatusInWork, files[1]));
    EXPECT_EQ(files[2], queue.NextWithStatus(QString()));
    EXPECT_EQ(files[0], queue.NextWithStatus(kStatusInWork));
    EXPECT_EQ(kStatusInWork, queue.StatusOf(files[1]));
    EXPECT_EQ(2, queue.CountWithStatus(kStatusInWork));

    EXPECT_TRUE(queue.SetStatus(kStatusDone, files[0]));
    EXPECT_TRUE(queue.SetStatus(kStatusStopped, files[1]));
    EXPECT_TRUE(queue.SetStatus(kStatusAlreadyIndexed, files[2]));
    EXPECT_TRUE(queue.NextWithStatus(QString()).isEmpty());
    EXPECT_EQ(0, queue.CountWithStatus(kStatusInWork));
    EXPECT_EQ(1, queue.CountWithStatus(kStatusStopped));

    EXPECT_FALSE(queue.SetStatus(kStatusDone, dir.File(QStringLiteral("other.mp3"))));
    EXPECT_TRUE(queue.StatusOf(dir.File(QStringLiteral("other.mp3"))).isEmpty());
}

TEST(IndexingQueueList, SaveWritesBomAndOnePathPerLine) {
    test::TempDir dir;
    const QStringList files = {dir.Write(QStringLiteral("Песни/первая песня.mp3"), "x"),
                               dir.Write(QStringLiteral("b.mkv"), "x")};
    IndexingQueue queue = QueueOf(files);
    queue.SetStatus(kStatusDone, files[0]);
    const QString list = dir.File(QStringLiteral("q.list"));
    ASSERT_TRUE(queue.Save(list));
    EXPECT_EQ(kBom + files[0].toUtf8() + kEol + files[1].toUtf8() + kEol, ReadBytes(list));

    IndexingQueue reopened;
    ASSERT_TRUE(reopened.Open(list));
    EXPECT_EQ(files, PathsOf(reopened));
    EXPECT_TRUE(reopened.At(0).status.isEmpty());
    EXPECT_EQ(queue.At(0).created, reopened.At(0).created);
    EXPECT_EQ(QStringLiteral("первая песня"), reopened.At(0).name);
}

TEST(IndexingQueueList, EmptyQueueSavesOnlyTheBom) {
    test::TempDir dir;
    const QString list = dir.Write(QStringLiteral("q.list"), "old content\n");
    IndexingQueue queue;
    ASSERT_TRUE(queue.Save(list));
    EXPECT_EQ(kBom, ReadBytes(list));
}

TEST(IndexingQueueList, SaveToAnImpossiblePlaceFails) {
    test::TempDir dir;
    const QString plain = dir.Write(QStringLiteral("plain"), "x");
    IndexingQueue queue = QueueOf(MakeFiles(dir, 1));
    EXPECT_FALSE(queue.Save(plain + QStringLiteral("/q.list")));
}

TEST(IndexingQueueList, OpenDropsWhatAddFileRefuses) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QStringList files = MakeFiles(dir, 3);
    const QString gone = dir.File(QStringLiteral("gone.wav"));
    struct Case {
        const char* what;
        QByteArray content;
        QStringList expected;
    };
    const QByteArray a = files[0].toUtf8(), b = files[1].toUtf8(), c = files[2].toUtf8();
    const Case cases[] = {
        {"CR LF with BOM", kBom + a + "\r\n" + b + "\r\n", {files[0], files[1]}},
        {"LF without BOM", a + "\n" + b + "\n" + c, {files[0], files[1], files[2]}},
        {"empty lines and duplicates",
         kBom + "\r\n" + b + "\r\n\r\n" + a + "\r\n" + b + "\r\n\n",
         {files[1], files[0]}},
        {"unsupported and capitals",
         kBom + dir.File(QStringLiteral("x.txt")).toUtf8() + "\n" +
             dir.File(QStringLiteral("X.MP3")).toUtf8() + "\n" + c + "\n",
         {files[2]}},
        {"vanished file stays", gone.toUtf8() + "\n", {gone}},
        {"only the BOM", kBom, {}},
        {"nothing at all", QByteArray(), {}},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        const QString list = dir.Write(QStringLiteral("in.list"), k.content);
        IndexingQueue queue = QueueOf(files.mid(0, 1));
        queue.SetStatus(kStatusError, files[0]);
        ASSERT_TRUE(queue.Open(list));
        EXPECT_EQ(k.expected, PathsOf(queue));
        EXPECT_EQ(0, queue.CountWithStatus(kStatusError));
    }
    EXPECT_EQ(QStringList{gone}, messages.shown);
}

TEST(IndexingQueueList, OpenClearsTheQueueEvenWhenNothingInTheListQualifies) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString list = dir.Write(QStringLiteral("in.list"), kBom + "/no/such/file.txt\r\nnotes.doc\r\n");
    IndexingQueue queue = QueueOf(MakeFiles(dir, 2));
    ASSERT_TRUE(queue.Open(list));
    EXPECT_EQ(0, queue.Count());
    EXPECT_TRUE(messages.shown.isEmpty());
}

TEST(IndexingQueueList, UnreadableListLeavesTheQueueAlone) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 2);
    IndexingQueue queue = QueueOf(files);
    EXPECT_FALSE(queue.Open(dir.File(QStringLiteral("missing.list"))));
    EXPECT_FALSE(queue.Open(dir.Path()));
    EXPECT_EQ(files, PathsOf(queue));
}

}  // namespace
}  // namespace tembrix

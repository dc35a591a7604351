// The indexing queue: which files it takes, the entries it keeps, pruning, list files and statuses.

#include <gtest/gtest.h>

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTime>
#include <ostream>
#include <utility>

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

// The files at the positions given as digits, e.g. "023".
QStringList Pick(const QStringList& files, const char* positions) {
    QStringList picked;
    for (const char* p = positions; *p != '\0'; ++p) {
        picked.append(files[*p - '0']);
    }
    return picked;
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

// Flags: d = converted directly by SoX, t = tags read, m = tracks taken one by one. Capitals, near misses
// and things that are not an extension at all are neither audio nor video.
TEST(MediaClassifiers, ExtensionTable) {
    const char* audio = "аудио";
    const char* video = "видео";
    const struct {
        const char* ext;
        const char* type;
        const char* flags;
    } rows[] = {{".wav", audio, "dt"}, {".mp3", audio, "dt"},  {".ogg", audio, "d"},  {".aac", audio, "d"},
                {".flac", audio, "d"}, {".aiff", audio, "dt"}, {".m4a", audio, "t"},  {".wma", audio, "dtm"},
                {".opus", audio, "d"}, {".au", audio, "d"},    {".voc", audio, "d"},  {".snd", audio, "d"},
                {".mp4", video, "m"},  {".mov", video, "m"},   {".mkv", video, "m"},  {".m2ts", video, "m"},
                {".avi", video, ""},   {".wmv", video, "tm"},  {".webm", video, ""},  {".mpg", video, ""},
                {".mpeg", video, ""},  {".ogv", video, ""},    {".asf", video, "tm"}, {".MP3", "", ""},
                {".Wav", "", ""},      {".WMA", "", ""},       {".MKV", "", ""},      {"mp3", "", ""},
                {"", "", ""},          {".", "", ""},          {".mp3 ", "", ""},     {".aif", "", ""},
                {".m4", "", ""},       {".mpeg4", "", ""},     {".txt", "", ""}};
    for (const auto& row : rows) {
        const QString ext = QString::fromUtf8(row.ext);
        const QString flags = QString::fromUtf8(row.flags);
        SCOPED_TRACE(row.ext);
        EXPECT_EQ(QString::fromUtf8(row.type), MediaTypeOf(ext));
        EXPECT_EQ(flags.contains(u'd'), IsDirectAudio(ext));
        EXPECT_EQ(flags.contains(u't'), IsTagBearing(ext));
        EXPECT_EQ(flags.contains(u'm'), IsMultiTrack(ext));
    }
}

// The queue classifies by the extension of the file name, not of the whole path.
TEST(IndexingQueue, ClassifyLooksAtTheFileNameOnly) {
    const std::pair<const char*, const char*> rows[] = {
        {"/music/clip.final.mkv", "видео"}, {"/music/a.mp3/readme", ""}, {"/music/archive.mp3.txt", ""},
        {"relative/name.flac", "аудио"},    {"/music/.mp3", "аудио"},    {"", ""}};
    for (const auto& [path, type] : rows) {
        SCOPED_TRACE(path);
        EXPECT_EQ(QString::fromUtf8(type), IndexingQueue::Classify(QString::fromUtf8(path)));
    }
}

// AddFile records the file's facts. Duplicates and unknown extensions are refused silently, identity being
// the exact text of the path; a file that is gone, or a folder, is kept with an empty date after its path
// is shown.
TEST(IndexingQueue, AddFile) {
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
    const QueueEntry& e = queue.At(0);
    EXPECT_EQ(path, e.path);
    EXPECT_EQ(QStringLiteral("Мой концерт.live"), e.name);
    EXPECT_EQ(QStringLiteral("видео"), e.type);
    EXPECT_EQ(12345u, e.size);
    EXPECT_EQ(QStringLiteral("02.01.2023 3:04:05"), e.created);
    EXPECT_TRUE(e.status.isEmpty());
    EXPECT_TRUE(queue.At(1).path.isEmpty());
    EXPECT_TRUE(queue.At(-1).path.isEmpty());

    EXPECT_FALSE(queue.AddFile(path));
    EXPECT_FALSE(queue.AddFile(dir.Write(QStringLiteral("SONG.MP3"), "x")));
    EXPECT_FALSE(queue.AddFile(dir.Write(QStringLiteral("notes.txt"), "x")));
    EXPECT_FALSE(queue.AddFile(QString()));
    EXPECT_FALSE(queue.Contains(path.toUpper()));
    EXPECT_FALSE(queue.Contains(dir.Path() + QStringLiteral("//Мой концерт.live.mkv")));
    EXPECT_TRUE(queue.AddFile(dir.Path() + QStringLiteral("//Мой концерт.live.mkv")));
    EXPECT_EQ(2, queue.Count());
    EXPECT_TRUE(messages.shown.isEmpty());

    const QString gone = dir.File(QStringLiteral("gone.ogg"));
    const QString folder = dir.File(QStringLiteral("folder.mp3"));
    QDir().mkpath(folder);
    EXPECT_TRUE(queue.AddFile(gone));
    EXPECT_TRUE(queue.AddFile(folder));
    EXPECT_EQ((QStringList{gone, folder}), messages.shown);
    EXPECT_EQ(QStringLiteral("gone"), queue.At(2).name);
    EXPECT_EQ(QStringLiteral("аудио"), queue.At(2).type);
    EXPECT_EQ(0u, queue.At(2).size);
    EXPECT_TRUE(queue.At(2).created.isEmpty());
    EXPECT_TRUE(queue.At(3).created.isEmpty());
}

// Deleting one entry, or those before or after the selected one; a position outside the queue removes
// nothing. The look-ups by path then find the entries that moved, and not the removed ones.
TEST(IndexingQueue, DeleteKeepsTheLookUpsRight) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 5);
    enum Op { kOne, kBefore, kAfter };
    const struct {
        Op op;
        qsizetype index;
        bool result;
        const char* remaining;
    } cases[] = {{kOne, 1, true, "0234"},      {kOne, 5, false, "01234"},     {kOne, -1, false, "01234"},
                 {kBefore, 0, true, "01234"},  {kBefore, 2, true, "234"},     {kBefore, 4, true, "4"},
                 {kBefore, 5, false, "01234"}, {kBefore, -1, false, "01234"}, {kAfter, 4, true, "01234"},
                 {kAfter, 1, true, "01"},      {kAfter, 0, true, "0"},        {kAfter, 5, false, "01234"},
                 {kAfter, -1, false, "01234"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "op " << c.op << " at " << c.index);
        IndexingQueue queue = QueueOf(files);
        const bool result = c.op == kOne      ? queue.Delete(c.index)
                            : c.op == kBefore ? queue.DeleteBefore(c.index)
                                              : queue.DeleteAfter(c.index);
        const QStringList remaining = Pick(files, c.remaining);
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(remaining, PathsOf(queue));
        for (const QString& p : files) {
            EXPECT_EQ(remaining.contains(p), queue.Contains(p));
            EXPECT_EQ(remaining.contains(p), queue.SetStatus(kStatusDone, p));
        }
        EXPECT_EQ(remaining.size(), queue.CountWithStatus(kStatusDone));
    }
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
        const QString& p = files[random.bounded(static_cast<int>(files.size()))];
        if (op < 5) {
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
            const qsizetype at = model.indexOf(p);
            EXPECT_EQ(at >= 0, queue.Contains(p));
            EXPECT_EQ(at >= 0 ? queue.At(at).status : QString(), queue.StatusOf(p));
        }
        ASSERT_EQ(model, PathsOf(queue)) << "step " << step;
    }
    queue.Clear();
    EXPECT_EQ(0, queue.Count());
    for (const QString& p : files) {
        EXPECT_FALSE(queue.Contains(p));
    }
}

TEST(IndexingQueue, StatusesDriveTheNextFile) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 3);
    IndexingQueue queue = QueueOf(files);
    EXPECT_TRUE(queue.SetStatus(kStatusInWork, files[0]));
    EXPECT_EQ(files[1], queue.NextWithStatus(QString()));
    EXPECT_EQ(files[0], queue.NextWithStatus(kStatusInWork));
    EXPECT_TRUE(queue.NextWithStatus(kStatusDone).isEmpty());
    EXPECT_EQ(2, queue.CountWithStatus(QString()));
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

    // An empty queue writes only the mark; a place below a regular file cannot be written at all.
    ASSERT_TRUE(IndexingQueue().Save(list));
    EXPECT_EQ(kBom, ReadBytes(list));
    EXPECT_FALSE(queue.Save(dir.Write(QStringLiteral("plain"), "x") + QStringLiteral("/q.list")));
}

// Every case starts from a queue holding one file with a status: opening always clears it. A list that
// cannot be read leaves the queue alone.
TEST(IndexingQueueList, OpenDropsWhatAddFileRefuses) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QStringList files = MakeFiles(dir, 3);
    const QString gone = dir.File(QStringLiteral("gone.wav"));
    const QByteArray a = files[0].toUtf8(), b = files[1].toUtf8(), c = files[2].toUtf8();
    const QByteArray unsupported =
        dir.File(QStringLiteral("x.txt")).toUtf8() + "\n" + dir.File(QStringLiteral("X.MP3")).toUtf8() + "\n";
    const struct {
        const char* what;
        QByteArray content;
        QStringList expected;
    } cases[] = {
        {"CR LF with BOM", kBom + a + "\r\n" + b + "\r\n", Pick(files, "01")},
        {"LF without BOM", a + "\n" + b + "\n" + c, Pick(files, "012")},
        {"empty lines and duplicates", kBom + "\r\n" + b + "\r\n\r\n" + a + "\r\n" + b + "\r\n\n",
         Pick(files, "10")},
        {"unsupported and capitals", kBom + unsupported + c + "\n", Pick(files, "2")},
        {"vanished file stays", gone.toUtf8() + "\n", {gone}},
        {"only the BOM", kBom, {}},
        {"nothing at all", QByteArray(), {}},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.what);
        const QString list = dir.Write(QStringLiteral("in.list"), k.content);
        IndexingQueue queue = QueueOf(files.mid(0, 1));
        queue.SetStatus(kStatusError, files[0]);
        ASSERT_TRUE(queue.Open(list));
        EXPECT_EQ(k.expected, PathsOf(queue));
        EXPECT_EQ(0, queue.CountWithStatus(kStatusError));
    }
    EXPECT_EQ(QStringList{gone}, messages.shown);

    IndexingQueue queue = QueueOf(files);
    EXPECT_FALSE(queue.Open(dir.File(QStringLiteral("missing.list"))));
    EXPECT_FALSE(queue.Open(dir.Path()));
    EXPECT_EQ(files, PathsOf(queue));
}

}  // namespace
}  // namespace tembrix

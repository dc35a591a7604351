// The indexing queue: which files it takes, the entries it keeps, pruning, list files and statuses.

#include <gtest/gtest.h>

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTime>
#include <ostream>

#include <sys/stat.h>

#include "app/indexing_queue.h"
#include "indexing/media_types.h"
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

// Flags: d = converted directly by SoX, t = tags read, m = tracks taken one by one. Near misses are neither.
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
                {"mp3", "", ""},       {"", "", ""},           {".mp3 ", "", ""},     {".aif", "", ""},
                {".mpeg4", "", ""}};
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

// AddFile records the file's facts; identity is the exact path text. A file that is gone, or a folder, is
// kept with an empty date after its path is shown. (Refusals: the walk below and the window's tests.)
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
    EXPECT_FALSE(queue.AddFile(QString()));
    EXPECT_TRUE(queue.AddFile(dir.Path() + QStringLiteral("//Мой концерт.live.mkv")));
    EXPECT_TRUE(messages.shown.isEmpty());

    // A vanished file is kept (with its path shown); what is not a regular file never enters the queue
    // (a FIFO would hang the worker), nor a name that was not UTF-8 (FindFiles lists it with U+FFFD). The
    // type comes from the file name's extension, never a folder's: folder.mp3/readme is no media file.
    const QString gone = dir.File(QStringLiteral("gone.ogg"));
    const QString folder = dir.File(QStringLiteral("folder.mp3"));
    const QString inFolder = dir.Write(QStringLiteral("folder.mp3/readme"), "x");
    const QString fifo = dir.File(QStringLiteral("pipe.wav"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString lossy =
        dir.File(QStringLiteral("bad") + QChar(QChar::ReplacementCharacter) + QStringLiteral(".wav"));
    EXPECT_TRUE(queue.AddFile(gone));
    for (const QString& refused : {folder, fifo, lossy, inFolder}) {
        EXPECT_FALSE(queue.AddFile(refused));
    }
    EXPECT_EQ((QStringList{gone, kNotRegularFileSkipped + folder, kNotRegularFileSkipped + fifo,
                           kNameNotUtf8Skipped + lossy}),
              messages.shown);
    EXPECT_EQ(QStringLiteral("gone"), queue.At(2).name);
    EXPECT_EQ(0u, queue.At(2).size);
    EXPECT_TRUE(queue.At(2).created.isEmpty());
    EXPECT_TRUE(queue.At(3).path.isEmpty());
}

// Random edits against a plain list of paths, deletions at any position including ones outside the
// queue: the results, the order and the path look-ups must agree with the list at every step.
TEST(IndexingQueue, LookUpsFollowEveryEdit) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 12);
    QRandomGenerator random(20240607);
    IndexingQueue queue;
    QStringList model;
    for (int step = 0; step < 800; ++step) {
        const int op = random.bounded(10);
        const qsizetype n = model.size();
        const qsizetype index = random.bounded(static_cast<int>(n) + 2) - 1;  // -1 … n
        const bool inside = index >= 0 && index < n;
        const QString& p = files[random.bounded(static_cast<int>(files.size()))];
        if (op < 5) {
            EXPECT_EQ(!model.contains(p), queue.AddFile(p));
            if (!model.contains(p)) {
                model.append(p);
            }
        } else if (op == 5) {
            EXPECT_EQ(inside, queue.Delete(index));
            if (inside) {
                model.removeAt(index);
            }
        } else if (op == 6) {
            EXPECT_EQ(inside, queue.DeleteBefore(index));
            model = inside ? model.mid(index) : model;
        } else if (op == 7) {
            EXPECT_EQ(inside, queue.DeleteAfter(index));
            model = inside ? model.mid(0, index + 1) : model;
        } else if (op == 8 && inside) {
            EXPECT_TRUE(queue.SetStatus(QString::number(step), model[index]));
            EXPECT_EQ(QString::number(step), queue.At(index).status);
        } else {
            const qsizetype at = model.indexOf(p);
            EXPECT_EQ(at >= 0, queue.Contains(p));
            EXPECT_EQ(at >= 0, queue.SetStatus(queue.StatusOf(p), p));
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

// An empty queue writes only the mark. (A list that cannot be written or read: the window's tests.)
TEST(IndexingQueueList, SaveWritesBomAndOnePathPerLine) {
    test::TempDir dir;
    const QStringList files = {dir.Write(QStringLiteral("Песни/первая песня.mp3"), "x"),
                               dir.Write(QStringLiteral("b.mkv"), "x")};
    const QString list = dir.File(QStringLiteral("q.list"));
    ASSERT_TRUE(QueueOf(files).Save(list));
    EXPECT_EQ(kBom + files[0].toUtf8() + kEol + files[1].toUtf8() + kEol, ReadBytes(list));
    ASSERT_TRUE(IndexingQueue().Save(list));
    EXPECT_EQ(kBom, ReadBytes(list));
}

// Every case starts from a queue holding one file with a status: opening always clears it.
TEST(IndexingQueueList, OpenDropsWhatAddFileRefuses) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QStringList files = MakeFiles(dir, 3);
    const QString gone = dir.File(QStringLiteral("gone.wav"));
    const QString fifo = dir.File(QStringLiteral("pipe.wav"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QByteArray a = files[0].toUtf8(), b = files[1].toUtf8(), c = files[2].toUtf8();
    const QByteArray unsupported =
        dir.File(QStringLiteral("x.txt")).toUtf8() + "\n" + dir.File(QStringLiteral("X.MP3")).toUtf8() + "\n";
    const struct {
        const char* what;
        QByteArray content;
        QStringList expected;
    } cases[] = {
        {"CR LF with BOM", kBom + a + "\r\n" + b + "\r\n", files.mid(0, 2)},
        {"LF without BOM", a + "\n" + b + "\n" + c, files},
        {"empty lines and duplicates", kBom + "\r\n" + b + "\r\n\r\n" + a + "\r\n" + b + "\r\n\n",
         (QStringList{files[1], files[0]})},
        {"unsupported and capitals", kBom + unsupported + c + "\n", files.mid(2)},
        {"vanished file stays", gone.toUtf8() + "\n", {gone}},
        {"FIFO refused", fifo.toUtf8() + "\n" + a, files.mid(0, 1)},
        {"only the BOM", kBom, {}},
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
    EXPECT_EQ((QStringList{gone, kNotRegularFileSkipped + fifo}), messages.shown);
}

}  // namespace
}  // namespace tembrix

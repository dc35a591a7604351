// The indexing queue: which files it takes, the entries it keeps, pruning, list files and statuses.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>

#include <sys/stat.h>

#include "app/indexing_queue.h"
#include "support/print_text.h"
#include "support/recording_messages.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

const QByteArray kBom("\xEF\xBB\xBF");
using test::ReadFile;

// Creates `count` media files а0.mp3 … (Cyrillic а) in the folder and returns their paths.
QStringList MakeFiles(const test::TempDir& dir, int count) {
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths.append(dir.Write(QStringLiteral("а%1.mp3").arg(i), "x"));
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

// Catches wrong entry facts, a duplicate entered twice, a vanished file dropped, a folder's extension taken
// for the file's, and a folder, FIFO (it would hang the worker) or name that was not UTF-8 entering the
// queue.
TEST(IndexingQueue, AddFile) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QString path = dir.Write("Мой концерт.live.mkv", QByteArray(12345, 'v'));
    QFile file(path);
    ASSERT_TRUE(
        file.open(QIODevice::ReadWrite) &&
        file.setFileTime(QDateTime(QDate(2023, 1, 2), QTime(3, 4, 5)), QFileDevice::FileModificationTime));
    file.close();
    IndexingQueue queue;
    ASSERT_TRUE(queue.AddFile(path));
    const auto facts = [&](qsizetype i) {
        const QueueEntry& e = queue.At(i);
        return QStringList{e.path, e.name, e.type, QString::number(e.size), e.created, e.status}.join(u'|');
    };
    EXPECT_EQ(facts(0), path + QStringLiteral("|Мой концерт.live|видео|12345|02.01.2023 3:04:05|"));
    EXPECT_TRUE(!queue.AddFile(QString()) && queue.AddFile(dir.Path() + "//Мой концерт.live.mkv"));
    const QString gone = dir.File("gone.ogg"), folder = dir.File("folder.mp3"), fifo = dir.File("pipe.wav");
    const QString inFolder = dir.Write("folder.mp3/readme", "x");
    const QString lossy = dir.File("bad" + QString(QChar(QChar::ReplacementCharacter)) + ".wav");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    EXPECT_TRUE(queue.AddFile(gone));
    for (const QString& refused : {folder, fifo, lossy, inFolder}) {
        EXPECT_FALSE(queue.AddFile(refused));
    }
    EXPECT_EQ((QStringList{gone, kNotRegularFileSkipped + folder, kNotRegularFileSkipped + fifo,
                           kNameNotUtf8Skipped + lossy}),
              messages.shown);
    EXPECT_EQ(facts(2) + facts(3), gone + "|gone|аудио|0|||||0||");
}

// Catches an edit or path look-up that goes out of step with the entries (random edits against a list).
TEST(IndexingQueue, LookUpsFollowEveryEdit) {
    test::TempDir dir;
    const QStringList files = MakeFiles(dir, 12);
    QRandomGenerator random(20240607);
    IndexingQueue queue;
    QStringList model;
    for (int step = 0; step < 400; ++step) {
        const int op = random.bounded(10);
        const qsizetype n = model.size();
        const qsizetype index = random.bounded(static_cast<int>(n) + 2) - 1;  // -1 … n
        const bool inside = index >= 0 && index < n;
        const QString& p = files[random.bounded(static_cast<int>(files.size()))];
        if (op < 5) {
            EXPECT_EQ(!model.contains(p), queue.AddFile(p));
            model += model.contains(p) ? QStringList() : QStringList{p};
        } else if (op == 5) {
            EXPECT_EQ(inside, queue.Delete(index));
            model = inside ? model.mid(0, index) + model.mid(index + 1) : model;
        } else if (op == 6) {
            EXPECT_EQ(inside, queue.DeleteBefore(index));
            model = inside ? model.mid(index) : model;
        } else if (op == 7) {
            EXPECT_EQ(inside, queue.DeleteAfter(index));
            model = inside ? model.mid(0, index + 1) : model;
        } else if (op == 8 && inside) {
            EXPECT_TRUE(queue.SetStatus(QString::number(step), model[index]) &&
                        queue.At(index).status == QString::number(step));
        } else {
            const qsizetype at = model.indexOf(p);
            EXPECT_TRUE(queue.Contains(p) == (at >= 0) && queue.SetStatus(queue.StatusOf(p), p) == (at >= 0));
            EXPECT_EQ(at >= 0 ? queue.At(at).status : QString(), queue.StatusOf(p));
        }
        ASSERT_EQ(model, PathsOf(queue)) << "step " << step;
    }
    queue.Clear();
    EXPECT_TRUE(queue.Count() == 0 && !queue.Contains(model.value(0, files[0])));
}

// Catches a list read with the wrong line ends, kept duplicates or unsupported names, a FIFO let in, an
// open that does not clear the queue first, and a list saved without its byte-order mark or with CR LF.
TEST(IndexingQueueList, OpenDropsWhatAddFileRefusesAndSaveWritesBomAndLf) {
    test::TempDir dir;
    test::RecordingMessages messages;
    const QStringList files = MakeFiles(dir, 3);
    const QString gone = dir.File("gone.wav"), fifo = dir.File("pipe.wav");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QByteArray a = files[0].toUtf8(), b = files[1].toUtf8(), c = files[2].toUtf8();
    const QByteArray unsupported = dir.File("x.txt").toUtf8() + "\n" + dir.File("X.MP3").toUtf8() + "\n";
    for (const auto& [content, expected] : {
             std::pair{kBom + a + "\r\n" + b + "\r\n", files.mid(0, 2)},
             {a + "\n" + b + "\n" + c, files},
             {kBom + "\r\n" + b + "\r\n\r\n" + a + "\r\n" + b + "\r\n\n", QStringList{files[1], files[0]}},
             {kBom + unsupported + c + "\n", files.mid(2)},
             {gone.toUtf8() + "\n", QStringList{gone}},
             {fifo.toUtf8() + "\n" + a, files.mid(0, 1)},
             {kBom, QStringList{}},
         }) {
        IndexingQueue queue;
        queue.AddFile(files[0]);
        queue.SetStatus(kStatusError, files[0]);
        ASSERT_TRUE(queue.Open(dir.Write("in.list", content)));
        EXPECT_EQ(expected, PathsOf(queue)) << content.toStdString();
        EXPECT_EQ(0, queue.CountWithStatus(kStatusError));
    }
    EXPECT_EQ((QStringList{gone, kNotRegularFileSkipped + fifo}), messages.shown);
    const QString list = dir.File("q.list");
    IndexingQueue queue;
    ASSERT_TRUE(queue.AddFile(files[0]) && queue.AddFile(files[1]) && queue.Save(list));
    EXPECT_EQ(kBom + a + "\n" + b + "\n", ReadFile(list));
    EXPECT_TRUE(IndexingQueue().Save(list) && ReadFile(list) == kBom);
}

}  // namespace
}  // namespace tembrix

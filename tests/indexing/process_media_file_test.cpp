// The indexing worker with the real sox, ffmpeg, ffprobe and id3-tags-cli on media made at test time, and
// with fake tools for the failure paths. Rows are checked against independent digests and an
// independent reduction of SoX's own output for the same file.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <sys/stat.h>

#include "indexing/digests.h"
#include "indexing/process_media_file.h"
#include "indexing_test_support.h"
#include "util/text_utils.h"

namespace tembrix {
namespace {

using test::IndexingSandbox;
using test::MediaFixtures;
using test::ReadRows;
using test::StoredRow;
using test::WriteFakeTool;

const QString kUntaggedInfo = QStringLiteral("Artist:\nTitle:\nAlbum:\nYear: 0\nTrack: 0\nGenre: 0\n");
const QString kTaggedInfo = QStringLiteral(
    "Artist: Исполнитель Тест\nTitle: Title One\nAlbum: Album X\nYear: 2001\nTrack: 7\nGenre: Rock\n");
const QString kTooShort = QStringLiteral("Очень маленький размер аудио данных!");
const QString kConversionError = QStringLiteral("Ошибка конвертирования в DAT формат!");
const QString kExtractionError = QStringLiteral("Ошибка извлечения аудио данных из видео!");
// Fake SoX bodies that write 62 s of raw audio, then fail in two ways.
const char kLongRawThenFail[] =
    "for l; do :; done; head -c 5952000 /dev/zero > \"$l\"\n"
    "echo \"sox FAIL sox: \\`$l' error writing output file: No space left on device\" >&2";
const char kLongRawThenExit2[] = "for l; do :; done; head -c 5952000 /dev/zero > \"$l\"; exit 2";

// Runs one worker on its own thread and waits for it (delivering its calls onto this thread).
QString Index(IndexingSandbox& box, const QString& path, const WorkerSetup& setup, int workerNumber = 0) {
    ProcessMediaFile worker(box.store, setup);
    worker.sourcePath = path;
    worker.workerNumber = workerNumber;
    worker.start();
    JoinThread(&worker);
    return worker.status;
}

QString Index(IndexingSandbox& box, const QString& path) {
    return Index(box, path, box.RealSetup());
}

// Files left below `folder`, except the tools' .rp files, which stay until the slot's next worker.
QStringList FilesBelow(const QString& folder) {
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        if (!file.endsWith(QLatin1String(".rp"))) {
            files.append(file);
        }
    }
    return files;
}

// The row's file fields against the file itself and independent digests; its envelope against the
// reference, with index_size and duration (raw bytes / 96000) agreeing with it.
void ExpectRow(const StoredRow& row, const QString& file, const char* type, int allTracks, int track,
               const std::vector<uint16_t>& reference) {
    const QFileInfo info(file);
    EXPECT_EQ(row.record.source_path, file);
    EXPECT_EQ(row.record.source_file_name, info.completeBaseName());
    EXPECT_EQ(row.record.extension, info.suffix());
    EXPECT_EQ(row.record.type, QString::fromUtf8(type));
    EXPECT_EQ(row.record.source_size, info.size());
    EXPECT_EQ(row.record.created, DateTimeText(info.lastModified()));
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray bytes = f.readAll();
    EXPECT_EQ(row.record.md5.toLatin1(), QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
    EXPECT_EQ(row.record.sha2.toLatin1(),
              QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    EXPECT_EQ(row.record.all_tracks, allTracks);
    EXPECT_EQ(row.record.audio_track, track);
    ASSERT_FALSE(reference.empty());
    EXPECT_EQ(row.record.index_size, row.blob.size());
    EXPECT_TRUE(test::ValuesOfBlob(row.blob) == reference);
    EXPECT_EQ(row.record.duration, static_cast<int>(reference.size() / 100));
}

// One real path per kind of input: direct audio with and without tags, audio that ffmpeg extracts first,
// a video whose three tracks each become a row. Each envelope must equal the reference of its track.
TEST(ProcessMediaFile, IndexesEachKindOfInputTrackByTrack) {
    auto& media = MediaFixtures::Instance();
    const struct {
        QString file;
        const char* type;
        QString info;
        int tracks;
        bool viaFfmpeg;
    } cases[] = {{media.Tone(QStringLiteral(".wav"), 61), "аудио", kUntaggedInfo, 1, false},
                 {media.Tone(QStringLiteral(".ogg"), 61), "аудио", QString(), 1, false},
                 {media.Tagged(QStringLiteral(".mp3")), "аудио", kTaggedInfo, 1, false},
                 {media.Tagged(QStringLiteral(".m4a")), "аудио", kTaggedInfo, 1, true},
                 {media.Video(3), "видео", QString(), 3, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file.toStdString());
        ASSERT_FALSE(c.file.isEmpty());
        IndexingSandbox box;
        EXPECT_EQ(Index(box, c.file), QString());
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), static_cast<size_t>(c.tracks));
        for (int t = 0; t < c.tracks; ++t) {
            const StoredRow& row = rows[static_cast<size_t>(t)];
            ExpectRow(row, c.file, c.type, c.tracks, t,
                      test::ReferenceEnvelopeOf(c.file, c.viaFfmpeg ? t : -1));
            EXPECT_EQ(row.record.info, c.info);
        }
        EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());  // the copy, data.dat and the rest are gone
    }
}

TEST(ProcessMediaFile, OddNamesReachTheToolsAndTheCopyFlagDecidesWhichFileTheyRead) {
    const QString source = MediaFixtures::Instance().Tone(QStringLiteral(".mp3"), 61, 2);
    const QString name = QStringLiteral("-Песня '№1'  \"ёлка\" $HOME.mp3");
    for (const bool copy : {true, false}) {
        SCOPED_TRACE(copy ? "copy" : "in place");
        IndexingSandbox box;
        const QString folder = box.dir.File(QStringLiteral("папка с \"кавычками\""));
        QDir().mkpath(folder);
        const QString file = folder + u'/' + name;
        ASSERT_TRUE(QFile::copy(source, file));
        // SoX notes the file it was given, then does the real work.
        const QString note = box.dir.File(QStringLiteral("sox-input.txt"));
        WorkerSetup setup = box.RealSetup();
        setup.soxPath = WriteFakeTool(
            box.dir.File(QStringLiteral("tools")), QStringLiteral("sox"),
            QStringLiteral("printf '%s\\n' \"$1\" >> '%1'; exec '%2' \"$@\"").arg(note, test::RealSox()));
        setup.copyToWorkDir = copy;
        EXPECT_EQ(Index(box, file, setup, 3), QString());
        QFile f(note);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(QString::fromUtf8(f.readAll()),
                  (copy ? box.WorkDir() + QStringLiteral("/3/") + name : file) + u'\n');
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), 1u);
        ExpectRow(rows[0], file, "аудио", 1, 0, test::ReferenceEnvelopeOf(source));
        EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());  // the copy is deleted at the end
        EXPECT_TRUE(QFileInfo::exists(file));
    }
}

TEST(ProcessMediaFile, ToolFailuresGiveTheirMessages) {
    auto& media = MediaFixtures::Instance();
    const QString wav = media.Tone(QStringLiteral(".wav"), 61);
    const QString m4a = media.Tone(QStringLiteral(".m4a"), 61);
    const QString mkv = media.Video(3);
    test::TempDir scratch;
    QByteArray noise(200000, '\0');
    for (qsizetype i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>((i * 7919) % 251);
    }
    const QString damaged = scratch.Write(QStringLiteral("damaged.mkv"), noise);
    const struct {
        const char* name;
        const char* sox;      // fake SoX body, nullptr for the real one, "-" for none at all
        const char* ffmpeg;   // the same for ffmpeg ("real": a wrapper beside the fake ffprobe)
        const char* ffprobe;  // the same for an ffprobe beside a fake ffmpeg
        QString file;
        QString status;
        size_t rows;
    } cases[] = {
        {"no sox", "-", nullptr, nullptr, wav, kConversionError, 0},
        {"sox writes nothing", "exit 0", nullptr, nullptr, wav, kConversionError, 0},
        {"sox crashes", "kill -SEGV $$", nullptr, nullptr, wav, kConversionError, 0},
        // A full disk: SoX reports the failure and still exits 0, leaving a file long enough to pass.
        {"sox reports FAIL, exits 0", kLongRawThenFail, nullptr, nullptr, wav, kConversionError, 0},
        {"sox exits non-zero after writing", kLongRawThenExit2, nullptr, nullptr, wav, kConversionError, 0},
        // One byte under 60 s, from SoX directly and after ffmpeg.
        {"sox writes a short file", "for l; do :; done; head -c 5759999 /dev/zero > \"$l\"", nullptr, nullptr,
         wav, kTooShort, 0},
        {"short track through ffmpeg", nullptr, nullptr, nullptr, media.Tone(QStringLiteral(".m4a"), 59),
         kTooShort, 0},
        {"no ffmpeg", nullptr, "-", nullptr, m4a, kExtractionError, 0},
        {"ffmpeg writes nothing", nullptr, "exit 0", nullptr, m4a, kExtractionError, 0},
        {"ffmpeg exits non-zero after writing", nullptr, "ffmpeg \"$@\"; exit 1", nullptr, m4a,
         kExtractionError, 0},
        {"sox fails after ffmpeg", "exit 1", nullptr, nullptr, m4a, kConversionError, 0},
        // Only a readable container without audio is a success without a row; a container ffprobe cannot
        // read, or no ffprobe to read it, is an extraction failure.
        {"video without audio", nullptr, nullptr, nullptr, media.Video(0), QString(), 0},
        {"damaged container", nullptr, nullptr, nullptr, damaged, kExtractionError, 0},
        {"no ffprobe", nullptr, "exit 0", "-", mkv, kExtractionError, 0},
        {"ffprobe exits non-zero", nullptr, "exit 0", "echo 0; exit 1", mkv, kExtractionError, 0},
        {"ffprobe reports an error", nullptr, "exit 0", "echo 0; echo 'moov atom not found' >&2", mkv,
         kExtractionError, 0},
        // A stray line counts as a track; the fourth extraction fails and the three rows before it stay.
        {"ffprobe stray line", nullptr, "real", "printf '1\\n2\\n3\\nstray\\n'", mkv, kExtractionError, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_FALSE(c.file.isEmpty());
        IndexingSandbox box;
        // Leftovers of an earlier worker: a long data.dat must not pass for this file's, and a folder
        // that cannot be deleted as a file is logged while the work goes on.
        box.dir.Write(QStringLiteral("work/0/data.dat"), QByteArray(6000000, '\x7f'));
        box.dir.Write(QStringLiteral("work/0/nested/old.wav"), "x");
        const QString tools = box.dir.File(QStringLiteral("tools"));
        WorkerSetup setup = box.RealSetup();
        const auto place = [&](const char* body, const QString& name, QString& path) {
            if (body == nullptr) {
                return;
            }
            const QString b = QString::fromUtf8(body);
            path =
                b == QLatin1String("-") ? tools + u'/' + name
                : b == QLatin1String("real")
                    ? WriteFakeTool(tools, name, QStringLiteral("exec '%1' \"$@\"").arg(test::RealFfmpeg()))
                    : WriteFakeTool(tools, name, b);
        };
        place(c.sox, QStringLiteral("sox"), setup.soxPath);
        place(c.ffmpeg, QStringLiteral("ffmpeg"), setup.ffmpegPath);
        QString ffprobe;
        place(c.ffmpeg != nullptr && c.ffprobe == nullptr ? "exec ffprobe \"$@\"" : c.ffprobe,
              QStringLiteral("ffprobe"), ffprobe);
        EXPECT_EQ(Index(box, c.file, setup), c.status);
        EXPECT_EQ(ReadRows(box.DbPath()).size(), c.rows);
        EXPECT_TRUE(box.LogHas(QStringLiteral("Clear work directory error")));
        EXPECT_EQ(box.LogHas(QStringLiteral("Insert record error")), c.status == kTooShort);
        // No raw file outlives these endings, nor the wave file of a short track.
        for (const QString& left : FilesBelow(box.WorkDir())) {
            EXPECT_FALSE(left.endsWith(QLatin1String("/data.dat")) ||
                         (c.status == kTooShort && left.endsWith(QLatin1String("/data.wav"))))
                << left.toStdString();
        }
    }
}

TEST(ProcessMediaFile, SourceWorkFolderAndStoreProblemsGiveTheirMessages) {
    IndexingSandbox box;
    const QString missing = box.dir.File(QStringLiteral("gone.wav"));
    WorkerSetup setup = box.RealSetup();
    EXPECT_EQ(Index(box, missing, setup),
              QStringLiteral("Ошибка копирования исходного файла в рабочий каталог!"));
    setup.copyToWorkDir = false;
    EXPECT_EQ(Index(box, missing, setup), QStringLiteral("Ошибка чтения исходного файла!"));
    // A FIFO with a media name would block the digest step for ever: it is refused, copied or not, and
    // the digests refuse it too should it take a regular file's place after the check.
    const QString fifo = box.dir.File(QStringLiteral("pipe.wav"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    for (const bool copy : {true, false}) {
        setup.copyToWorkDir = copy;
        EXPECT_EQ(Index(box, fifo, setup), kStatusNotRegular);
    }
    EXPECT_FALSE(DigestFile(fifo).ok);
    // Only one level is created: a work folder that does not exist cannot hold the subfolder.
    const QString file = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    setup = box.RealSetup();
    setup.workDir = box.dir.File(QStringLiteral("missing/work"));
    EXPECT_EQ(Index(box, file, setup), QStringLiteral("Ошибка создания рабочего подкаталога!"));
    EXPECT_TRUE(ReadRows(box.DbPath()).empty());
    // A stored path is refused before any work: nothing copied or hashed. (The same bytes under another
    // path: the scheduler test's twin file.)
    ASSERT_EQ(Index(box, file), QString());
    QDir(box.WorkDir()).removeRecursively();
    EXPECT_EQ(Index(box, file), QStringLiteral("Уже проиндексирован!"));
    EXPECT_FALSE(QFileInfo::exists(box.WorkDir()));
    // A database without table Data: the path look-up fails first.
    box.store.Disconnect();
    ASSERT_TRUE(box.store.Connect(box.dir.File(QStringLiteral("bare.db"))));
    EXPECT_EQ(Index(box, file), QStringLiteral("Ошибка выполнения запроса 1!"));
}

TEST(ProcessMediaFile, TagToolIsTakenFromTwoPlaces) {
    // Direct audio asks id3-tags/id3-tags-cli, audio through ffmpeg asks id3-tags-cli beside the program;
    // a missing tag tool leaves the info empty.
    IndexingSandbox box;
    const QString program = box.dir.File(QStringLiteral("program"));
    WriteFakeTool(program, QStringLiteral("id3-tags-cli"), QStringLiteral("echo 'Artist: beside'"));
    WriteFakeTool(program + QStringLiteral("/id3-tags"), QStringLiteral("id3-tags-cli"),
                  QStringLiteral("echo 'Artist: subfolder'"));
    WorkerSetup setup = box.RealSetup();
    setup.programDir = program;
    ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(QStringLiteral(".mp3"), 61), setup), QString());
    ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(QStringLiteral(".m4a"), 61), setup), QString());
    QFile::remove(program + QStringLiteral("/id3-tags/id3-tags-cli"));
    ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61), setup), QString());
    const auto rows = ReadRows(box.DbPath());
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].record.info, QStringLiteral("Artist: subfolder\n"));
    EXPECT_EQ(rows[1].record.info, QStringLiteral("Artist: beside\n"));
    EXPECT_EQ(rows[2].record.info, QString());
}

}  // namespace
}  // namespace tembrix

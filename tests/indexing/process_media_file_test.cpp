// The indexing worker with the real sox, ffmpeg, ffprobe and id3-tags-cli on media made at test time, and
// with fake tools for the failure paths. Rows are checked against independent digests and an
// independent reduction of SoX's own output for the same file.

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

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

// Files left anywhere below `folder`, except the tools' outfile.rp and errfile.rp, which stay in the
// scratch folder until the slot's next worker clears it.
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

// The fields every row of `file` shares.
void ExpectFileFields(const StoredRow& row, const QString& file, const QString& type, int allTracks) {
    const QFileInfo info(file);
    EXPECT_EQ(row.record.source_path, file);
    EXPECT_EQ(row.record.source_file_name, info.completeBaseName());
    EXPECT_EQ(row.record.extension, info.suffix());
    EXPECT_EQ(row.record.type, type);
    EXPECT_EQ(row.record.source_size, info.size());
    EXPECT_EQ(row.record.created, DateTimeText(info.lastModified()));
    EXPECT_EQ(row.record.md5, test::HexDigest(file, QCryptographicHash::Md5));
    EXPECT_EQ(row.record.sha2, test::HexDigest(file, QCryptographicHash::Sha256));
    EXPECT_EQ(row.record.all_tracks, allTracks);
}

// The envelope equals the reference, and index_size and duration agree with it.
void ExpectEnvelope(const StoredRow& row, const std::vector<uint16_t>& reference) {
    ASSERT_FALSE(reference.empty());
    EXPECT_EQ(row.record.index_size, row.blob.size());
    EXPECT_EQ(row.record.index_size, static_cast<int>(reference.size() * 2));
    EXPECT_TRUE(test::ValuesOfBlob(row.blob) == reference);
    // duration = raw bytes / 96000; the raw length lies within one 10 ms block of the values.
    EXPECT_EQ(row.record.duration, static_cast<int>(reference.size() / 100));
}

TEST(ProcessMediaFile, IndexesEachDirectlyConvertedFormat) {
    const struct {
        const char* extension;
        bool tagBearing;
    } formats[] = {{".wav", true},  {".mp3", true}, {".ogg", false}, {".flac", false},
                   {".aiff", true}, {".au", false}, {".voc", false}, {".snd", false}};
    for (const auto& f : formats) {
        SCOPED_TRACE(f.extension);
        IndexingSandbox box;
        const QString file = MediaFixtures::Instance().Tone(QString::fromLatin1(f.extension), 61);
        ASSERT_FALSE(file.isEmpty());
        EXPECT_EQ(Index(box, file), QString());
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), 1u);
        ExpectFileFields(rows[0], file, QStringLiteral("аудио"), 1);
        EXPECT_EQ(rows[0].record.audio_track, 0);
        EXPECT_EQ(rows[0].record.info, f.tagBearing ? kUntaggedInfo : QString());
        ExpectEnvelope(rows[0], test::ReferenceEnvelopeOf(file));
        // The copy, data.dat and everything else in the scratch folder are gone.
        EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());
    }
}

TEST(ProcessMediaFile, AudioSoxCannotReadFailsAsAConversionError) {
    // These are converted directly as the lists say, and this SoX has no reader for them.
    for (const QString& ext : {QStringLiteral(".opus"), QStringLiteral(".aac"), QStringLiteral(".wma")}) {
        SCOPED_TRACE(ext.toStdString());
        IndexingSandbox box;
        const QString file = MediaFixtures::Instance().Tone(ext, 61);
        ASSERT_FALSE(file.isEmpty());
        EXPECT_EQ(Index(box, file), QStringLiteral("Ошибка конвертирования в DAT формат!"));
        EXPECT_TRUE(ReadRows(box.DbPath()).empty());
    }
}

TEST(ProcessMediaFile, M4aGoesThroughFfmpegAsOneTaggedTrack) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Tagged(QStringLiteral(".m4a"));
    ASSERT_FALSE(file.isEmpty());
    EXPECT_EQ(Index(box, file), QString());
    const auto rows = ReadRows(box.DbPath());
    ASSERT_EQ(rows.size(), 1u);
    ExpectFileFields(rows[0], file, QStringLiteral("аудио"), 1);
    EXPECT_EQ(rows[0].record.audio_track, 0);
    EXPECT_EQ(rows[0].record.info, kTaggedInfo);
    ExpectEnvelope(rows[0], test::ReferenceEnvelopeOfTrack(file, 0));
}

TEST(ProcessMediaFile, TaggedDirectAudioReadsItsTags) {
    for (const char* extension : {".mp3", ".wav", ".aiff"}) {
        SCOPED_TRACE(extension);
        IndexingSandbox box;
        const QString file = MediaFixtures::Instance().Tagged(QString::fromLatin1(extension));
        ASSERT_FALSE(file.isEmpty());
        EXPECT_EQ(Index(box, file), QString());
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].record.info, kTaggedInfo);
        ExpectEnvelope(rows[0], test::ReferenceEnvelopeOf(file));
    }
}

TEST(ProcessMediaFile, VideoWithThreeAudioTracksGivesThreeRows) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Video(3);
    ASSERT_FALSE(file.isEmpty());
    EXPECT_EQ(Index(box, file), QString());
    const auto rows = ReadRows(box.DbPath());
    ASSERT_EQ(rows.size(), 3u);
    for (int t = 0; t < 3; ++t) {
        SCOPED_TRACE(t);
        ExpectFileFields(rows[static_cast<size_t>(t)], file, QStringLiteral("видео"), 3);
        EXPECT_EQ(rows[static_cast<size_t>(t)].record.audio_track, t);
        EXPECT_EQ(rows[static_cast<size_t>(t)].record.info, QString());  // .mkv is not tag-bearing
        ExpectEnvelope(rows[static_cast<size_t>(t)], test::ReferenceEnvelopeOfTrack(file, t));
    }
    // Each track has its own envelope: the tracks were not mixed up or repeated.
    EXPECT_NE(rows[0].blob, rows[1].blob);
    EXPECT_NE(rows[1].blob, rows[2].blob);
    EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());
}

TEST(ProcessMediaFile, VideoWithoutAudioEndsWithoutRowOrMessage) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Video(0);
    ASSERT_FALSE(file.isEmpty());
    EXPECT_EQ(Index(box, file), QString());
    EXPECT_TRUE(ReadRows(box.DbPath()).empty());
    EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());
}

TEST(ProcessMediaFile, SixtySecondsIsTheShortestTrack) {
    IndexingSandbox box;
    const QString shortFile = MediaFixtures::Instance().Tone(QStringLiteral(".flac"), 59);
    const QString longFile = MediaFixtures::Instance().Tone(QStringLiteral(".flac"), 61);
    EXPECT_EQ(Index(box, shortFile), QStringLiteral("Очень маленький размер аудио данных!"));
    EXPECT_TRUE(ReadRows(box.DbPath()).empty());
    EXPECT_TRUE(box.LogMessages().contains(QStringLiteral("Insert record error")));
    // No raw file is left behind (the copy stays until the slot's next worker clears it).
    EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList{box.WorkDir() + QStringLiteral("/0/tone-59s-v0.flac")});

    EXPECT_EQ(Index(box, longFile), QString());
    EXPECT_EQ(ReadRows(box.DbPath()).size(), 1u);
    EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());
}

TEST(ProcessMediaFile, ShortTrackOfAVideoLeavesNoWaveOrRawFile) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Tone(QStringLiteral(".m4a"), 59);
    WorkerSetup setup = box.RealSetup();
    setup.copyToWorkDir = false;
    EXPECT_EQ(Index(box, file, setup), QStringLiteral("Очень маленький размер аудио данных!"));
    EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());
}

TEST(ProcessMediaFile, AlreadyIndexedPathEndsBeforeAnyWork) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    ASSERT_EQ(Index(box, file), QString());
    QDir(box.WorkDir()).removeRecursively();
    EXPECT_EQ(Index(box, file), QStringLiteral("Уже проиндексирован!"));
    // Not even the scratch folder was made, so nothing was copied or hashed.
    EXPECT_FALSE(QFileInfo::exists(box.WorkDir() + QStringLiteral("/0")));
    EXPECT_EQ(ReadRows(box.DbPath()).size(), 1u);
}

TEST(ProcessMediaFile, SameBytesUnderAnotherPathAreRefused) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    const QString twin = box.dir.File(QStringLiteral("twin.wav"));
    ASSERT_TRUE(QFile::copy(file, twin));
    ASSERT_EQ(Index(box, file), QString());
    EXPECT_EQ(
        Index(box, twin),
        QStringLiteral("Запись с таким же MD5 хешем, размером файла и номером аудио трека уже существует!"));
    EXPECT_EQ(ReadRows(box.DbPath()).size(), 1u);
    EXPECT_TRUE(box.LogMessages().contains(QStringLiteral("Insert record error")));
}

TEST(ProcessMediaFile, NamesWithBlanksQuotesAndCyrillicBothWays) {
    const QString source = MediaFixtures::Instance().Tone(QStringLiteral(".mp3"), 61, 2);
    for (const bool copy : {true, false}) {
        SCOPED_TRACE(copy ? "copy" : "in place");
        IndexingSandbox box;
        const QString folder = box.dir.File(QStringLiteral("папка с \"кавычками\""));
        QDir().mkpath(folder);
        const QString file = folder + QStringLiteral("/-Песня '№1'  \"ёлка\" $HOME.mp3");
        ASSERT_TRUE(QFile::copy(source, file));
        WorkerSetup setup = box.RealSetup();
        setup.copyToWorkDir = copy;
        EXPECT_EQ(Index(box, file, setup), QString());
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), 1u);
        ExpectFileFields(rows[0], file, QStringLiteral("аудио"), 1);
        EXPECT_EQ(rows[0].record.source_file_name, QStringLiteral("-Песня '№1'  \"ёлка\" $HOME"));
        ExpectEnvelope(rows[0], test::ReferenceEnvelopeOf(source));
    }
}

// A fake SoX that notes the file it was given, then writes `bytes` bytes of silence as its output.
QString NotingSox(const QString& folder, const QString& note, qint64 bytes) {
    return WriteFakeTool(folder, QStringLiteral("sox"),
                         QStringLiteral("printf '%s\\n' \"$1\" >> '%1'\nfor last; do :; done\n"
                                        "head -c %2 /dev/zero > \"$last\"")
                             .arg(note)
                             .arg(bytes));
}

TEST(ProcessMediaFile, CopyFlagDecidesWhichFileTheToolsRead) {
    const QString source = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    for (const bool copy : {true, false}) {
        SCOPED_TRACE(copy ? "copy" : "in place");
        IndexingSandbox box;
        const QString note = box.dir.File(QStringLiteral("sox-input.txt"));
        WorkerSetup setup = box.RealSetup();
        setup.soxPath = NotingSox(box.dir.File(QStringLiteral("tools")), note, 61 * 96000);
        setup.copyToWorkDir = copy;
        EXPECT_EQ(Index(box, source, setup, 3), QString());
        const QString expected = copy ? box.WorkDir() + QStringLiteral("/3/tone-61s-v0.wav") : source;
        QFile f(note);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(QString::fromUtf8(f.readAll()), expected + u'\n');
        EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());  // the copy is deleted at the end
        EXPECT_TRUE(QFileInfo::exists(source));
    }
}

TEST(ProcessMediaFile, ToolFailuresGiveTheirMessages) {
    const QString wav = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    const QString m4a = MediaFixtures::Instance().Tone(QStringLiteral(".m4a"), 61);
    const QString mkv = MediaFixtures::Instance().Video(3);
    const struct {
        const char* name;
        const char* sox;      // fake SoX body, or nullptr for the real one, "-" for none at all
        const char* ffmpeg;   // the same for ffmpeg
        const char* ffprobe;  // the same for an ffprobe beside a fake ffmpeg
        int file;             // 0 wav, 1 m4a, 2 mkv
        const char* status;
        size_t rows;
    } cases[] = {
        {"no sox", "-", nullptr, nullptr, 0, "Ошибка конвертирования в DAT формат!", 0},
        {"sox writes nothing", "exit 0", nullptr, nullptr, 0, "Ошибка конвертирования в DAT формат!", 0},
        {"sox crashes", "kill -SEGV $$", nullptr, nullptr, 0, "Ошибка конвертирования в DAT формат!", 0},
        {"sox writes a short file", "for l; do :; done; head -c 5759999 /dev/zero > \"$l\"", nullptr, nullptr,
         0, "Очень маленький размер аудио данных!", 0},
        {"no ffmpeg", nullptr, "-", nullptr, 1, "Ошибка извлечения аудио данных из видео!", 0},
        {"ffmpeg writes nothing", nullptr, "exit 0", nullptr, 1, "Ошибка извлечения аудио данных из видео!",
         0},
        {"sox fails after ffmpeg", "exit 1", nullptr, nullptr, 1, "Ошибка конвертирования в DAT формат!", 0},
        // Without ffprobe a container counts no tracks: it ends like a video without audio.
        {"no ffprobe", nullptr, "exit 0", "-", 2, "", 0},
        // A stray line counts as a track; the fourth extraction fails after three rows were stored.
        {"ffprobe stray line", nullptr, "real", "printf '1\\n2\\n3\\nstray\\n'", 2,
         "Ошибка извлечения аудио данных из видео!", 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        IndexingSandbox box;
        const QString tools = box.dir.File(QStringLiteral("tools"));
        WorkerSetup setup = box.RealSetup();
        const auto place = [&](const char* body, const QString& name, QString& path) {
            if (body == nullptr) {
                return;
            }
            const QString b = QString::fromUtf8(body);
            if (b == QLatin1String("-")) {
                path = tools + u'/' + name;
            } else if (b == QLatin1String("real")) {
                path = WriteFakeTool(tools, name, QStringLiteral("exec '%1' \"$@\"").arg(test::RealFfmpeg()));
            } else {
                path = WriteFakeTool(tools, name, b);
            }
        };
        place(c.sox, QStringLiteral("sox"), setup.soxPath);
        place(c.ffmpeg, QStringLiteral("ffmpeg"), setup.ffmpegPath);
        QString ffprobe;
        if (c.ffmpeg != nullptr && c.ffprobe == nullptr) {
            WriteFakeTool(tools, QStringLiteral("ffprobe"), QStringLiteral("exec ffprobe \"$@\""));
        }
        place(c.ffprobe, QStringLiteral("ffprobe"), ffprobe);
        const QString file = c.file == 0 ? wav : c.file == 1 ? m4a : mkv;
        EXPECT_EQ(Index(box, file, setup), QString::fromUtf8(c.status));
        EXPECT_EQ(ReadRows(box.DbPath()).size(), c.rows);
        // No raw file outlives any of these endings.
        for (const QString& left : FilesBelow(box.WorkDir())) {
            EXPECT_FALSE(left.endsWith(QLatin1String("/data.dat"))) << left.toStdString();
        }
    }
}

TEST(ProcessMediaFile, SourceThatCannotBeReadGivesAMessage) {
    IndexingSandbox box;
    const QString missing = box.dir.File(QStringLiteral("gone.wav"));
    WorkerSetup setup = box.RealSetup();
    EXPECT_EQ(Index(box, missing, setup),
              QStringLiteral("Ошибка копирования исходного файла в рабочий каталог!"));
    setup.copyToWorkDir = false;
    EXPECT_EQ(Index(box, missing, setup), QStringLiteral("Ошибка чтения исходного файла!"));
    EXPECT_TRUE(ReadRows(box.DbPath()).empty());
}

TEST(ProcessMediaFile, ScratchFolderProblems) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    // Only one level is created: a work folder that does not exist cannot hold the subfolder.
    WorkerSetup setup = box.RealSetup();
    setup.workDir = box.dir.File(QStringLiteral("missing/work"));
    EXPECT_EQ(Index(box, file, setup), QStringLiteral("Ошибка создания рабочего подкаталога!"));

    // A folder inside the scratch folder cannot be deleted as a file: logged, and the work goes on;
    // files left by an earlier worker, also below that folder, are removed.
    const QString scratch = box.WorkDir() + QStringLiteral("/0");
    QDir().mkpath(scratch + QStringLiteral("/nested"));
    box.dir.Write(QStringLiteral("work/0/data.dat"), QByteArray(6000000, '\x7f'));
    box.dir.Write(QStringLiteral("work/0/nested/old.wav"), "x");
    EXPECT_EQ(Index(box, file), QString());
    EXPECT_TRUE(box.LogMessages().contains(QStringLiteral("Clear work directory error")));
    EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());
    ExpectEnvelope(ReadRows(box.DbPath()).at(0), test::ReferenceEnvelopeOf(file));
}

TEST(ProcessMediaFile, TagToolIsTakenFromTwoPlaces) {
    // Direct audio asks id3-tags/id3-tags-cli, audio through ffmpeg asks id3-tags-cli beside the program.
    IndexingSandbox box;
    const QString program = box.dir.File(QStringLiteral("program"));
    WriteFakeTool(program, QStringLiteral("id3-tags-cli"), QStringLiteral("echo 'Artist: beside'"));
    WriteFakeTool(program + QStringLiteral("/id3-tags"), QStringLiteral("id3-tags-cli"),
                  QStringLiteral("echo 'Artist: subfolder'"));
    WorkerSetup setup = box.RealSetup();
    setup.programDir = program;
    ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(QStringLiteral(".mp3"), 61), setup), QString());
    ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(QStringLiteral(".m4a"), 61), setup), QString());
    // A tag tool that is missing leaves the info empty.
    QFile::remove(program + QStringLiteral("/id3-tags/id3-tags-cli"));
    ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61), setup), QString());
    const auto rows = ReadRows(box.DbPath());
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].record.info, QStringLiteral("Artist: subfolder\n"));
    EXPECT_EQ(rows[1].record.info, QStringLiteral("Artist: beside\n"));
    EXPECT_EQ(rows[2].record.info, QString());
}

TEST(ProcessMediaFile, StoreFailuresGiveTheirMessages) {
    IndexingSandbox box;
    const QString file = MediaFixtures::Instance().Tone(QStringLiteral(".wav"), 61);
    // A database without table Data: the path look-up fails first.
    box.store.Disconnect();
    const QString bare = box.dir.File(QStringLiteral("bare.db"));
    ASSERT_TRUE(box.store.Connect(bare));
    EXPECT_EQ(Index(box, file), QStringLiteral("Ошибка выполнения запроса 1!"));
}

}  // namespace
}  // namespace tembrix

// The indexing worker with the real tools on media made at test time, and fake tools for the failures.
// Rows are checked against independent digests and an independent reduction of SoX's output.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <sys/stat.h>

#include "indexing/digests.h"
#include "indexing/process_media_file.h"
#include "support/indexing_sandbox.h"
#include "util/synchronize.h"
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
// Fake SoX: 62 s of raw audio, then a failure.
#define LONG_RAW "for l; do :; done; head -c 5952000 /dev/zero > \"$l\"\n"

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

// The row's file fields against the file and independent digests; its envelope against the reference.
void ExpectRow(const StoredRow& row, const QString& file, const char* type, int allTracks, int track,
               const std::vector<uint16_t>& reference) {
    const QFileInfo info(file);
    const QByteArray bytes = test::ReadFile(file);
    const IndexRecord& r = row.record;
    EXPECT_EQ((QStringList{r.source_path, r.source_file_name, r.extension, r.type,
                           QString::number(r.source_size), r.created, r.md5, r.sha2,
                           QString::number(r.all_tracks), QString::number(r.audio_track)}),
              (QStringList{file, info.completeBaseName(), info.suffix(), QString::fromUtf8(type),
                           QString::number(info.size()), DateTimeText(info.lastModified()),
                           QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex(),
                           QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex(),
                           QString::number(allTracks), QString::number(track)}));
    ASSERT_FALSE(reference.empty());
    EXPECT_TRUE(r.index_size == row.blob.size() && test::ValuesOfBlob(row.blob) == reference &&
                r.duration == static_cast<int>(reference.size() / 100));
}

// Catches a wrong field, digest, envelope, track number or tag info on each path (direct audio, audio
// through ffmpeg, a video's tracks), and work files left behind.
TEST(ProcessMediaFile, IndexesEachKindOfInputTrackByTrack) {
    auto& media = MediaFixtures::Instance();
    for (const auto& [file, type, info, tracks, viaFfmpeg] :
         {std::tuple{media.Tone(".wav", 61), "аудио", kUntaggedInfo, 1, false},
          {media.Tone(".ogg", 61), "аудио", QString(), 1, false},
          {media.Tagged(".mp3"), "аудио", kTaggedInfo, 1, false},
          {media.Tagged(".m4a"), "аудио", kTaggedInfo, 1, true},
          {media.Video(3), "видео", QString(), 3, true}}) {
        SCOPED_TRACE(file.toStdString());
        ASSERT_FALSE(file.isEmpty());
        IndexingSandbox box;
        EXPECT_EQ(Index(box, file), QString());
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), static_cast<size_t>(tracks));
        for (int t = 0; t < tracks; ++t) {
            ExpectRow(rows[size_t(t)], file, type, tracks, t,
                      test::ReferenceEnvelopeOf(file, viaFfmpeg ? t : -1));
            EXPECT_EQ(rows[size_t(t)].record.info, info);
        }
        EXPECT_EQ(FilesBelow(box.WorkDir()), QStringList());  // the copy, data.dat and the rest are gone
    }
}

// Catches the tools reading the wrong file for the copy setting, and a copy left in the work folder.
TEST(ProcessMediaFile, OddNamesReachTheToolsAndTheCopyFlagDecidesWhichFileTheyRead) {
    const QString source = MediaFixtures::Instance().Tone(".mp3", 61, 2),
                  name = "-Песня '№1'  \"ёлка\" $HOME.mp3";
    for (const bool copy : {true, false}) {
        SCOPED_TRACE(copy ? "copy" : "in place");
        IndexingSandbox box;
        const QString file = box.dir.File("папка с \"кавычками\"/" + name),
                      note = box.dir.File("sox-input.txt");
        QDir().mkpath(QFileInfo(file).path());
        ASSERT_TRUE(QFile::copy(source, file));
        WorkerSetup setup = box.RealSetup();
        setup.soxPath =
            WriteFakeTool(box.dir.File("tools"), "sox",
                          "printf '%s\\n' \"$1\" >> '" + note + "'; exec '" + test::RealSox() + "' \"$@\"");
        setup.copyToWorkDir = copy;
        EXPECT_EQ(Index(box, file, setup, 3), QString());
        EXPECT_EQ(test::ReadText(note), (copy ? box.WorkDir() + "/3/" + name : file) + u'\n');
        const auto rows = ReadRows(box.DbPath());
        ASSERT_EQ(rows.size(), 1u);
        ExpectRow(rows[0], file, "аудио", 1, 0, test::ReferenceEnvelopeOf(source));
        EXPECT_TRUE(FilesBelow(box.WorkDir()).isEmpty() && QFileInfo::exists(file));
    }
}

// Catches a failed, crashed or lying tool (exit 0 with FAIL, partial output) leading to a stored row or
// the wrong message, a leftover data.dat taken for this file's, and raw files left behind.
TEST(ProcessMediaFile, ToolFailuresGiveTheirMessages) {
    auto& media = MediaFixtures::Instance();
    const QString wav = media.Tone(".wav", 61), m4a = media.Tone(".m4a", 61), mkv = media.Video(3);
    test::TempDir scratch;
    const QString damaged =
        scratch.Write("damaged.mkv", QByteArray("\x1a\x45\xdf\xa3 cut short").repeated(20000));
    // Fake tool bodies: nullptr for the real tool, "-" for none at all, "real" for a wrapper of the real one.
    const struct {
        const char *sox, *ffmpeg, *ffprobe;
        QString file, status;
        size_t rows;
    } cases[] = {
        {"-", nullptr, nullptr, wav, kConversionError, 0},
        {"exit 0", nullptr, nullptr, wav, kConversionError, 0},
        {"kill -SEGV $$", nullptr, nullptr, wav, kConversionError, 0},
        {LONG_RAW "echo \"sox FAIL sox: \\`$l' error writing output file: No space left on device\" >&2",
         nullptr, nullptr, wav, kConversionError, 0},
        {LONG_RAW "exit 2", nullptr, nullptr, wav, kConversionError, 0},
        {"for l; do :; done; head -c 5759999 /dev/zero > \"$l\"", nullptr, nullptr, wav, kTooShort, 0},
        {nullptr, nullptr, nullptr, media.Tone(".m4a", 59), kTooShort, 0},
        {nullptr, "-", nullptr, m4a, kExtractionError, 0},
        {nullptr, "exit 0", nullptr, m4a, kExtractionError, 0},
        {nullptr, "ffmpeg \"$@\"; exit 1", nullptr, m4a, kExtractionError, 0},
        {"exit 1", nullptr, nullptr, m4a, kConversionError, 0},
        {nullptr, nullptr, nullptr, media.Video(0), QString(), 0},
        {nullptr, nullptr, nullptr, damaged, kExtractionError, 0},
        {nullptr, "exit 0", "-", mkv, kExtractionError, 0},
        {nullptr, "exit 0", "echo 0; exit 1", mkv, kExtractionError, 0},
        {nullptr, "exit 0", "echo 0; echo 'moov atom not found' >&2", mkv, kExtractionError, 0},
        {nullptr, "real", "printf '1\\n2\\n3\\nstray\\n'", mkv, kExtractionError, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ASSERT_FALSE(c.file.isEmpty());
        IndexingSandbox box;
        // Leftovers of an earlier worker: a long data.dat, and a folder (logged, the work goes on).
        box.dir.Write("work/0/data.dat", QByteArray(6000000, '\x7f'));
        box.dir.Write("work/0/nested/old.wav", "x");
        const QString tools = box.dir.File("tools");
        const auto place = [&](const char* body, const char* name, const QString& real) {
            const QString b = QString::fromUtf8(body);
            return body == nullptr ? real
                   : b == "-"      ? tools + u'/' + name
                              : WriteFakeTool(tools, name, b == "real" ? "exec '" + real + "' \"$@\"" : b);
        };
        WorkerSetup setup = box.RealSetup();
        setup.soxPath = place(c.sox, "sox", setup.soxPath);
        setup.ffmpegPath = place(c.ffmpeg, "ffmpeg", setup.ffmpegPath);
        if (c.ffmpeg != nullptr) {
            place(c.ffprobe == nullptr ? "real" : c.ffprobe, "ffprobe", "ffprobe");
        }
        EXPECT_EQ(Index(box, c.file, setup), c.status);
        EXPECT_EQ(ReadRows(box.DbPath()).size(), c.rows);
        EXPECT_TRUE(box.LogHas("Clear work directory error") &&
                    box.LogHas("Insert record error") == (c.status == kTooShort));
        for (const QString& left : FilesBelow(box.WorkDir())) {
            EXPECT_FALSE(left.endsWith(QLatin1String("/data.dat")) ||
                         (c.status == kTooShort && left.endsWith(QLatin1String("/data.wav"))))
                << left.toStdString();
        }
    }
}

// Catches a missing source, a FIFO (which would block the digest step for ever), a missing work folder,
// an already stored path or a store without table Data going on to work or giving the wrong message.
TEST(ProcessMediaFile, SourceWorkFolderAndStoreProblemsGiveTheirMessages) {
    IndexingSandbox box;
    const QString missing = box.dir.File("gone.wav"), fifo = box.dir.File("pipe.wav");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    WorkerSetup setup = box.RealSetup();
    const QString copied[] = {Index(box, missing, setup), Index(box, fifo, setup)};
    setup.copyToWorkDir = false;
    EXPECT_EQ((QStringList{copied[0], copied[1], Index(box, missing, setup), Index(box, fifo, setup)}),
              (QStringList{"Ошибка копирования исходного файла в рабочий каталог!", kStatusNotRegular,
                           "Ошибка чтения исходного файла!", kStatusNotRegular}));
    EXPECT_FALSE(DigestFile(fifo).ok);
    const QString file = MediaFixtures::Instance().Tone(".wav", 61);
    setup = box.RealSetup();
    setup.workDir = box.dir.File("missing/work");
    EXPECT_EQ(Index(box, file, setup), "Ошибка создания рабочего подкаталога!");
    EXPECT_TRUE(ReadRows(box.DbPath()).empty());
    // A stored path is refused before anything is copied.
    ASSERT_EQ(Index(box, file), QString());
    QDir(box.WorkDir()).removeRecursively();
    EXPECT_TRUE(Index(box, file) == "Уже проиндексирован!" && !QFileInfo::exists(box.WorkDir()));
    box.store.Disconnect();
    ASSERT_TRUE(box.store.Connect(box.dir.File("bare.db")));
    EXPECT_EQ(Index(box, file), "Ошибка выполнения запроса 1!");
}

// Catches the wrong tag tool asked: id3-tags/ for direct audio, beside the program for audio through
// ffmpeg; a missing tool leaves the info empty.
TEST(ProcessMediaFile, TagToolIsTakenFromTwoPlaces) {
    IndexingSandbox box;
    WorkerSetup setup = box.RealSetup();
    setup.programDir = box.dir.File("program");
    WriteFakeTool(setup.programDir, "id3-tags-cli", "echo 'Artist: beside'");
    const QString inSubfolder =
        WriteFakeTool(setup.programDir + "/id3-tags", "id3-tags-cli", "echo 'Artist: subfolder'");
    for (const char* extension : {".mp3", ".m4a", ".wav"}) {
        ASSERT_EQ(Index(box, MediaFixtures::Instance().Tone(extension, 61), setup), QString());
        QFile::remove(extension == QByteArray(".m4a") ? inSubfolder : QString());
    }
    QStringList infos;
    for (const StoredRow& row : ReadRows(box.DbPath())) {
        infos.append(row.record.info);
    }
    EXPECT_EQ(infos, (QStringList{"Artist: subfolder\n", "Artist: beside\n", ""}));
}

}  // namespace
}  // namespace tembrix

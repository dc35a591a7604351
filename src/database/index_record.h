#pragma once
// One row of table Data in memory, and the table itself. The envelope values travel beside the record,
// never inside it; the row id is passed beside it too.

#include <QString>
#include <cstdint>

namespace tembrix {

// The table as the companion search program expects it: exactly this statement (one tab between each
// column name and its type, no line break).
inline constexpr char kCreateTableSql[] =
    "CREATE TABLE Data (id\tINTEGER,source_size\tINTEGER NOT NULL,sha2\tTEXT NOT NULL,md5\tTEXT NOT NULL,"
    "duration\tINTEGER NOT NULL,source_path\tTEXT NOT NULL,source_file_name\tTEXT NOT NULL,extension\tTEXT "
    "NOT NULL,type\tTEXT NOT NULL,audio_track\tINTEGER NOT NULL,all_tracks\tINTEGER NOT NULL,created\tTEXT "
    "NOT NULL,info\tTEXT,index_size\tINTEGER NOT NULL,index_data BLOB NOT NULL,PRIMARY KEY(id "
    "AUTOINCREMENT));";

// Look-up indexes beside the table: a track look-up and a path look-up would otherwise scan every row.
// Readers of the table see no difference.
inline constexpr char kCreateTrackIndexSql[] =
    "CREATE INDEX IF NOT EXISTS idx_data_track ON Data(md5, source_size, audio_track)";
inline constexpr char kCreatePathIndexSql[] = "CREATE INDEX IF NOT EXISTS idx_data_path ON Data(source_path)";
// The columns the statistics add up, beside the table: its sixteen queries then read this small index
// instead of every row's page (a table of large envelopes keeps one row per page, so a scan of the table
// touches one page per row). Rows lead with `type`, which half of the queries filter on.
inline constexpr char kCreateStatsIndexSql[] =
    "CREATE INDEX IF NOT EXISTS idx_data_stats ON Data(type, info, extension, all_tracks, duration, "
    "source_size, index_size)";

// The `type` words; the macros spell them once for the SQL text that filters on them.
#define TEMBRIX_TYPE_AUDIO "аудио"
#define TEMBRIX_TYPE_VIDEO "видео"
inline const QString kTypeAudio = QStringLiteral(TEMBRIX_TYPE_AUDIO);
inline const QString kTypeVideo = QStringLiteral(TEMBRIX_TYPE_VIDEO);

// The INSERT of one row: every column but id, bound by its upper-case name without underscores
// (:SOURCESIZE, :SHA2, … :INDEXSIZE, and :INDEXDATA when `withEnvelope`). Without the envelope column the
// insert fails the table's NOT NULL. The text lives as long as the program.
const char* InsertRowSql(bool withEnvelope);

// The read of one whole row by its id (:ID).
inline constexpr char kGetRecordSql[] = "SELECT * FROM data WHERE id=:ID";

// Two rows describe the same track of the same file when md5, source_size and audio_track are equal.
struct IndexRecord {
    int32_t audio_track = 0;   // 0-based track number within the file
    int32_t all_tracks = 0;    // audio tracks in the file
    int32_t index_size = 0;    // bytes of the envelope: 2 x the number of values
    int32_t duration = 0;      // whole seconds of the extracted track
    int64_t source_size = 0;   // bytes of the source file
    QString source_path;       // full path as queued
    QString source_file_name;  // file name without its extension
    QString extension;         // extension without its dot, e.g. "mp3"
    QString type;              // kTypeAudio or kTypeVideo
    QString sha2;              // SHA-256 of the source, lower-case hex
    QString md5;               // MD5 of the source, lower-case hex
    QString created;           // the source's modification time as text (DateTimeText)
    QString index_file_name;   // never stored: the table has no such column
    QString info;              // tag text, may be empty
};

}  // namespace tembrix

#include "database/record_text.h"

#include "util/text_utils.h"

namespace tembrix {

QStringList RecordRows(const IndexRecord& r) {
    return {
        QStringLiteral("Имя исходника=") + r.source_file_name,
        QStringLiteral("Исходный файл=") + r.source_path,
        QStringLiteral("Размер исходника=") + GroupThousands(r.source_size),
        QStringLiteral("SHA2 хэш=") + r.sha2,
        QStringLiteral("MD5 хэш=") + r.md5,
        QStringLiteral("Продолжительность=") + DurationText(r.duration, true),
        QStringLiteral("Расширение=") + r.extension,
        QStringLiteral("Тип=") + r.type,
        QStringLiteral("Номер аудио дорожки=") + QString::number(r.audio_track + 1),
        QStringLiteral("Всего аудио дорожек=") + QString::number(r.all_tracks),
        QStringLiteral("Дата создания=") + r.created,
        QStringLiteral("Размер индексного файла=") + GroupThousands(r.index_size),
    };
}

}  // namespace tembrix

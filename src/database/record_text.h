#pragma once
// The twelve "key=value" rows that show one record (the browser's value list and `tembrix-cli show`).

#include <QStringList>

#include "database/index_record.h"

namespace tembrix {

// "Имя исходника=…", "Исходный файл=…", "Размер исходника=…" (grouped by thousands), "SHA2 хэш=…",
// "MD5 хэш=…", "Продолжительность=H:MM:SS (N сек)", "Расширение=…", "Тип=…", "Номер аудио дорожки="
// (1-based), "Всего аудио дорожек=…", "Дата создания=…", "Размер индексного файла=…" (grouped), in that
// order.
QStringList RecordRows(const IndexRecord& record);

}  // namespace tembrix

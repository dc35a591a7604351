#pragma once
// The media types: which file-name extensions the program indexes, as audio or video, and how the
// indexing worker treats each (converted by SoX directly, tags read, audio tracks counted). Extensions
// are given with their dot and compared exactly: ".MP3" is not ".mp3". Safe on any thread.

#include <QString>
#include <QStringList>

#include "database/index_record.h"  // the type words kTypeAudio and kTypeVideo

namespace tembrix {

// kTypeAudio, kTypeVideo or "" for an extension such as ".mp3" (audio extensions are tried first).
QString MediaTypeOf(const QString& ext);
// Audio that SoX converts to raw samples directly (".m4a" deliberately is not among them).
bool IsDirectAudio(const QString& ext);
// Formats whose tags the tag tool is asked to read.
bool IsTagBearing(const QString& ext);
// Containers whose audio tracks are counted and extracted one by one.
bool IsMultiTrack(const QString& ext);
// Every indexed extension as a file-dialog mask ("*.wav", …), audio first.
QStringList MediaFileMasks();

}  // namespace tembrix

// The media types: which extensions are audio or video, and how the worker treats each.

#include <gtest/gtest.h>

#include "indexing/media_types.h"
#include "support/print_text.h"

namespace tembrix {
namespace {

// Catches an extension given the wrong type or treatment (d = converted directly by SoX, t = tags read,
// m = tracks taken one by one), and near misses (case, no dot, blanks) accepted.
TEST(MediaClassifiers, ExtensionTable) {
    const char* audio = "аудио";
    const char* video = "видео";
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {".wav", audio, "dt"}, {".mp3", audio, "dt"},  {".ogg", audio, "d"},  {".aac", audio, "d"},
        {".flac", audio, "d"}, {".aiff", audio, "dt"}, {".m4a", audio, "t"},  {".wma", audio, "dtm"},
        {".opus", audio, "d"}, {".au", audio, "d"},    {".voc", audio, "d"},  {".snd", audio, "d"},
        {".mp4", video, "m"},  {".mov", video, "m"},   {".mkv", video, "m"},  {".m2ts", video, "m"},
        {".avi", video, ""},   {".wmv", video, "tm"},  {".webm", video, ""},  {".mpg", video, ""},
        {".mpeg", video, ""},  {".ogv", video, ""},    {".asf", video, "tm"}, {".MP3", "", ""},
        {"mp3", "", ""},       {"", "", ""},           {".mp3 ", "", ""},     {".aif", "", ""},
        {".mpeg4", "", ""}};
    for (const auto& [ext, type, flags] : rows) {
        const QString e = QString::fromUtf8(ext);
        EXPECT_EQ(MediaTypeOf(e) + u' ' + (IsDirectAudio(e) ? "d" : "") + (IsTagBearing(e) ? "t" : "") +
                      (IsMultiTrack(e) ? "m" : ""),
                  QString::fromUtf8(type) + u' ' + flags)
            << ext;
    }
}

}  // namespace
}  // namespace tembrix

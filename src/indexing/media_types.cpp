#include "indexing/media_types.h"

#include <QLatin1StringView>
#include <algorithm>
#include <iterator>

namespace tembrix {

namespace {

// The lists are compared in this order; the comparison is exact, so capitals are not recognised.
constexpr QLatin1StringView kAudioExtensions[] = {
    QLatin1StringView(".wav"), QLatin1StringView(".mp3"),  QLatin1StringView(".ogg"),
    QLatin1StringView(".aac"), QLatin1StringView(".flac"), QLatin1StringView(".aiff"),
    QLatin1StringView(".m4a"), QLatin1StringView(".wma"),  QLatin1StringView(".opus"),
    QLatin1StringView(".au"),  QLatin1StringView(".voc"),  QLatin1StringView(".snd"),
};
constexpr QLatin1StringView kVideoExtensions[] = {
    QLatin1StringView(".mp4"),  QLatin1StringView(".mov"), QLatin1StringView(".mkv"),
    QLatin1StringView(".m2ts"), QLatin1StringView(".avi"), QLatin1StringView(".wmv"),
    QLatin1StringView(".webm"), QLatin1StringView(".mpg"), QLatin1StringView(".mpeg"),
    QLatin1StringView(".ogv"),  QLatin1StringView(".asf"),
};
constexpr QLatin1StringView kDirectAudioExtensions[] = {
    QLatin1StringView(".wav"), QLatin1StringView(".mp3"),  QLatin1StringView(".ogg"),
    QLatin1StringView(".aac"), QLatin1StringView(".flac"), QLatin1StringView(".aiff"),
    QLatin1StringView(".wma"), QLatin1StringView(".opus"), QLatin1StringView(".au"),
    QLatin1StringView(".voc"), QLatin1StringView(".snd"),
};
constexpr QLatin1StringView kTagBearingExtensions[] = {
    QLatin1StringView(".wav"), QLatin1StringView(".mp3"), QLatin1StringView(".aiff"),
    QLatin1StringView(".m4a"), QLatin1StringView(".wma"), QLatin1StringView(".wmv"),
    QLatin1StringView(".asf"),
};
constexpr QLatin1StringView kMultiTrackExtensions[] = {
    QLatin1StringView(".mp4"),  QLatin1StringView(".mov"), QLatin1StringView(".mkv"),
    QLatin1StringView(".m2ts"), QLatin1StringView(".wma"), QLatin1StringView(".wmv"),
    QLatin1StringView(".asf"),
};

template <std::size_t N>
bool InList(const QString& ext, const QLatin1StringView (&list)[N]) {
    return std::any_of(std::begin(list), std::end(list),
                       [&ext](QLatin1StringView candidate) { return ext == candidate; });
}

}  // namespace

QString MediaTypeOf(const QString& ext) {
    if (InList(ext, kAudioExtensions)) {
        return kTypeAudio;
    }
    if (InList(ext, kVideoExtensions)) {
        return kTypeVideo;
    }
    return QString();
}

bool IsDirectAudio(const QString& ext) {
    return InList(ext, kDirectAudioExtensions);
}

bool IsTagBearing(const QString& ext) {
    return InList(ext, kTagBearingExtensions);
}

bool IsMultiTrack(const QString& ext) {
    return InList(ext, kMultiTrackExtensions);
}

QStringList MediaFileMasks() {
    QStringList masks;
    for (QLatin1StringView ext : kAudioExtensions) {
        masks.append(u'*' + QString(ext));
    }
    for (QLatin1StringView ext : kVideoExtensions) {
        masks.append(u'*' + QString(ext));
    }
    return masks;
}

}  // namespace tembrix

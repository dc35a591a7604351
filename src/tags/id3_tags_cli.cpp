// id3-tags-cli: prints the tags of one media file as six lines for the indexing worker:
//   Artist: …  Title: …  Album: …  Year: N  Track: N  Genre: …
// Numbers are 0 and the genre "0" when absent. When the file cannot be read as a tagged media file the
// single line "Couldn't process given file" is printed instead. Exit status 0 either way (the worker
// judges the output, never the status), 2 on wrong usage.

#include <taglib/audioproperties.h>
#include <taglib/fileref.h>
#include <taglib/infotag.h>
#include <taglib/tag.h>
#include <taglib/tstring.h>
#include <taglib/wavfile.h>

#include <cstdio>
#include <string>

namespace {

std::string OneLine(const TagLib::String& value) {
    std::string text = value.to8Bit(true);
    for (char& c : text) {
        if (c == '\r' || c == '\n') {
            c = ' ';
        }
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: id3-tags-cli FILE\n");
        return 2;
    }
    // Audio properties are read too (fast mode) so that a file that merely carries a media extension, with
    // no audio TagLib can find, is not reported as an untagged media file.
    TagLib::FileRef file(argv[1], true, TagLib::AudioProperties::Fast);
    if (file.isNull() || file.tag() == nullptr || file.audioProperties() == nullptr ||
        file.audioProperties()->sampleRate() <= 0) {
        std::printf("Couldn't process given file\n");
        return 0;
    }
    // A WAV file's tag() is its ID3v2 tag only; its RIFF INFO list fills every field that tag leaves empty.
    const TagLib::Tag* tag = file.tag();
    const TagLib::Tag* fallback = nullptr;
    if (const auto* wav = dynamic_cast<const TagLib::RIFF::WAV::File*>(file.file())) {
        if (wav->hasInfoTag()) {
            fallback = wav->InfoTag();
        }
    }
    const auto text = [&](TagLib::String (TagLib::Tag::*field)() const) {
        const TagLib::String value = (tag->*field)();
        return OneLine(value.isEmpty() && fallback != nullptr ? (fallback->*field)() : value);
    };
    const auto number = [&](unsigned int (TagLib::Tag::*field)() const) {
        const unsigned int value = (tag->*field)();
        return value == 0 && fallback != nullptr ? (fallback->*field)() : value;
    };
    const std::string genre = text(&TagLib::Tag::genre);
    std::printf("Artist: %s\n", text(&TagLib::Tag::artist).c_str());
    std::printf("Title: %s\n", text(&TagLib::Tag::title).c_str());
    std::printf("Album: %s\n", text(&TagLib::Tag::album).c_str());
    std::printf("Year: %u\n", number(&TagLib::Tag::year));
    std::printf("Track: %u\n", number(&TagLib::Tag::track));
    std::printf("Genre: %s\n", genre.empty() ? "0" : genre.c_str());
    return 0;
}

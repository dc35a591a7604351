// Text and time helpers: delimited fields, replace-all, digit grouping, durations and file dates.

#include <gtest/gtest.h>

#include <QDate>
#include <QDateTime>
#include <QTime>
#include <limits>
#include <ostream>

#include "util/text_utils.h"

// Readable failure messages for texts.
[[maybe_unused]] static void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace tembrix {
namespace {

QString U(const char* text) {
    return QString::fromUtf8(text);
}

TEST(FieldOf, Examples) {
    const struct {
        unsigned n;
        const char* text;
        const char* delimiter;
        const char* expected;
    } rows[] = {
        {0, "a;b;c", ";", "a"},
        {1, "a;b;c", ";", "b"},
        {2, "a;b;c", ";", "c"},
        {3, "a;b;c", ";", ""},
        {0, "", ";", ""},
        {1, "", ";", ""},
        {0, "abc", ";", "abc"},
        {1, "abc", ";", ""},
        // A text that opens with the delimiter has an empty field 0.
        {0, ";a;b", ";", ""},
        {1, ";a;b", ";", "a"},
        {2, ";a;b", ";", "b"},
        // Empty fields between and after delimiters.
        {1, "a;;c", ";", ""},
        {2, "a;;c", ";", "c"},
        {2, "a;b;", ";", ""},
        // Two-character delimiter: only whole matches count.
        {1, "a::b::c", "::", "b"},
        {2, "a::b::c", "::", "c"},
        {0, "a:b::c", "::", "a:b"},
        {1, "a:b::c", "::", "c"},
        {2, "a:b::c", "::", ""},
        // Overlapping matches each count: "::" starts at both the second and the third character.
        {1, "a:::b", "::", ":b"},
        {2, "a:::b", "::", "b"},
        // Field 0 looks for its end only from the delimiter's length on, so a longer delimiter right
        // after the first character is not seen.
        {0, "a:::b", "::", "a:"},
        {0, "a::b::c", "::", "a::b"},
        {0, "x::y", "::", "x::y"},
        {0, "xy::z", "::", "xy"},
        {0, "\t1\t2", "\t", ""},
        {1, "Id=5\tпуть\tимя", "\t", "путь"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.n << " of \"" << r.text << "\" by \"" << r.delimiter << '"');
        EXPECT_EQ(U(r.expected), FieldOf(r.n, U(r.text), U(r.delimiter)));
    }
}

TEST(ReplaceAll, Examples) {
    const struct {
        const char* text;
        const char* from;
        const char* to;
        const char* expected;
    } rows[] = {
        {"abc", "x", "y", "abc"},
        {"a b c", " ", "_", "a_b_c"},
        {"aaa", "a", "aa", "aaaaaa"},  // replaced text is not scanned again
        {"aaaa", "aa", "b", "bb"},
        {"aaa", "aa", "b", "ba"},
        {"abab", "ab", "", ""},
        {"", "a", "b", ""},
        {"%1 и %1", "%1", "файл", "файл и файл"},
        {"ffmpeg/ffmpeg", "ffmpeg", "ffprobe", "ffprobe/ffprobe"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_EQ(U(r.expected), ReplaceAll(U(r.text), U(r.from), U(r.to)));
    }
}

TEST(GroupThousands, Examples) {
    const struct {
        qint64 value;
        const char* expected;
    } rows[] = {
        {0, "0"},
        {7, "7"},
        {999, "999"},
        {1000, "1 000"},
        {123456, "123 456"},
        {1234567, "1 234 567"},
        {1000000000000LL, "1 000 000 000 000"},
        // The minus sign counts as a digit of the grouping.
        {-12, "-12"},
        {-1234, "-1 234"},
        {-999, "- 999"},
        {-123456, "- 123 456"},
        {std::numeric_limits<qint64>::max(), "9 223 372 036 854 775 807"},
        {std::numeric_limits<qint64>::min(), "-9 223 372 036 854 775 808"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.value);
        EXPECT_EQ(U(r.expected), GroupThousands(r.value));
    }
}

TEST(DurationText, Examples) {
    const struct {
        int seconds;
        const char* plain;
        const char* withSeconds;
    } rows[] = {
        {0, "0:00:00", "0:00:00 (0 сек)"},
        {9, "0:00:09", "0:00:09 (9 сек)"},
        {10, "0:00:10", "0:00:10 (10 сек)"},
        {59, "0:00:59", "0:00:59 (59 сек)"},
        {60, "0:01:00", "0:01:00 (60 сек)"},
        {75, "0:01:15", "0:01:15 (75 сек)"},
        {600, "0:10:00", "0:10:00 (600 сек)"},
        {3599, "0:59:59", "0:59:59 (3 599 сек)"},
        {3600, "1:00:00", "1:00:00 (3 600 сек)"},
        {3725, "1:02:05", "1:02:05 (3 725 сек)"},
        {3659, "1:00:59", "1:00:59 (3 659 сек)"},
        {172805, "48:00:05", "48:00:05 (172 805 сек)"},
        {360000, "100:00:00", "100:00:00 (360 000 сек)"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.seconds);
        EXPECT_EQ(U(r.plain), DurationText(r.seconds, false));
        EXPECT_EQ(U(r.withSeconds), DurationText(r.seconds, true));
    }
    EXPECT_EQ(U("1:02:05 (3 725 sec)"), DurationTextEn(3725, true));
    EXPECT_EQ(U("1:02:05"), DurationTextEn(3725, false));
}

TEST(PreciseDurationText, Examples) {
    const struct {
        double seconds;
        const char* expected;
    } rows[] = {
        {0.0, "0:00:00.000 (0.000 сек)"},
        {75.5, "0:01:15.500 (75.500 сек)"},
        {3725.25, "1:02:05.250 (3 725.250 сек)"},
        {3600.0, "1:00:00.000 (3 600.000 сек)"},
        // The fraction is rounded on its own, the whole seconds are not.
        {59.9996, "0:00:59.000 (59.000 сек)"},
        {7322.125, "2:02:02.125 (7 322.125 сек)"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.seconds);
        EXPECT_EQ(U(r.expected), PreciseDurationText(r.seconds));
    }
}

TEST(DateTimeText, Examples) {
    const QDate day(2024, 3, 5);
    const struct {
        QDateTime when;
        const char* expected;
    } rows[] = {
        {QDateTime(day, QTime(0, 0)), "05.03.2024"},
        {QDateTime(day, QTime(0, 0, 0, 1)), "05.03.2024 0:00:00"},
        {QDateTime(day, QTime(0, 0, 1)), "05.03.2024 0:00:01"},
        {QDateTime(day, QTime(9, 5, 7)), "05.03.2024 9:05:07"},
        {QDateTime(day, QTime(23, 59, 59)), "05.03.2024 23:59:59"},
        {QDateTime(QDate(1999, 12, 31), QTime(12, 0)), "31.12.1999 12:00:00"},
        {QDateTime(), ""},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.expected);
        EXPECT_EQ(U(r.expected), DateTimeText(r.when));
    }
}

}  // namespace
}  // namespace tembrix

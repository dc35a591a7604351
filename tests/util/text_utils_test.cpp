// Text and time helpers: delimited fields, replace-all, digit grouping, durations and file dates.

#include <gtest/gtest.h>

#include <QDate>
#include <QDateTime>
#include <QTime>
#include <limits>
#include <ostream>
#include <utility>

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

// Overlapping delimiters each count; field 0 looks for its end only from the delimiter's length on.
TEST(FieldOf, Examples) {
    const struct {
        unsigned n;
        const char* text;
        const char* delimiter;
        const char* expected;
    } rows[] = {{1, "a;b;c", ";", "b"},    {3, "a;b;c", ";", ""},      {1, "", ";", ""},
                {0, "abc", ";", "abc"},    {0, ";a;b", ";", ""},       {1, "a;;c", ";", ""},
                {2, "a;b;", ";", ""},      {0, "a:b::c", "::", "a:b"}, {1, "Id=5\tпуть\tимя", "\t", "путь"},
                {1, "a:::b", "::", ":b"},  {2, "a:::b", "::", "b"},    {0, "a:::b", "::", "a:"},
                {0, "x::y", "::", "x::y"}, {0, "xy::z", "::", "xy"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.n << " of \"" << r.text << "\" by \"" << r.delimiter << '"');
        EXPECT_EQ(U(r.expected), FieldOf(r.n, U(r.text), U(r.delimiter)));
    }
}

// Replaced text is not scanned again; an empty pattern changes nothing.
TEST(ReplaceAll, Examples) {
    EXPECT_EQ(U("aaaaaa"), ReplaceAll(U("aaa"), U("a"), U("aa")));
    EXPECT_EQ(U("ba"), ReplaceAll(U("aaa"), U("aa"), U("b")));
    EXPECT_EQ(QString(), ReplaceAll(U("abab"), U("ab"), QString()));
    EXPECT_EQ(U("abc"), ReplaceAll(U("abc"), U("x"), U("y")));
    EXPECT_EQ(U("abc"), ReplaceAll(U("abc"), QString(), U("x")));
    EXPECT_EQ(U("файл и файл"), ReplaceAll(U("%1 и %1"), U("%1"), U("файл")));
}

// The minus sign counts as a digit of the grouping.
TEST(GroupThousands, Examples) {
    const std::pair<qint64, const char*> rows[] = {
        {0, "0"},          {999, "999"},    {1000, "1 000"},       {1234567, "1 234 567"},
        {-1234, "-1 234"}, {-999, "- 999"}, {-123456, "- 123 456"}};
    for (const auto& [value, expected] : rows) {
        SCOPED_TRACE(value);
        EXPECT_EQ(U(expected), GroupThousands(value));
    }
    EXPECT_EQ(U("9 223 372 036 854 775 807"), GroupThousands(std::numeric_limits<qint64>::max()));
    EXPECT_EQ(U("-9 223 372 036 854 775 808"), GroupThousands(std::numeric_limits<qint64>::min()));
}

TEST(DurationText, Examples) {
    const std::pair<int, const char*> rows[] = {
        {9, "0:00:09 (9 сек)"},        {60, "0:01:00 (60 сек)"},      {3599, "0:59:59 (3 599 сек)"},
        {3600, "1:00:00 (3 600 сек)"}, {3659, "1:00:59 (3 659 сек)"}, {172805, "48:00:05 (172 805 сек)"}};
    for (const auto& [seconds, withSeconds] : rows) {
        SCOPED_TRACE(seconds);
        EXPECT_EQ(U(withSeconds), DurationText(seconds, true));
        EXPECT_EQ(U(withSeconds).section(u' ', 0, 0), DurationText(seconds, false));
    }
    EXPECT_EQ(U("1:02:05 (3 725 sec)"), DurationTextEn(3725, true));
    EXPECT_EQ(U("1:02:05"), DurationTextEn(3725, false));
}

// The fraction is rounded on its own, the whole seconds are not.
TEST(PreciseDurationText, Examples) {
    EXPECT_EQ(U("0:00:00.000 (0.000 сек)"), PreciseDurationText(0.0));
    EXPECT_EQ(U("1:02:05.250 (3 725.250 сек)"), PreciseDurationText(3725.25));
    EXPECT_EQ(U("0:00:59.000 (59.000 сек)"), PreciseDurationText(59.9996));
}

TEST(DateTimeText, MidnightHasNoTime) {
    const QDate day(2024, 3, 5);
    EXPECT_EQ(U("05.03.2024"), DateTimeText(QDateTime(day, QTime(0, 0))));
    EXPECT_EQ(U("05.03.2024 0:00:00"), DateTimeText(QDateTime(day, QTime(0, 0, 0, 1))));
    EXPECT_EQ(U("05.03.2024 9:05:07"), DateTimeText(QDateTime(day, QTime(9, 5, 7))));
    EXPECT_EQ(QString(), DateTimeText(QDateTime()));
}

}  // namespace
}  // namespace tembrix

#pragma once
// String and time helpers used by the windows and workers. Stateless; safe on any thread.

#include <QDateTime>
#include <QString>

namespace tembrix {

// Field `n` (0-based) of `text` split at `delimiter` (any length). Empty when the text is empty or has
// fewer fields. Every position where the delimiter starts counts, overlapping ones included.
QString FieldOf(unsigned n, const QString& text, const QString& delimiter);

// `text` with every occurrence of `from` replaced by `to`, scanning left to right; replaced text is never
// scanned again. An empty `from` returns the text unchanged.
QString ReplaceAll(const QString& text, const QString& from, const QString& to);

// Digits in groups of three separated by one blank: 1234567 -> "1 234 567". A minus sign counts as a
// character of the number, so -123456 -> "- 123 456".
QString GroupThousands(qint64 value);

// Whole seconds as "H:MM:SS", hours not padded or limited ("0:05:12", "27:00:00"); below 0 counts as 0.
QString ClockText(qint64 seconds);

// ClockText followed by " (N сек)" with N grouped by thousands when `withSeconds` is set:
// 75 -> "0:01:15 (75 сек)".
QString DurationText(int seconds, bool withSeconds);

// The same with the English suffix " sec)".
QString DurationTextEn(int seconds, bool withSeconds);

// "H:MM:SS.fff (N.fff сек)" for fractional seconds.
QString PreciseDurationText(double seconds);

// The text stored as a file's date: "dd.MM.yyyy H:mm:ss", the time left out when it is exactly midnight.
QString DateTimeText(const QDateTime& when);

}  // namespace tembrix

#include "util/text_utils.h"

#include <algorithm>
#include <cmath>

namespace tembrix {

QString FieldOf(unsigned n, const QString& text, const QString& delimiter) {
    const qsizetype len = text.size();
    const qsizetype d = delimiter.size();
    if (len < 1) {
        return QString();
    }
    // Positions are 0-based here; `s` is the 0-based index of the delimiter that opens field n.
    qsizetype s = 0;
    if (n == 0) {
        // Field 0 exists only when the text does not open with the delimiter.
        if (d > 0 && text.startsWith(delimiter)) {
            return QString();
        }
    } else {
        unsigned count = 0;
        qsizetype p = 0;
        for (; p < len; ++p) {
            if (d > 0 && QStringView(text).mid(p).startsWith(delimiter)) {
                ++count;
                if (count == n) {
                    break;
                }
            }
        }
        if (p >= len) {
            return QString();
        }
        s = p;
    }
    const qsizetype start = n > 0 ? s + d : 0;
    qsizetype end = len;
    // The end is searched from just past the opening delimiter; for field 0 that is position d, so a
    // delimiter longer than one character that starts inside the first d characters is not seen.
    const qsizetype searchFrom = s + d;
    if (searchFrom < len && d > 0) {
        const qsizetype next = text.indexOf(delimiter, searchFrom);
        if (next >= 0) {
            end = next;
        }
    }
    if (start >= end) {
        return QString();
    }
    return text.mid(start, end - start);
}

QString ReplaceAll(const QString& text, const QString& from, const QString& to) {
    if (from.isEmpty()) {
        return text;
    }
    QString result;
    result.reserve(text.size());
    qsizetype pos = 0;
    for (;;) {
        const qsizetype hit = text.indexOf(from, pos);
        if (hit < 0) {
            result += QStringView(text).mid(pos);
            return result;
        }
        result += QStringView(text).mid(pos, hit - pos);
        result += to;
        pos = hit + from.size();
    }
}

QString GroupThousands(qint64 value) {
    const QString digits = QString::number(value);
    QString result;
    int taken = 0;
    for (qsizetype i = digits.size() - 1; i >= 0; --i) {
        result.prepend(digits[i]);
        if (++taken % 3 == 0) {
            result.prepend(u' ');
        }
    }
    return result.trimmed();
}

QString ClockText(qint64 seconds) {
    seconds = std::max<qint64>(0, seconds);
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString DurationText(int seconds, bool withSeconds) {
    QString out = ClockText(seconds);
    if (withSeconds) {
        out += QStringLiteral(" (") + GroupThousands(seconds) + QStringLiteral(" сек)");
    }
    return out;
}

QString DurationTextEn(int seconds, bool withSeconds) {
    return DurationText(seconds, false) +
           (withSeconds ? QStringLiteral(" (") + GroupThousands(seconds) + QStringLiteral(" sec)")
                        : QString());
}

QString PreciseDurationText(double x) {
    const auto whole = static_cast<qint64>(std::trunc(x));
    const QString fraction = QString::asprintf("%5.3f", x - std::trunc(x)).mid(1);
    return ClockText(whole) + fraction + QStringLiteral(" (") + GroupThousands(whole) + fraction +
           QStringLiteral(" сек)");
}

QString DateTimeText(const QDateTime& when) {
    if (!when.isValid()) {
        return QString();
    }
    if (when.time() == QTime(0, 0)) {
        return when.toString(QStringLiteral("dd.MM.yyyy"));
    }
    return when.toString(QStringLiteral("dd.MM.yyyy H:mm:ss"));
}

}  // namespace tembrix

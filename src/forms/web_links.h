#pragma once
// Every web address and mail address the program opens, in one place.

#include <QString>

namespace tembrix::links {

inline const QString kMakerSite = QStringLiteral("https://tembrix.example.org/");
inline const QString kBugReport =
    QStringLiteral("https://tembrix.example.org/bugreport?prog_id=tembrix&version=" TEMBRIX_VERSION);
inline const QString kReview = QStringLiteral("https://tembrix.example.org/reviews/tembrix");
inline const QString kSupportMail = QStringLiteral("mailto:support@tembrix.example.org");
inline const QString kContactForm = QStringLiteral("https://tembrix.example.org/contact");
inline const QString kFfmpegDownload = QStringLiteral("https://ffmpeg.org/download.html");
inline const QString kSoxDownload = QStringLiteral("https://sourceforge.net/projects/sox/files/sox/");
inline const QString kOwnFfmpegArchive = QStringLiteral("https://tembrix.example.org/download/ffmpeg.zip");
inline const QString kOwnSoxArchive =
    QStringLiteral("https://tembrix.example.org/download/sox-14.4.2-lame.zip");

}  // namespace tembrix::links

# The Debian package (make package, or cpack -G DEB in the build folder): what install.cmake installs,
# under /usr, with dependencies from the shared libraries plus the tools and plug-ins the program runs.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tembrix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Tembrix team")
set(CPACK_PACKAGE_CONTACT "The Tembrix team <support@tembrix.example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://tembrix.example.org/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# ffmpeg and ffprobe, SoX with every format, the GStreamer plug-ins that play the help clips (MPEG-1
# video through the multimedia back end), and Qt's own Russian translations of its standard dialogs.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "ffmpeg, sox, libsox-fmt-all, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, gstreamer1.0-libav, qt6-translations-l10n")
# The guide and the web links open in the desktop's browser.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "catalogue of audio fingerprints of audio and video files")
# CPack puts the summary on the Description line and indents these lines below it.
set(CPACK_PACKAGE_DESCRIPTION "Tembrix indexes audio and video files: for every audio track it stores the
file's MD5 and SHA-256 digests, an amplitude envelope with one value per
10 ms (taken with FFmpeg and SoX) and the tags as one row of an SQLite
database, which a search program opens to recognise audio.

It also checks, merges, compacts and browses these databases, and shows
their statistics. The desktop program has a Russian interface; the
command-line front end tembrix-cli does the same work without windows.")

include(CPack)

#!/usr/bin/env bash
# Installs the build folder into a temporary DESTDIR under /usr and uses what was installed.
# Guards against:
#  - links in bin/ that do not reach the program folder, or a program that looks for its folder beside the
#    link instead of beside its real executable (the tag reader would not be found: the row's tag text,
#    "Title: …", would be missing);
#  - install rules that leave out what the desktop program needs at run time (the menu entry's program
#    and icon, the guide that F1 opens);
#  - a menu entry or metainfo file that the desktop's own validators reject;
#  - --version and the package disagreeing on the version.
# Usage: install_test.sh BUILD_DIR CMAKE VERSION
set -euo pipefail
build=$1 cmake=$2 version=$3

fail() { echo "FAIL: $*" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
DESTDIR=$work/root "$cmake" --install "$build" --prefix /usr >/dev/null
usr=$work/root/usr

# The command-line front end, started by name through PATH, i.e. through its link in bin/.
export PATH="$usr/bin:$PATH" HOME="$work/home" XDG_DATA_HOME="$work/home/.local/share"
mkdir -p "$HOME" "$work/wd"
[ "$(command -v tembrix-cli)" = "$usr/bin/tembrix-cli" ] || fail "tembrix-cli is not installed in bin/"
[ "$(tembrix-cli --version)" = "tembrix-cli $version" ] || fail "tembrix-cli --version: $(tembrix-cli --version)"

# A 61 s tone with a title tag, indexed with SoX and ffmpeg from PATH.
cd "$work"
sox -n -r 44100 -c 2 tone.wav synth 61 sine 440
ffmpeg -nostdin -loglevel error -i tone.wav -metadata title=InstallProbe tone.mp3
tembrix-cli create probe.db >/dev/null
tembrix-cli index --db probe.db --work-dir "$work/wd" --threads 1 tone.mp3 >index.out 2>&1 ||
    fail "index: $(cat index.out)"
shown=$(tembrix-cli show --db probe.db 1)
grep -q '^Продолжительность=0:01:01 (61 сек)$' <<<"$shown" || fail "no row for the tone: $shown"
grep -q '^Title: InstallProbe$' <<<"$shown" || fail "the installed tag reader was not used: $shown"

# The desktop side, when the desktop program is built.
if [ -e "$usr/lib/tembrix/tembrix" ]; then
    desktop=$usr/share/applications/org.example.tembrix.desktop
    metainfo=$usr/share/metainfo/org.example.tembrix.metainfo.xml
    exec_name=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")
    icon=$(sed -n 's/^Icon=//p' "$desktop")
    [ -x "$usr/bin/$exec_name" ] || fail "the menu entry's program $exec_name is not in bin/"
    [ -f "$usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "no scalable icon $icon"
    [ -f "$usr/share/icons/hicolor/48x48/apps/$icon.png" ] || fail "no 48x48 icon $icon"
    [ -f "$usr/lib/tembrix/content/guide/index.html" ] || fail "the guide is not in the program folder"
    grep -q "<release version=\"$version\"" "$metainfo" || fail "metainfo does not carry version $version"
    desktop-file-validate "$desktop" || fail "desktop-file-validate rejects the menu entry"
    appstreamcli validate --no-net "$metainfo" >validate.out || fail "appstreamcli: $(cat validate.out)"
fi
echo "installed into DESTDIR and indexed a file with the installed tembrix-cli"

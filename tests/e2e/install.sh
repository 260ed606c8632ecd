#!/usr/bin/env bash
# The installed layout: the program, its adapters where it looks for them, a menu
# entry that desktop-file-validate accepts, and the icon it names.
# Usage: install.sh BUILD_DIR
set -u
build=$1
command -v desktop-file-validate >/dev/null || { echo "SKIPPED: desktop-file-validate is not installed"; exit 77; }
dest=$(mktemp -d "${TMPDIR:-/tmp}/vell-install.XXXXXX")
trap 'rm -rf "$dest"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
DESTDIR=$dest cmake --install "$build" --prefix /usr >"$dest.log" 2>&1 || { cat "$dest.log"; fail "cmake --install"; }
rm -f "$dest.log"
u=$dest/usr
[ -x "$u/bin/vell" ] || fail "no bin/vell"
for a in shellwin scrib glance vell-xdg; do
    [ -x "$u/libexec/vell/$a" ] || fail "no libexec/vell/$a"
done
desktop=$u/share/applications/vell.desktop
desktop-file-validate "$desktop" || fail "desktop-file-validate"
grep -qx 'Exec=vell %f' "$desktop" || fail "Exec line"
grep -qx 'MimeType=inode/directory;' "$desktop" || fail "MimeType line"
icon=$(sed -n 's/^Icon=//p' "$desktop")
[ -f "$u/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "icon $icon.svg"
echo "installed layout ok"

#!/usr/bin/env bash
# Open With: an application installed for text/plain is offered by the dialog, gets a
# name with blanks, quotes and $(...) whole, becomes the default gio reports with "Use
# as default", then comes first in the context menu's Open With and starts on Return.
# Usage: openwith.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need gio update-desktop-database
start_x
export XDG_DATA_HOME=$work/home/.local/share XDG_CONFIG_HOME=$work/home/.config
apps=$XDG_DATA_HOME/applications
d=$work/d
mkdir -p "$d" "$apps"
# No suffix: the type comes from the contents.
name="it's \"a  b\" \$(touch pwned) \`touch pwned\`;"
echo hello >"$d/$name"
printf '#!/bin/sh\nprintf "%%s\\0" "$@" >"%s/got.$$.t" && mv "%s/got.$$.t" "%s/got.$$"\n' \
    "$work" "$work" "$work" >"$work/rec.sh"
chmod +x "$work/rec.sh"
printf '[Desktop Entry]\nType=Application\nName=Vell Test Recorder\nIcon=accessories-text-editor\nExec=%s %%f\nMimeType=text/plain;\n' \
    "$work/rec.sh" >"$apps/vell-test-rec.desktop"
update-desktop-database "$apps" || fail "update-desktop-database failed"
printf '%s\0' "$d/$name" >"$work/want"
start_vell "$vell" "$d"

# launched N: until the application has run N times, each time with the file alone.
launched() {
    local n
    for _ in $(seq 50); do n=$(ls "$work" | grep -c '^got\.[0-9]*$'); [ "$n" -ge "$1" ] && break; sleep 0.2; done
    [ "$n" -eq "$1" ] || fail "the application ran $n times, not $1"
    for f in "$work"/got.*[0-9]; do cmp -s "$f" "$work/want" || fail "it got $(tr '\0' '|' <"$f")"; done
    [ -e "$d/pwned" ] || [ -e "$work/pwned" ] && fail "a file name ran a command"
}

# The dialog lists the application; typed into the list its name chooses it.
pick it
keys key shift+Return
dlg=$(dialog) || exit 1
xdotool windowactivate --sync "$dlg" >/dev/null 2>&1
xdotool sleep 0.3 type --delay 50 Vell key alt+u sleep 0.5
shot open_with "$dlg"
xdotool key Return
idle
launched 1
gio mime text/plain 2>&1 | grep -qF 'Default application for “text/plain”: vell-test-rec.desktop' ||
    fail "gio does not name the default: $(gio mime text/plain 2>&1)"
echo "dialog: the chosen application got the name whole and is the default gio reports"

# The context menu's Open With has the default first.
pick it
keys key Menu w
sleep 0.5
shot context_open_with root
keys key Return
launched 2
echo "context menu: Open With started the default"

# Return on a file that no association takes starts the type's default.
pick it
keys key Return
launched 3
echo "open: Return started the type's default application"

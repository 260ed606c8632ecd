#!/usr/bin/env bash
# The Trash, shared with other desktop programs: Delete moves a file there and Ctrl+Z
# brings it back byte for byte; what the program trashed is listed by gio, and what gio
# trashed is listed in Go > Trash and restored from there. Shift+Delete deletes for good.
# gio's Trash is served over D-Bus: the case starts a session bus of its own, whose
# services see the case's HOME.
# Usage: trash.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need gio dbus-daemon
start_x
unset XDG_DATA_HOME
export HOME=$work/home
dbus-daemon --session --fork --print-address=3 --print-pid=4 3>"$work/bus.address" 4>"$work/bus.pid" ||
    skip "no D-Bus session bus could be started"
pids+=($(cat "$work/bus.pid"))
DBUS_SESSION_BUS_ADDRESS=$(cat "$work/bus.address")
export DBUS_SESSION_BUS_ADDRESS
trash=$work/home/.local/share/Trash
d=$work/d
mkdir -p "$d"
head -c 300000 /dev/urandom >"$d/keep.bin"
cp "$d/keep.bin" "$work/keep.orig"
echo other >"$d/other.txt"
echo gone >"$d/gone.txt"
start_vell "$vell" "$d"
gio_list() { gio trash --list 2>/dev/null; }

# Del moves the file into the Trash without a question; gio sees it there.
pick keep
keys key Delete
wait_gone "$d/keep.bin"
[ -f "$trash/files/keep.bin" ] && [ -f "$trash/info/keep.bin.trashinfo" ] || fail "keep.bin is not in the Trash"
gio_list | grep -qxF "trash:///keep.bin	$d/keep.bin" || fail "gio does not list keep.bin: $(gio_list)"
echo "delete: keep.bin went to the Trash, and gio lists it"

# Ctrl+Z brings it back, byte for byte.
keys key ctrl+z
wait_for "$d/keep.bin"
cmp -s "$d/keep.bin" "$work/keep.orig" || fail "the restored keep.bin differs"
[ -e "$trash/info/keep.bin.trashinfo" ] && fail "keep.bin's info file stayed in the Trash"
echo "undo: keep.bin is back, byte for byte"

# What gio trashed is listed in Go > Trash and restored from there.
gio trash "$d/other.txt" || fail "gio could not trash other.txt"
[ -e "$d/other.txt" ] && fail "gio left other.txt"
keys key alt+g t
view=$(dialog) || exit 1
sleep 1
shot trash_view "$view"
xdotool windowactivate --sync "$view" >/dev/null 2>&1
xdotool key --window "$view" Home space
sleep 0.3
xdotool key --window "$view" alt+r
for _ in $(seq 50); do [ -e "$d/other.txt" ] && break; sleep 0.2; done
[ "$(cat "$d/other.txt" 2>/dev/null)" = other ] || fail "other.txt did not come back as it was"
gio_list | grep -q other.txt && fail "gio still lists other.txt: $(gio_list)"
xdotool windowactivate --sync "$view" key Escape
idle
echo "trash view: other.txt, trashed by gio, was listed and restored"

# Shift+Delete asks and deletes for good: nothing goes to the Trash.
pick gone
keys key shift+Delete
answer Return
wait_gone "$d/gone.txt"
[ -e "$trash/files/gone.txt" ] && fail "Shift+Delete put gone.txt in the Trash"
echo "shift+delete: gone.txt deleted for good"

#!/usr/bin/env bash
# Keys, menus and drag a user can trust: a key works whatever its item showed when the
# menu last opened, a menu closed by Escape gives the keys back to the list, Bookmarks
# opens with nothing ready to remove, Return and a click choose a bookmark that has
# subfolders in Copy To, the keypad's + - . act, the cursor stays in place after Up,
# Back and a delete, a typed path that exists wins over the history's proposal, the
# list follows what a shell changes in its directory, the Size header sorts by size
# both ways, and the selection dragged onto a folder row of the same list moves there.
# Usage: keys.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need xclip
start_x
d=$work/d
mkdir -p "$d/docs" "$d/deep/inner" "$work/home/.ke/vell"
touch "$d/docs/readme" "$d/drag1" "$d/drag2" "$d/small" "$d/clicked" "$d/del_a" "$d/del_b"
mkdir "$d/un" "$d/unused"
touch "$d/un/here"
mkdir "$d/sizes"
head -c 3000 /dev/zero >"$d/sizes/l1"; head -c 3000 /dev/zero >"$d/sizes/l2"
head -c 200 /dev/zero >"$d/sizes/m"; head -c 10 /dev/zero >"$d/sizes/s"
printf '#!/bin/sh\ntouch %s/ran\n' "$work" >"$d/run.sh"
chmod +x "$d/run.sh"
printf '%s\n%s\n' "$d" "$d/deep" >"$work/home/.ke/vell/hotlist.001"
export QT_LOGGING_RULES=vell.layout.info=true
start_vell "$vell" "$d"

# The Edit menu opened with nothing selected dims Copy; its key works once a file is.
keys key ctrl+u
keys key alt+e
keys key Escape Escape
pick sm
keys key ctrl+c
[ "$(clip_out text/uri-list | tr -d '\r')" = "file://$d/small" ] ||
    fail "Ctrl+C did nothing after the Edit menu had shown Copy dimmed"
echo "keys: Ctrl+C copies after its item was dimmed"

# One Escape closes a menu and the next letters go to the list, not to the menu bar.
pick run
keys key alt+g
keys key Escape
sleep 1.6  # past the time-out that would add these letters to the search for "run"
keys type --delay 50 docs
keys key Return
[ -e "$work/ran" ] && fail "Return after a closed menu ran run.sh"
shows "$d/docs"
keys key BackSpace
keys key alt+b
keys key Return Escape
echo "menus: keys go back to the list after Escape"

# Copy To: Return chooses a bookmark that has subfolders, then the question.
pick sm
keys key Menu c Down Down Return
answer Return
wait_for "$d/deep/small"
echo "copy to: Return chose a bookmark with subfolders"

# The same with the mouse: the pointer rests on the entry, so its submenu opens, and
# the click still chooses the entry (the last row of the Copy To submenu).
pick cl
keys key Menu c
sub=$(for w in $(xdotool search --all --onlyvisible --pid "$vpid" --name ''); do
    [ "$(xdotool getwindowname "$w")" = "File Manager" ] || echo "$w"; done | sort -n | tail -1)
[ -n "$sub" ] || fail "the Copy To submenu was not found"
eval "$(xdotool getwindowgeometry --shell "$sub")"
xdotool mousemove $((X + 100)) $((Y + HEIGHT - 12))
sleep 1
xdotool click 1
answer Return
wait_for "$d/deep/clicked"
echo "copy to: a click chose a bookmark with subfolders"

# The keypad, and where the cursor goes: "+" enters the current folder, "-" comes back
# to it, so do Return and Back, and "." trashes an entry and moves on to the next.
current() { keys key ctrl+c; clip_out text/uri-list | tr -d '\r'; }
pick deep
keys key KP_Add
shows "$d/deep"
keys key KP_Subtract
[ "$(current)" = "file://$d/deep" ] || fail "after keypad -, the cursor is not on deep"
keys key Return
keys key alt+Left
[ "$(current)" = "file://$d/deep" ] || fail "after Back, the cursor is not on deep"
pick del_a
keys key KP_Decimal
wait_gone "$d/del_a"
[ "$(current)" = "file://$d/del_b" ] || fail "after the delete, the cursor is not on the next entry"
echo "keypad: + - . act; the cursor stays after Up, Back and a delete"

# A typed path that exists is entered, although the history proposes a longer one.
goto "$d/unused"
keys key alt+p ctrl+a
keys type --delay 10 "$d/un"
keys key Return
shows "$d/un"
echo "path bar: Return enters the typed path, not the proposal"

# The list follows what a shell does in its directory, the selection kept.
pick here
touch "$d/un/made"
mkdir "$d/un/folder"
touch "$d/un/gone" && rm "$d/un/gone"
sleep 1
[ "$(current)" = "file://$d/un/here" ] || fail "the selection did not stay on here: $(current)"
mv "$d/un/here" "$d/un/renamed"
sleep 1
got=$(listing | sed 's|.*/||' | tr '\n' ' ')
[ "$got" = "folder made renamed " ] || fail "the list shows '$got' after the shell's changes"
goto "$d"
echo "live list: what a shell made, renamed and deleted shows within a second"

# A press on a selected row starts a drag of the whole selection; held over the docs
# row of the same list and dropped, it moves both files there.
from=$(row drag1)
to=$(row docs)
[ -n "$from" ] && [ -n "$to" ] || fail "rows not found"
keys key ctrl+s
answer Return 'drag*'
eval "$(xdotool getwindowgeometry --shell "$win")"
x=$((WIDTH - 60))
xdotool mousemove --window "$win" "$x" "$from" mousedown 1
for step in 1 2 3 4 5 6; do xdotool mousemove --window "$win" "$x" $((from + (to - from) * step / 6)); sleep 0.1; done
sleep 1.2
xdotool mousemove --window "$win" $((x - 2)) "$to"
sleep 0.2
xdotool mouseup 1
wait_for "$d/docs/drag2"
wait_for "$d/docs/drag1"
[ -e "$d/drag1" ] || [ -e "$d/drag2" ] && fail "the dragged files are still in the list's directory"
echo "drag: the selection moved onto the docs row"

# The Size header sorts by size, larger first and then smaller first, ties by name.
goto "$d/sizes"
read -r x y < <(sed -n 's/.*columns:.*fh_size \([0-9]*\) \([0-9]*\) \([0-9]*\).*/\1 \2 \3/p' "$work/vell.log" |
    tail -1 | awk '{ print $1 + int($3 / 2), $2 }')
[ -n "$x" ] || fail "the log does not say where the Size column is"
names() { listing | sed 's|.*/||; s/l[12]/l/' | tr '\n' ' '; }  # l1 and l2 tie
keys mousemove --window "$win" "$x" "$y" click 1
first=$(names)
keys mousemove --window "$win" "$x" "$y" click 1
second=$(names)
case "$first/$second" in
"l l m s /s m l l " | "s m l l /l l m s ") ;;
*) fail "Size sorted as '$first' then '$second'" ;;
esac
goto "$d"
echo "sort: both directions of Size are by size"

# Exit: the bookmark that Return could have removed is still there.
keys key alt+x
for _ in $(seq 50); do kill -0 "$vpid" 2>/dev/null || break; sleep 0.2; done
grep -qx "$d" "$work/home/.ke/vell/hotlist.001" || fail "Return in Bookmarks removed the bookmark"
echo "bookmarks: Return on opening removed nothing"

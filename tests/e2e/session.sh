#!/usr/bin/env bash
# One user's session in one window: start-up, moving about with keys, toolbar and path
# bar, type-ahead, the context menus, new folder and file, delete, an association, Copy
# To a bookmark, Open In Window, the dialogs, and Exit writing the settings.
# Usage: session.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need xclip
start_x
d=$work/d
mkdir -p "$d/sub/deeper" "$d/mark" "$work/bin" "$work/home/.ke/vell"
echo one >"$d/alpha.txt"; echo two >"$d/beta.txt"; echo rec >"$d/tune.rec"; touch "$d/sub/inside" "$d/sub/deeper/bottom"
# An association whose command records how it was called, and a bookmark.
printf '#\n*.rec\trecord\t\t\n' >"$work/home/.ke/vell/associate.003"
printf '#!/bin/sh\necho "$PWD|$*" >>%s/recorded\n' "$work" >"$work/bin/record"
chmod +x "$work/bin/record"
printf '%s\n' "$d/mark" >"$work/home/.ke/vell/hotlist.001"
export PATH=$work/bin:$PATH QT_LOGGING_RULES=vell.menu.info=true
start_vell "$vell" "$d"
shot main_window

# Type-ahead picks the first name that begins with what was typed.
pick be
keys key ctrl+c
[ "$(clip_out text/uri-list | tr -d '\r')" = "file://$d/beta.txt" ] || fail "type-ahead did not select beta.txt"
echo "type-ahead: selected beta.txt"

# The context menu, opened with the Menu key, for a file with an association and
# then for a directory (beta.txt on the clipboard adds Paste).
menu_items() { keys key Menu; sleep 0.3; sed -n 's/.*context menu: //p' "$work/vell.log" | tail -1; }
pick tu
got=$(menu_items)
shot context_menu root
keys key Escape
[ "$got" = "&New|&Open|Open &With|-|&Print|-|Cu&t|Cop&y|P&aste|&Delete|Delete Permanent&ly|&Rename|&Symlink|-|&Copy To|&Move To|-|&Inspect|-|Find &Files..." ] ||
    fail "file menu: $got"
pick sub
got=$(menu_items)
keys key Escape
[ "$got" = "&New|&Open|Open In &Window|-|Cu&t|Cop&y|P&aste|&Delete|Delete Permanent&ly|&Rename|&Symlink|-|&Copy To|&Move To|-|&Inspect|-|Find &Files..." ] ||
    fail "directory menu: $got"
echo "context menus: a file's and a directory's items"

# Moving about: Return into a directory, Backspace up, Alt+Left and Alt+Right through the
# history, the toolbar's Up, and a path typed into the path bar.
pick sub
keys key Return
shows "$d/sub"
keys key BackSpace
shows "$d"
keys key alt+Left
shows "$d/sub"
keys key alt+Right
shows "$d"
pick sub
keys key Return
keys mousemove --window "$win" 18 40 click 1
shows "$d"
goto "$d/sub/deeper"
shows "$d/sub/deeper"
echo "navigation: keys, history, toolbar and path bar"

# F4 and F3 make a folder and a file; Shift+Delete asks first, and Escape keeps the file.
keys key F4
answer Return 'made dir'
keys key F3
answer Return 'made file'
wait_for "$d/sub/deeper/made dir"
wait_for "$d/sub/deeper/made file"
[ -d "$d/sub/deeper/made dir" ] && [ -f "$d/sub/deeper/made file" ] || fail "F4/F3 made the wrong kinds"
pick "made f"
keys key shift+Delete
answer Escape
sleep 0.5
[ -e "$d/sub/deeper/made file" ] || fail "deleted although the question was cancelled"
keys key shift+Delete
answer Return
wait_gone "$d/sub/deeper/made file"
echo "new folder, new file, delete for good after its question"

# Return on a file with an association runs its command in the file's directory.
goto "$d"
pick tu
keys key Return
wait_for "$work/recorded"
[ "$(cat "$work/recorded")" = "$d|tune.rec" ] || fail "the association ran as: $(cat "$work/recorded")"
echo "association: ran its command on tune.rec"

# Copy To the bookmark, confirmed.
pick al
keys key Menu c Down Return
answer Return
wait_for "$d/mark/alpha.txt"
echo "copy to a bookmark: alpha.txt copied into mark"

# Open In Window starts another instance on the directory.
pick sub
keys key ctrl+Return
for _ in $(seq 50); do
    other=$(xdotool search --onlyvisible --name '^File Manager$' 2>/dev/null | grep -vx "$win" | head -1)
    [ -n "$other" ] && break
    sleep 0.2
done
[ -n "$other" ] || fail "Open In Window showed no second window"
opid=$(xdotool getwindowpid "$other")
pids+=("$opid")
arg=$(tr '\0' '\n' <"/proc/$opid/cmdline" | sed -n 2p)
[ "$arg" = "$d/sub" ] || fail "the second instance was started on $arg"
kill "$opid"
echo "open in window: a second instance on sub"

# The dialogs, for the record: Properties and Preferences.
pick be
keys key F9
dialog >/dev/null; sleep 0.5; shot properties "$(dialog)"
answer Escape
keys key F10
dialog >/dev/null; sleep 0.5; shot preferences "$(dialog)"
answer Escape

# Exit writes the settings, the histories and the bookmarks.
keys key alt+x
for _ in $(seq 50); do kill -0 "$vpid" 2>/dev/null || break; sleep 0.2; done
kill -0 "$vpid" 2>/dev/null && fail "Exit did not end the program"
conf=$work/home/.ke/vell
[ "$(stat -c %s "$conf/config.003")" -ge 5692 ] || fail "config.003 was not written whole"
grep -qx "$d/sub/deeper" "$conf/goto.001" || fail "goto.001 lacks the typed path"
grep -qx "$d/mark" "$conf/hotlist.001" || fail "hotlist.001 lost the bookmark"
echo "exit: config.003, goto.001 and hotlist.001 written"

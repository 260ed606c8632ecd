#!/usr/bin/env bash
# Find Files: Ctrl+F opens the window, a pattern and Return search the tree, and the
# results read through select-all and copy are the right files (a name that is not
# UTF-8 among them); Open Containing Folder shows the entry selected in the main
# window; a result deleted from the list goes to the Trash and Ctrl+Z in the main
# window brings it back.
# Usage: find.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need xclip
start_x
d=$work/d
mkdir -p "$d/a/b" "$d/c"
echo one >"$d/a/one.log"
echo two >"$d/a/b/two.log"
echo three >"$d/c/three.txt"
odd=$(printf 'caf\351.log')
echo odd >"$d/c/$odd"
start_vell "$vell" "$d"
trash=$work/home/.local/share/Trash

# to_find KEYS...: real input to the Find Files window.
to_find() {
    xdotool windowactivate --sync "$fw" >/dev/null 2>&1
    for _ in $(seq 40); do [ "$(xdotool getactivewindow 2>/dev/null)" = "$fw" ] && break; sleep 0.05; done
    sleep 0.3
    xdotool "$@"
    sleep 0.5
}

keys key ctrl+f
fw=$(dialog) || exit 1
[ "$(xdotool getwindowname "$fw")" = "Find Files" ] || fail "Ctrl+F showed '$(xdotool getwindowname "$fw")'"
to_find type --delay 30 '*.log'
to_find key Return
sleep 1
shot find_window "$fw"
to_find key alt+r ctrl+a ctrl+c
got=$(clip_out text/uri-list | tr -d '\r' | sort)
want=$(printf '%s\n' "file://$d/a/b/two.log" "file://$d/a/one.log" "file://$d/c/caf%E9.log" | sort)
[ "$got" = "$want" ] || fail "the results are
$got
not
$want"
echo "search: *.log found the three files, the one named in Latin-1 among them"

# Open Containing Folder (Ctrl+Return): the main window shows a/b with two.log selected.
to_find type --delay 50 two
to_find key ctrl+Return
sleep 0.5
keys key ctrl+c
[ "$(clip_out text/uri-list | tr -d '\r')" = "file://$d/a/b/two.log" ] ||
    fail "the main window's selection is '$(clip_out text/uri-list)', not two.log in a/b"
echo "open containing folder: a/b is shown with two.log selected"

# Delete in the results moves one.log to the Trash; Ctrl+Z in the main window brings it back.
to_find type --delay 50 one
to_find key Delete
for _ in $(seq 50); do [ -e "$d/a/one.log" ] || break; sleep 0.2; done
[ -e "$d/a/one.log" ] && fail "one.log was not deleted"
[ -f "$trash/files/one.log" ] || fail "one.log is not in the Trash"
to_find key ctrl+a ctrl+c
clip_out text/uri-list | grep -q one.log && fail "one.log is still in the results"
sleep 1
keys key ctrl+z
for _ in $(seq 50); do [ -e "$d/a/one.log" ] && break; sleep 0.2; done
[ "$(cat "$d/a/one.log" 2>/dev/null)" = one ] || fail "Ctrl+Z did not bring one.log back"
echo "delete: one.log went to the Trash from the results, and Ctrl+Z brought it back"

to_find key Escape
for _ in $(seq 30); do xwininfo -id "$fw" 2>/dev/null | grep -q IsViewable || break; sleep 0.1; done
xwininfo -id "$fw" 2>/dev/null | grep -q IsViewable && fail "Escape did not close Find Files"
kill -0 "$vpid" || fail "vell ended"
echo "find: passed"

#!/usr/bin/env bash
# The X clipboard between vell and another program (xclip): files copied here are read
# back as URIs with their exact bytes, and files the other program copied or cut are
# copied or moved by Paste.
# Usage: clipboard.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need xclip
start_x
mkdir -p "$work/dir" "$work/from"
touch "$work/dir/a b#c" "$work/dir/$(printf 'caf\xe9')" "$work/dir/zeta" "$work/from/moved" "$work/from/copied"
start_vell "$vell" "$work/dir"

# Type-ahead selects "a b#c", Shift+Down adds "caf\xe9" below it.
pick "a b"
keys key shift+Down ctrl+c
want=$(printf 'file://%s/dir/a%%20b%%23c\r\nfile://%s/dir/caf%%E9\r\n' "$work" "$work" | od -An -c)
got=$(clip_out text/uri-list | od -An -c)
[ "$got" = "$want" ] || fail "text/uri-list after Copy: $got"
echo "copy: text/uri-list carries the exact bytes"

printf 'cut\nfile://%s/from/moved' "$work" | xclip -selection clipboard -t x-special/gnome-copied-files -i
sleep 0.3
keys key ctrl+v
wait_for "$work/dir/moved"
[ -e "$work/from/moved" ] && fail "a cut from another program was copied, not moved"
echo "paste: x-special/gnome-copied-files cut moved the file"

printf 'file://%s/from/copied\r\n' "$work" | xclip -selection clipboard -t text/uri-list -i
sleep 0.3
keys key ctrl+v
wait_for "$work/dir/copied"
[ -e "$work/from/copied" ] || fail "a text/uri-list was moved, not copied"
echo "paste: text/uri-list copied the file"

pick zeta
keys key ctrl+x
[ "$(clip_out x-special/gnome-copied-files)" = "$(printf 'cut\nfile://%s/dir/zeta' "$work")" ] || fail "Cut is not seen as a cut"
echo "cut: x-special/gnome-copied-files says cut"

# A second instance pastes that cut: the move runs there and empties the cut entry, and
# the first instance, told when the operation ends, no longer lists the file.
first=$win first_pid=$vpid
mkdir -p "$work/second"
start_vell "$vell" "$work/second"
keys key ctrl+v
wait_for "$work/second/zeta"
[ -e "$work/dir/zeta" ] && fail "the cut file is still in the first instance's directory"
sleep 0.5
[ "$(clip_out application/x-vell-mvfiles | wc -c)" -eq 0 ] || fail "the cut entry is not empty after the move"
echo "paste in a second instance: moved, and the cut entry ended empty"
second=$win second_pid=$vpid
win=$first vpid=$first_pid
listing | grep -q zeta && fail "the first instance was not refreshed after the move"
echo "refresh: the first instance no longer lists zeta"

# Copy in one instance, paste in the other.
pick copied
keys key ctrl+c
win=$second vpid=$second_pid
keys key ctrl+v
wait_for "$work/second/copied"
[ -e "$work/dir/copied" ] || fail "Copy and Paste between instances moved the file"
echo "copy in one instance, paste in the other: copied"

#!/usr/bin/env bash
# Operations between two instances: drag and drop (a move, and a copy with Ctrl), a copy
# whose conflict is answered in the question box, and two long copies in the operations
# window, paused and cancelled there. The second instance's copies are slowed down by
# strace (40 ms per megabyte) so that they last long enough to be seen and stopped.
# Usage: operations.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need xclip strace
strace -f -o /dev/null true 2>/dev/null || skip "strace cannot trace here"
start_x
src=$work/src dst=$work/dst
mkdir -p "$src" "$dst/target" "$dst/one" "$dst/two"
echo drag >"$src/dragme"; echo ctrl >"$src/ctrlme"; echo new >"$src/clash"; echo old >"$dst/clash"
head -c 256M /dev/zero >"$src/long"
start_vell "$vell" "$src"
a=$win apid=$vpid
# Side by side: a first start sizes the window to its columns, which would overlap.
xdotool windowmove "$a" 0 0 windowsize "$a" 630 600
start_vell "$vell" "$dst" strace -f -o /dev/null -e trace=copy_file_range -e inject=copy_file_range:delay_exit=40000
b=$win bpid=$vpid
xdotool windowmove "$b" 640 0 windowsize "$b" 630 600
sleep 1
as() { eval "win=\$$1 vpid=\$${1}pid"; }

ops_window() {
    for _ in $(seq 50); do
        ops=$(xdotool search --all --onlyvisible --pid "$vpid" --name '^VELL: File Operations$' | head -1)
        [ -n "$ops" ] && return 0
        sleep 0.1
    done
    fail "no operations window"
}

# A copy onto a file of the same name asks; Overwrite replaces it.
as a
pick clash
keys key ctrl+c
as b
keys key ctrl+v
ops_window
answer alt+o
for _ in $(seq 25); do [ "$(cat "$dst/clash")" = new ] && break; sleep 0.2; done
[ "$(cat "$dst/clash")" = new ] || fail "Overwrite in the question box did not replace clash"
idle
ops=""
echo "conflict: the question box's Overwrite replaced clash"

# drag FROM_Y TO_Y [ctrl]: from $a's row at FROM_Y onto $b's row at TO_Y.
drag() {
    eval "$(xdotool getwindowgeometry --shell "$a")"
    local x=$((WIDTH - 60))
    xdotool mousemove --window "$a" "$x" "$1" mousedown 1
    for step in 1 2 3 4 5 6; do xdotool mousemove --window "$a" $((x - 8 * step)) "$1"; sleep 0.05; done
    [ -n "${3:-}" ] && xdotool keydown ctrl
    for step in 1 2 3; do xdotool mousemove --window "$b" $((x - step)) "$2"; sleep 0.2; done
    xdotool mouseup 1
    [ -n "${3:-}" ] && xdotool keyup ctrl
}
as b
target=$(row target)
[ -n "$target" ] || fail "the target row was not found"
as a
from=$(row dragme)
[ -n "$target" ] && [ -n "$from" ] || fail "rows not found: target=$target dragme=$from"
drag "$from" "$target"
wait_for "$dst/target/dragme"
[ -e "$src/dragme" ] && fail "the dragged file was copied, not moved"
echo "drag onto a directory of the other instance: moved"
as b
target=$(row target)
[ -n "$target" ] || fail "the target row was not found"
as a
from=$(row ctrlme)
drag "$from" "$target" ctrl
wait_for "$dst/target/ctrlme"
[ -e "$src/ctrlme" ] || fail "the file dragged with Ctrl was moved, not copied"
echo "drag with Ctrl: copied"

# Two long copies at once, each paused and then cancelled in the operations window.
as a
pick long
keys key ctrl+c
[ "$(clip_out text/uri-list | tr -d '\r')" = "file://$src/long" ] || fail "type-ahead did not select long after the drags"
as b
goto "$dst/one"
keys key ctrl+v
goto "$dst/two"
keys key ctrl+v
ops_window
sleep 1
shot operations_window "$ops"
# Its slots are stacked, the newest on top, each with Cancel at its top right and
# Pause/Continue below it.
click() {  # SLOT (0 on top) SLOTS cancel|pause
    eval "$(xdotool getwindowgeometry --shell "$ops")"
    local y=$((HEIGHT / $2 * $1))
    [ "$3" = cancel ] && y=$((y + 15)) || y=$((y + 55))
    xdotool mousemove --window "$ops" $((WIDTH - 58)) "$y" click 1
    [ "$3" = cancel ] && answer Return  # "Do you want to terminate this operation ?"
    sleep 0.5
}
size() { stat -c %s "$1" 2>/dev/null || echo gone; }
click 0 2 pause
click 1 2 pause
one=$(size "$dst/one/long") two=$(size "$dst/two/long")
sleep 1
[ "$(size "$dst/one/long")/$(size "$dst/two/long")" = "$one/$two" ] || fail "a paused copy went on"
shot operations_paused "$ops"
echo "pause: both copies stand still"
click 0 2 cancel
for _ in $(seq 25); do [ "$(xdotool getwindowgeometry --shell "$ops" | sed -n 's/HEIGHT=//p')" -lt 150 ] && break; sleep 0.2; done
[ "$(xdotool getwindowgeometry --shell "$ops" | sed -n 's/HEIGHT=//p')" -lt 150 ] || fail "the cancelled copy kept its slot"
click 0 1 pause
sleep 1
[ "$(size "$dst/one/long")" != "$one" ] || fail "Continue did not resume the copy"
click 0 1 cancel
idle
[ "$(size "$src/long")" = $((256 << 20)) ] || fail "the source changed"
echo "cancel: each copy ended from its own slot, continue resumed the other; two=$(size "$dst/two/long") one=$(size "$dst/one/long")"

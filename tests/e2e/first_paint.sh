#!/usr/bin/env bash
# The first window on a large directory must be drawn without any help from the user.
# Starts a private Xvfb (with openbox when installed), runs vell on 20,000 files, grabs the
# window once the program is idle and fails when the image is a single colour.
# Usage: first_paint.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/vell-paint.XXXXXX")
pids=()
cleanup() { kill "${pids[@]}" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT
skip() { echo "SKIPPED: $*"; exit 77; }

for tool in Xvfb xdotool import convert; do
    command -v "$tool" >/dev/null || skip "$tool is not installed"
done
for n in $(seq 90 130); do
    [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] || { disp=":$n"; break; }
done
[ -n "${disp:-}" ] || skip "no free X display number"
Xvfb "$disp" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
pids+=($!)
export DISPLAY=$disp
for _ in $(seq 50); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done
xdotool getmouselocation >/dev/null 2>&1 || skip "Xvfb did not start on $disp"
if command -v openbox >/dev/null; then openbox >/dev/null 2>&1 & pids+=($!); fi

mkdir -p "$work/home/.ke" "$work/big"
(cd "$work/big" && seq -f "file%06g.txt" 1 20000 | xargs touch)
HOME="$work/home" QT_QPA_PLATFORM=xcb "$vell" "$work/big" >"$work/vell.log" 2>&1 &
vpid=$!
pids+=($vpid)

# Idle: the process's CPU time stops growing for half a second after its window is mapped.
win="" last=-1 still=0
for _ in $(seq 300); do
    sleep 0.1
    kill -0 "$vpid" 2>/dev/null || { cat "$work/vell.log"; echo "vell exited"; exit 1; }
    [ -n "$win" ] || win=$(xdotool search --onlyvisible --pid "$vpid" --name "File Manager" 2>/dev/null | head -1)
    [ -n "$win" ] || continue
    cpu=$(awk '{print $14 + $15}' "/proc/$vpid/stat")
    if [ "$cpu" = "$last" ]; then still=$((still + 1)); else still=0; last=$cpu; fi
    [ "$still" -ge 5 ] && break
done
[ -n "$win" ] || { cat "$work/vell.log"; echo "no window was mapped"; exit 1; }
import -window "$win" "$work/shot.png" || { echo "could not grab the window"; exit 1; }
spread=$(convert "$work/shot.png" -format '%[fx:standard_deviation]' info:)
echo "window $win, standard deviation of its image: $spread"
if awk -v s="$spread" 'BEGIN { exit !(s < 0.02) }'; then
    mkdir -p "${VELL_SHOTS:-.}" && cp "$work/shot.png" "${VELL_SHOTS:-.}/first_paint_failed.png"
    echo "the window is blank"
    exit 1
fi

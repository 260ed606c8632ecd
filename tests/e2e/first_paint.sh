#!/usr/bin/env bash
# The first window on a large directory must be drawn without any help from the user.
# Starts a private Xvfb (with openbox when installed), runs vell on 20,000 files, grabs the
# window once the program is idle and fails when the image is a single colour.
# Usage: first_paint.sh VELL_BINARY. Exit 77 (skipped) when no X server can be started.
set -u
vell=$1
. "$(dirname "$0")/x_session.sh"
need import convert
start_x
mkdir -p "$work/big"
(cd "$work/big" && seq -f "file%06g.txt" 1 20000 | xargs touch)
start_vell "$vell" "$work/big"
import -window "$win" "$work/shot.png" || { echo "could not grab the window"; exit 1; }
spread=$(convert "$work/shot.png" -format '%[fx:standard_deviation]' info:)
echo "window $win, standard deviation of its image: $spread"
if awk -v s="$spread" 'BEGIN { exit !(s < 0.02) }'; then
    mkdir -p "${VELL_SHOTS:-.}" && cp "$work/shot.png" "${VELL_SHOTS:-.}/first_paint_failed.png"
    echo "the window is blank"
    exit 1
fi

# The same window at twice the scale, for the record: its icons must stay sharp.
mkdir -p "$work/small/folder" && touch "$work/small/file.txt"
QT_SCALE_FACTOR=2 start_vell "$vell" "$work/small"
shot main_window_2x

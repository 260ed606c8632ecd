# Shared by the scripts of this directory: a private Xvfb (with openbox when installed),
# the real program started on it with its own HOME, and clean-up of every process.
# Source it after `set -u`; it sets $work, $disp and $vpid, $win after start_vell.
work=$(mktemp -d "${TMPDIR:-/tmp}/vell-e2e.XXXXXX")
pids=()
cleanup() { kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT
skip() { echo "SKIPPED: $*"; exit 77; }
need() { for tool in "$@"; do command -v "$tool" >/dev/null || skip "$tool is not installed"; done; }

start_x() {
    need Xvfb xdotool xprop
    for n in $(seq 90 130); do
        [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] || { disp=":$n"; break; }
    done
    [ -n "${disp:-}" ] || skip "no free X display number"
    Xvfb "$disp" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
    pids+=($!)
    export DISPLAY=$disp
    for _ in $(seq 50); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done
    xdotool getmouselocation >/dev/null 2>&1 || skip "Xvfb did not start on $disp"
    if command -v openbox >/dev/null; then
        openbox >/dev/null 2>&1 &
        pids+=($!)
        # A window mapped while the manager is still starting may never be shown.
        for _ in $(seq 50); do
            xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
            sleep 0.1
        done
    fi
    mkdir -p "$work/home/.ke"
}

# start_vell BINARY DIR: waits until the window is mapped and the process is idle (its
# CPU time still for half a second).
start_vell() {
    HOME="$work/home" QT_QPA_PLATFORM=xcb "$1" "$2" >"$work/vell.log" 2>&1 &
    vpid=$!
    pids+=($vpid)
    win="" last=-1 still=0
    for _ in $(seq 300); do
        sleep 0.1
        kill -0 "$vpid" 2>/dev/null || { cat "$work/vell.log"; echo "vell exited"; exit 1; }
        [ -n "$win" ] || win=$(xdotool search --all --onlyvisible --pid "$vpid" --name "File Manager" 2>/dev/null | head -1)
        [ -n "$win" ] || continue
        cpu=$(awk '{print $14 + $15}' "/proc/$vpid/stat")
        if [ "$cpu" = "$last" ]; then still=$((still + 1)); else still=0; last=$cpu; fi
        [ "$still" -ge 5 ] && return 0
    done
    [ -n "$win" ] || { cat "$work/vell.log"; echo "no window was mapped"; exit 1; }
}

# fail MESSAGE: saves a screenshot of the window under $VELL_SHOTS and fails.
fail() {
    echo "FAILED: $*"
    if [ -n "${win:-}" ] && command -v import >/dev/null; then
        mkdir -p "${VELL_SHOTS:-/tmp}" && import -window "$win" "${VELL_SHOTS:-/tmp}/$(basename "$0" .sh)_failed.png"
    fi
    exit 1
}

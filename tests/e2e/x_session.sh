# Shared by the scripts of this directory: a private Xvfb (with openbox when installed),
# the real program started on it with its own HOME, and clean-up of every process.
# Source it after `set -u`; it sets $work, $disp and $vpid, $win after start_vell.
work=$(mktemp -d "${TMPDIR:-/tmp}/vell-e2e.XXXXXX")
pids=()
cleanup() { kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT
skip() { echo "SKIPPED: $*"; exit 77; }
need() { for tool in "$@"; do command -v "$tool" >/dev/null || skip "$tool is not installed"; done; }

# wm_up: starts openbox and waits until it manages the screen (a window mapped while the
# manager is still starting may never be shown); shows its log when it does not.
wm_up() {
    openbox </dev/null >"$work/openbox.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do
        xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && return 0
        sleep 0.1
    done
    cat "$work/openbox.log" >&2
    return 1
}

start_x() {
    need Xvfb xdotool xprop
    for n in $(seq 90 130); do
        [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] || { disp=":$n"; break; }
    done
    [ -n "${disp:-}" ] || skip "no free X display number"
    # No terminal for anything started here: a background job touching one is stopped.
    Xvfb "$disp" -screen 0 1280x1024x24 -nolisten tcp </dev/null >/dev/null 2>&1 &
    pids+=($!)
    export DISPLAY=$disp
    for _ in $(seq 50); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done
    xdotool getmouselocation >/dev/null 2>&1 || skip "Xvfb did not start on $disp"
    command -v openbox >/dev/null && { wm_up || wm_up || echo "openbox did not start" >&2; }
    mkdir -p "$work/home/.ke"
}

# start_vell BINARY DIR [WRAPPER...]: waits until the window is mapped and the process is
# idle (its CPU time still for half a second). A wrapper (a command with its options)
# runs the program as its child. The first instance logs to vell.log, the next to vell-2.log...
start_vell() {
    local bin=$1 dir=$2 log=$work/vell${vell_n:+-$vell_n}.log child=""
    shift 2
    vell_n=$((${vell_n:-1} + 1))
    HOME="$work/home" QT_QPA_PLATFORM=xcb "$@" "$bin" "$dir" </dev/null >"$log" 2>&1 &
    vpid=$!
    pids+=($vpid)
    if [ $# -gt 0 ]; then
        for _ in $(seq 50); do child=$(pgrep -P "$vpid" | head -1); [ -n "$child" ] && break; sleep 0.1; done
        [ -n "$child" ] || { cat "$log"; echo "$1 did not start the program"; exit 1; }
        vpid=$child
        pids+=($vpid)
    fi
    win="" last=-1 still=0
    for _ in $(seq 300); do
        sleep 0.1
        kill -0 "$vpid" 2>/dev/null || { cat "$log"; echo "vell exited"; exit 1; }
        [ -n "$win" ] || win=$(xdotool search --all --onlyvisible --pid "$vpid" --name "File Manager" 2>/dev/null | head -1)
        [ -n "$win" ] || continue
        cpu=$(awk '{print $14 + $15}' "/proc/$vpid/stat")
        if [ "$cpu" = "$last" ]; then still=$((still + 1)); else still=0; last=$cpu; fi
        [ "$still" -ge 5 ] && return 0
    done
    [ -n "$win" ] || { cat "$log"; echo "no window was mapped"; exit 1; }
}

# fail MESSAGE: saves a screenshot of the whole screen under $VELL_SHOTS and fails.
fail() {
    echo "FAILED: $*" >&2
    tail -5 "$work"/vell*.log >&2 2>/dev/null
    shot "$(basename "$0" .sh)_failed" root
    exit 1
}

# shot NAME [WINDOW]: $VELL_SHOTS/NAME.png of the window (default $win).
shot() {
    command -v import >/dev/null || return 0
    mkdir -p "${VELL_SHOTS:-/tmp}"
    import -window "${2:-$win}" "${VELL_SHOTS:-/tmp}/$1.png" 2>/dev/null
}

# keys XDOTOOL-ARGS...: real input to $win, then a moment for the program to act.
# The manager may report the activation before it has moved the focus: keys sent then
# went to the other instance's window.
# A window just activated gets half a second more: Qt may take its focus-in after
# the manager reports the activation (after a drag between instances, keys typed at
# at once could be lost).
keys() {
    local was
    was=$(xdotool getactivewindow 2>/dev/null)
    xdotool windowactivate --sync "$win" >/dev/null 2>&1
    for _ in $(seq 40); do [ "$(xdotool getactivewindow 2>/dev/null)" = "$win" ] && break; sleep 0.05; done
    [ "$was" = "$win" ] && sleep 0.1 || sleep 0.6
    xdotool "$@"
    sleep 0.4
}
# pick NAME: type-ahead in $win selects the first entry that begins with NAME.
pick() { keys key Escape; keys type --delay 50 "$1"; }
clip_out() { xclip -o -selection clipboard -t "$1" 2>/dev/null; }
# wait_for PATH, wait_gone PATH: until PATH exists or not, then until the windows
# an operation opened (its progress, a notice) have closed.
wait_for() { for _ in $(seq 50); do [ -e "$1" ] && { idle; return 0; }; sleep 0.2; done; fail "$1 did not appear"; }
wait_gone() { for _ in $(seq 50); do [ -e "$1" ] || { idle; return 0; }; sleep 0.2; done; fail "$1 is still there"; }
idle() {
    for _ in $(seq 50); do
        [ -z "$(xdotool search --all --onlyvisible --pid "$vpid" --name . 2>/dev/null | grep -vx "$win")" ] && return 0
        sleep 0.2
    done
    fail "a window besides the main one stayed up"
}

# dialog: the id of a window of $vpid other than $win (and $ops, the operations
# window), once one is shown.
dialog() {
    local d
    for _ in $(seq 50); do
        d=$(xdotool search --all --onlyvisible --pid "$vpid" --name . 2>/dev/null | grep -vx -e "$win" -e "${ops:-0}" | tail -1)
        [ -n "$d" ] && { echo "$d"; return 0; }
        sleep 0.2
    done
    fail "no dialog was shown"
}
# answer KEY [TEXT]: types TEXT into the dialog that is up, presses KEY, and waits until
# the dialog is gone.
answer() {
    local d
    d=$(dialog) || exit 1
    xdotool windowactivate --sync "$d" >/dev/null 2>&1
    [ -n "${2:-}" ] && xdotool type --delay 20 "$2"
    xdotool key "$1"
    for _ in $(seq 50); do xwininfo -id "$d" 2>/dev/null | grep -q IsViewable || return 0; sleep 0.1; done
    fail "the dialog stayed up after $1"
}

# row NAME: selects NAME in $win and prints the window's y of its row, found by the
# selection's blue in a column near the window's right edge: the strong blue of an
# active window, or the pale one Qt draws while its focus-in has not arrived (as after
# a drop from another program, with the manager's focus already moved).
row() {
    local y=""
    pick "$1"
    eval "$(xdotool getwindowgeometry --shell "$win")"
    # The blue comes with the window's activation, which may be drawn a moment later.
    for _ in 1 2 3 4 5; do
        import -window "$win" "$work/row.png"
        y=$(convert "$work/row.png" -crop "1x$HEIGHT+$((WIDTH - 60))+0" +repage txt:- |
            awk -F'[,:]' '/#[23][0-9A-F][789][0-9A-F][A-D][0-9A-F]|#E[5-9][E-F][0-9A-F]F[3-9A-F] / { s += $2; n++ } END { if (n) print int(s / n) }')
        [ -n "$y" ] && break
        sleep 0.3
    done
    echo "$y"
}
# goto DIR: types DIR into the path bar of $win (Delete drops what the history proposes).
goto() { keys key alt+p ctrl+a; keys type --delay 10 "$1"; keys key Delete Return; }
# listing: the URIs of every entry the list of $win shows (select all, copy, read the clipboard).
listing() { keys key ctrl+a ctrl+c; clip_out text/uri-list | tr -d '\r'; }
# shows DIR: fails unless the list of $win shows DIR.
shows() {
    local first
    first=$(listing | head -1)
    [ "${first%/*}" = "file://$1" ] || fail "the list shows $first..., not $1"
}

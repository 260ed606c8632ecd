#!/usr/bin/env bash
# bench/open_big.sh N [VELL] [RUNS]: makes a directory of N empty files on a private tmpfs,
# launches the real program on it under Xvfb and prints, as medians of RUNS (5) runs:
# launch to first paint (a sample of the window's pixels shows it drawn), launch to idle (the CPU time
# stops growing for 0.5 s; taken at its last change) and peak resident memory, all taken by
# bench/open_probe, which polls with next to no CPU of its own.
# Also runs it on an empty directory (launch, L) and the floor of the machine for the big one
# (F: bench_dirmodel --floor, readdir + fstatat on all cores + sort), the first two in
# turn, and prints first paint and idle beyond L as ratios to F, then the bytes per
# entry above the empty directory.
set -eu
n=${1:?usage: open_big.sh N [VELL] [RUNS]}
top=$(cd "$(dirname "$0")/.." && pwd)
vell=${2:-$top/build/release/vell}
runs=${3:-5}
[ -x "$vell" ] || { echo "no program at $vell (scripts/run builds build/release)"; exit 1; }
work=$(mktemp -d /tmp/vell-openbig.XXXXXX)
pids=()
cleanup() {
    kill "${pids[@]}" 2>/dev/null || true
    umount "$work/fs" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$work/fs" "$work/home/.ke"
mount -t tmpfs -o size=2g none "$work/fs" 2>/dev/null || echo "(no tmpfs mount: using $work/fs on its own disk)"
mkdir -p "$work/fs/big" "$work/fs/empty"
(cd "$work/fs/big" && seq -f "f%07g" 1 "$n" | xargs touch)

# A display of its own: Xvfb picks a free number and says which once it is ready.
Xvfb -displayfd 5 -screen 0 1280x1024x24 -nolisten tcp 5>"$work/display" >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=:$(head -1 "$work/display")
probe=$(dirname "$vell")/bench/open_probe
[ -x "$probe" ] || { echo "no $probe (it needs libxcb1-dev)"; exit 1; }

one_run() {  # dir -> "paint_ms idle_ms peak_kb"
    rm -rf "$work/home/.ke/vell"
    HOME="$work/home" "$probe" "$vell" "$1" 2>"$work/vell.out" || { tail -5 "$work/vell.out" >&2; return 1; }
}

median() { sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }
col() { printf '%s\n' "${@:2}" | cut -d' ' -f"$1" | median; }
floor_bin=$(dirname "$vell")/bench/bench_dirmodel
[ -x "$floor_bin" ] || { echo "no $floor_bin: no floor"; exit 1; }
# L and the big directory in turn, run after run, so that a machine whose speed
# drifts (a neighbour on the host, the clock) weighs on both alike; each after a
# pause, so that none shares the cores with the last one's exit. The floor comes
# after, its runs back to back with the cache warm: its best case.
empty=() big=()
for i in $(seq "$runs"); do
    sleep 0.3
    empty+=("$(one_run "$work/fs/empty")")
    sleep 0.3
    big+=("$(one_run "$work/fs/big")")
done
"$floor_bin" --floor "$work/fs/big" "$runs" >"$work/floor.txt"
launch=$(col 2 "${empty[@]}")
base_peak=$(col 3 "${empty[@]}")
paint=$(col 1 "${big[@]}")
idle=$(col 2 "${big[@]}")
peak=$(col 3 "${big[@]}")
floor=$(tail -1 "$work/floor.txt")
echo "empty directory: first paint $(col 1 "${empty[@]}") ms, idle $launch ms, peak RSS $base_peak kB"
echo "$n entries: first paint $paint ms, idle $idle ms, peak RSS $peak kB"
head -2 "$work/floor.txt"
echo "floor F: $floor ms, launch L: $launch ms (medians of $runs; L in turn with the big directory)"
awk -v p="$paint" -v i="$idle" -v l="$launch" -v f="$floor" 'BEGIN {
    printf "first paint: L + %.2f F (target 0.4), idle: L + %.2f F (target 1.2)\n", (p - l) / f, (i - l) / f }'
echo "bytes per entry above the empty directory: $(( (peak - base_peak) * 1024 / n ))"

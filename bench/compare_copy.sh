#!/bin/sh
# Builds the benchmark data and times the engine against cp, cp -r, mv across
# devices and rm -rf, warm cache, on disk (DISK, default build/benchdata) and on
# tmpfs (SHM, default /dev/shm/vell-bench). Usage: compare_copy.sh BENCH_COPY [runs]
set -eu
B=$(readlink -f "$1")
RUNS=${2:-3}
DISK=${DISK:-$(pwd)/build/benchdata}
SHM=${SHM:-/dev/shm/vell-bench}

ms() { # runs a command, prints its elapsed milliseconds
    s=$(date +%s%N); "$@" >/dev/null 2>&1; e=$(date +%s%N); echo $(( (e - s) / 1000000 ))
}
best() { # best of RUNS of: setup-cmd ; timed-cmd
    setup=$1; shift; b=
    for i in $(seq "$RUNS"); do
        sh -c "$setup"; sync
        t=$(ms "$@"); [ -z "$b" ] || [ "$t" -lt "$b" ] && b=$t
    done
    echo "$b"
}
eng() { "$B" "$@" 2>/dev/null | tail -1 | cut -d. -f1; }
beng() { # best of RUNS of the engine
    setup=$1; shift; b=
    for i in $(seq "$RUNS"); do
        sh -c "$setup"; sync
        t=$(eng "$@"); [ -z "$b" ] || [ "$t" -lt "$b" ] && b=$t
    done
    echo "$b"
}

make_data() { # $1 root
    mkdir -p "$1/src/tree"
    [ -f "$1/src/big" ] || head -c 1073741824 /dev/urandom >"$1/src/big"
    if [ ! -f "$1/src/tree/done" ]; then
        i=0
        while [ $i -lt 20000 ]; do
            d="$1/src/tree/d$((i / 200))"; mkdir -p "$d"
            head -c $(( (i * 7919 % 16 + 1) * 1024 )) /dev/urandom >"$d/f$i"
            i=$((i + 1))
        done
        for j in 1 2 3; do head -c 52428800 /dev/urandom >"$1/src/tree/large$j"; done
        touch "$1/src/tree/done"
    fi
    cat "$1/src/big" >/dev/null; find "$1/src/tree" -type f -exec cat {} + >/dev/null
}

report() { printf '%-34s %8s ms %8s ms  ratio %s\n' "$1" "$2" "$3" "$(echo "scale=3; $3 / $2" | bc)"; }

for root in "$DISK" "$SHM"; do
    make_data "$root"
    dst="$root/dst"
    report "$root: 1 GiB file (cp / engine)" \
        "$(best "rm -rf $dst; mkdir -p $dst" cp "$root/src/big" "$dst/")" \
        "$(beng "rm -rf $dst; mkdir -p $dst" "$root/src/big" "$dst")"
    report "$root: tree (cp -r / engine)" \
        "$(best "rm -rf $dst; mkdir -p $dst" cp -r "$root/src/tree" "$dst/")" \
        "$(beng "rm -rf $dst; mkdir -p $dst" "$root/src/tree" "$dst")"
    report "$root: tree (rm -rf / engine)" \
        "$(best "rm -rf $dst; mkdir -p $dst; cp -r $root/src/tree $dst/" rm -rf "$dst/tree")" \
        "$(beng "rm -rf $dst; mkdir -p $dst; cp -r $root/src/tree $dst/" --delete "$dst/tree")"
done
# Across devices: disk to tmpfs.
m="$DISK/mv"; o="$SHM/mvdst"
report "disk->tmpfs: tree (mv / engine)" \
    "$(best "rm -rf $m $o; mkdir -p $m $o; cp -r $DISK/src/tree $m/" mv "$m/tree" "$o/")" \
    "$(beng "rm -rf $m $o; mkdir -p $m $o; cp -r $DISK/src/tree $m/" --move "$m/tree" "$o")"
report "disk->tmpfs: 1 GiB file (mv / engine)" \
    "$(best "rm -rf $m $o; mkdir -p $m $o; cp $DISK/src/big $m/" mv "$m/big" "$o/")" \
    "$(beng "rm -rf $m $o; mkdir -p $m $o; cp $DISK/src/big $m/" --move "$m/big" "$o")"
rm -rf "$m" "$o" "$DISK/dst" "$SHM/dst"

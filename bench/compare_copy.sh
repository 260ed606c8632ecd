#!/bin/sh
# Builds the benchmark data and times the engine against cp, cp -r, mv across
# devices and rm -rf, warm cache, on disk (DISK, default build/benchdata) and on
# tmpfs (SHM, default /dev/shm/vell-bench). Paths without blanks.
# Usage: compare_copy.sh BENCH_COPY [runs]
set -eu
B=$(readlink -f "$1")
RUNS=${2:-3}
DISK=${DISK:-$(pwd)/build/benchdata}
SHM=${SHM:-/dev/shm/vell-bench}

ms() { # runs a command, prints its elapsed milliseconds
    s=$(date +%s%N); "$@" >/dev/null 2>&1; e=$(date +%s%N); echo $(( (e - s) / 1000000 ))
}
eng() { "$B" "$@" 2>/dev/null | tail -1 | cut -d. -f1; }
pair() { # setup "reference command" engine-args...: best of RUNS of each, "ref eng"
    # Taken in turns, so that both see the same load of a shared machine.
    setup=$1 ref=$2; shift 2; br= be=
    for i in $(seq "$RUNS"); do
        sh -c "$setup"; sync
        t=$(ms $ref); [ -z "$br" ] || [ "$t" -lt "$br" ] && br=$t
        sh -c "$setup"; sync
        t=$(eng "$@"); [ -z "$be" ] || [ "$t" -lt "$be" ] && be=$t
    done
    echo "$br $be"
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

report() { # name "ref eng"
    set -- "$1" $2
    printf '%-34s %8s ms %8s ms  ratio %s\n' "$1" "$2" "$3" "$(echo "scale=3; $3 / $2" | bc)"
}

for root in "$DISK" "$SHM"; do
    make_data "$root"
    dst="$root/dst"
    report "$root: 1 GiB file (cp / engine)" \
        "$(pair "rm -rf $dst; mkdir -p $dst" "cp $root/src/big $dst/" "$root/src/big" "$dst")"
    report "$root: tree (cp -r / engine)" \
        "$(pair "rm -rf $dst; mkdir -p $dst" "cp -r $root/src/tree $dst/" "$root/src/tree" "$dst")"
    report "$root: tree (rm -rf / engine)" \
        "$(pair "rm -rf $dst; mkdir -p $dst; cp -r $root/src/tree $dst/" "rm -rf $dst/tree" --delete "$dst/tree")"
done
# Across devices: disk to tmpfs.
m="$DISK/mv"; o="$SHM/mvdst"
report "disk->tmpfs: tree (mv / engine)" \
    "$(pair "rm -rf $m $o; mkdir -p $m $o; cp -r $DISK/src/tree $m/" "mv $m/tree $o/" --move "$m/tree" "$o")"
report "disk->tmpfs: 1 GiB file (mv / engine)" \
    "$(pair "rm -rf $m $o; mkdir -p $m $o; cp $DISK/src/big $m/" "mv $m/big $o/" --move "$m/big" "$o")"
rm -rf "$m" "$o" "$DISK/dst" "$SHM/dst"

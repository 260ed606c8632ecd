#!/bin/sh
# Times Find Files' search against find -name, fdfind and grep -rl on the same
# trees, warm cache, taken in turns so that all see the same load: a name search
# over FILES names in FILES/100 folders, a content search over MIB MiB of text.
# Trees are made once under DATA (default build/benchdata/find). Paths without blanks.
# Usage: compare_find.sh BENCH_FIND [FILES] [MIB] [RUNS]
set -eu
B=$(readlink -f "$1")
FILES=${2:-1000000}
MIB=${3:-1024}
RUNS=${4:-3}
DATA=${DATA:-$(pwd)/build/benchdata/find}
TREE=$DATA/names-$FILES
TEXT=$DATA/text-$MIB
PATTERN='*1.c'

ms() { s=$(date +%s%N); "$@" >/dev/null 2>&1; e=$(date +%s%N); echo $(( (e - s) / 1000000 )); }
best() { # best of RUNS of a command's ms
    b=
    for i in $(seq "$RUNS"); do t=$(ms "$@"); [ -z "$b" ] || [ "$t" -lt "$b" ] && b=$t; done
    echo "$b"
}
eng() { "$B" "$@" 2>/dev/null | tail -1 | cut -d. -f1; }
ratio() { echo "scale=2; $1 / $2" | bc; }

mkdir -p "$DATA"
[ -f "$TREE.done" ] || { rm -rf "$TREE"; "$B" --make "$TREE" "$FILES" $((FILES / 100)) && touch "$TREE.done"; }
[ -f "$TEXT.done" ] || { rm -rf "$TEXT"; "$B" --text "$TEXT" "$MIB" && touch "$TEXT.done"; }
find "$TREE" >/dev/null; cat "$TEXT"/*/* >/dev/null

echo "$(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
f=$(best find "$TREE" -name "$PATTERN")
e=$(eng "$TREE" "$PATTERN" "$RUNS")
"$B" "$TREE" "$PATTERN" 1 | head -1
if command -v fdfind >/dev/null; then
    d=$(best fdfind -u -g "$PATTERN" "$TREE")
    printf 'name search, %s files:  find %s ms  fdfind %s ms  vell %s ms  (vell/find %s, vell/fdfind %s)\n' \
        "$FILES" "$f" "$d" "$e" "$(ratio "$e" "$f")" "$(ratio "$e" "$d")"
else
    printf 'name search, %s files:  find %s ms  vell %s ms  (vell/find %s); fdfind not installed\n' \
        "$FILES" "$f" "$e" "$(ratio "$e" "$f")"
fi
g=$(best grep -rl needle "$TEXT")
c=$(eng --content "$TEXT" needle "$RUNS")
printf 'content search, %s MiB:  grep -rl %s ms  vell %s ms  (vell/grep %s)\n' "$MIB" "$g" "$c" "$(ratio "$c" "$g")"
echo "$(ratio "$e" "$f")"

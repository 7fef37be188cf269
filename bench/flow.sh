#!/usr/bin/env bash
# Times the flow analysis on the shapes that stress it (bench/gen_flow.py):
# one function of 20,000 statements over 2,000 locals, and one with 5,000
# labels each reached by gotos. Each unit is compiled with the analysis and
# with -ns (without it); the script prints the best of RUNS times and the
# peak memory of each, and fails when a unit does not compile without a
# message or takes a second or more with the analysis.
# usage: bench/flow.sh [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}
[ -x /usr/bin/time ] || { echo "GNU time is needed: apt-get install time"; exit 1; }
bin=${ZPC_BUILD:-build-bench}
[ -f "$bin/CMakeCache.txt" ] || cmake -S . -B "$bin" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$bin" --target zpc >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 bench/gen_flow.py locals 20000 2000 >"$work/locals.c"
python3 bench/gen_flow.py gotos 5000 >"$work/gotos.c"

status=0
for unit in locals gotos; do
    for opts in "" "-ns"; do
        best=
        peak=
        for _ in $(seq "$runs"); do
            if ! /usr/bin/time -f "%e %M" -o "$work/time" "$bin/zpc" $opts -o "$work/$unit.o" "$work/$unit.c" 2>"$work/err" ||
                [ -s "$work/err" ]; then
                echo "$unit $opts: zpc failed"; cat "$work/err"; exit 1
            fi
            read -r t m <"$work/time"
            if [ -z "$best" ] || awk "BEGIN{exit !($t < $best)}"; then best=$t; fi
            peak=$m
        done
        printf '%-7s %-4s %6ss  peak %6s KiB  (%s lines)\n' "$unit" "${opts:-flow}" "$best" "$peak" \
            "$(wc -l <"$work/$unit.c")"
        if [ -z "$opts" ] && awk "BEGIN{exit !($best >= 1.0)}"; then
            echo "$unit: the analysis took a second or more"; status=1
        fi
    done
done
exit $status

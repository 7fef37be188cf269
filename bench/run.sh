#!/usr/bin/env bash
# Times zpc-run, and prints:
#   - bench/crc_bench.c (CRC-16 over 64 KiB of pseudo-random bytes, a few
#     passes) run by zpc-run: its time, the operations it counted (-v) and
#     operations per second, against the same program built by `gcc -O0`
#     and run natively;
#   - the loader: zpc-run -l (load and link, no run) reading a unit of
#     ../shared/bench/gen_corpus.py with FUNCS functions (default 1500),
#     against zpc's time to compile that unit.
# Both programs must give status 0 (the CRC program checks its own result)
# and the unit must link, or the script fails. Each command runs RUNS times
# (default 5), in turn with the one it is compared with, and keeps its best
# time. Needs gcc and python3.
# usage: bench/run.sh [FUNCS] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
funcs=${1:-1500}
runs=${2:-5}
for tool in gcc python3; do
    command -v "$tool" >/dev/null || { echo "$tool is needed"; exit 1; }
done
# The programs as an optimised build makes them, in a build directory of
# its own unless ZPC_BUILD names one.
bin=${ZPC_BUILD:-build-bench}
[ -f "$bin/CMakeCache.txt" ] || cmake -S . -B "$bin" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$bin" --target zpc zpc-run >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Wall-clock seconds of one run of the command; fails unless it exits 0.
measure_once() {
    local start end
    start=$(date +%s.%N)
    "$@" > /dev/null 2> "$work/stderr" || { echo "failed: $*" >&2; cat "$work/stderr" >&2; return 1; }
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", b - a }'
}
smaller() { awk -v t="$1" -v b="$2" 'BEGIN { exit !(b == "" || t < b) }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f", a / b }'; }

# The CRC program, through zpc and zpc-run and natively.
"$bin/zpc" -o "$work/crc.o" bench/crc_bench.c
gcc -O0 -o "$work/crc.native" bench/crc_bench.c
run_time="" native_time=""
for _ in $(seq "$runs"); do
    t=$(measure_once "$bin/zpc-run" -v "$work/crc.o")
    if smaller "$t" "$run_time"; then run_time=$t; fi
    t=$(measure_once "$work/crc.native")
    if smaller "$t" "$native_time"; then native_time=$t; fi
done
"$bin/zpc-run" -v "$work/crc.o" 2> "$work/stats"
ops=$(awk '/operations$/ { print $2 }' "$work/stats")
[ -n "$ops" ] || { echo "zpc-run -v printed no count"; exit 1; }
echo "crc_bench: zpc-run ${run_time}s, $ops operations, $(awk -v n="$ops" -v t="$run_time" 'BEGIN { printf "%.1f", n / t / 1e6 }') M operations/s"
echo "crc_bench: gcc -O0 native ${native_time}s; zpc-run / native: $(ratio "$run_time" "$native_time")"

# The loader on the corpus unit (its extern hook defined in a unit of its
# own, so that it links), against zpc compiling the unit.
python3 ../shared/bench/gen_corpus.py "$funcs" > "$work/unit.c"
echo 'void hook(unsigned short code) { (void)code; }' > "$work/hook.c"
"$bin/zpc" -o "$work/hook.o" "$work/hook.c"
"$bin/zpc" -o "$work/unit.o" "$work/unit.c" 2> "$work/messages"
[ -s "$work/messages" ] && { echo "zpc reported:"; head "$work/messages"; exit 1; }
load_time="" zpc_time=""
for _ in $(seq "$runs"); do
    t=$(measure_once "$bin/zpc-run" -l "$work/unit.o" "$work/hook.o")
    if smaller "$t" "$load_time"; then load_time=$t; fi
    t=$(measure_once "$bin/zpc" -o "$work/unit.o" "$work/unit.c")
    if smaller "$t" "$zpc_time"; then zpc_time=$t; fi
done
echo "corpus: $(wc -l < "$work/unit.c") lines, $funcs functions, $(wc -c < "$work/unit.o") bytes of intermediate file"
echo "corpus: zpc-run -l ${load_time}s, zpc ${zpc_time}s; load / compile: $(awk -v a="$load_time" -v b="$zpc_time" 'BEGIN { printf "%.2f", a / b }')"

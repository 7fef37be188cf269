#!/usr/bin/env bash
# Times zpc compiling a generated unit against `tcc -c` compiling the same
# file, and prints both times, the ratio and both peak memories. zpc must
# compile the unit without a message, zpc-dump must read all of its output
# and a second run must write the same bytes, or the script fails. The units:
#   stress  bench/gen_stress.py: FUNCS functions using every statement kind
#           (default 5000)
#   corpus  ../shared/bench/gen_corpus.py: a firmware-style unit of FUNCS
#           functions with macros, typedefs, structs, bitfields, const
#           tables and switches (default 1500)
# The two compilers run in turn RUNS times (7), and each keeps its best
# time.
# usage: bench/compile.sh [stress|corpus] [FUNCS] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
kind=${1:-stress}
case "$kind" in
stress) generator=bench/gen_stress.py; funcs=${2:-5000} ;;
corpus) generator=../shared/bench/gen_corpus.py; funcs=${2:-1500} ;;
*) echo "usage: bench/compile.sh [stress|corpus] [FUNCS] [RUNS]"; exit 1 ;;
esac
runs=${3:-7}

if ! command -v tcc >/dev/null; then
    if [ "$(id -u)" -eq 0 ] && command -v apt-get >/dev/null; then
        apt-get install -y tcc >/dev/null 2>&1 || { apt-get update >/dev/null && apt-get install -y tcc >/dev/null; }
    else
        echo "tcc is needed: apt-get install tcc (Debian package tcc)"
        exit 1
    fi
fi
[ -x /usr/bin/time ] || { echo "GNU time is needed: apt-get install time"; exit 1; }
# The program as an optimised build makes it (the default build type), in a
# build directory of its own unless ZPC_BUILD names one.
bin=${ZPC_BUILD:-build-bench}
[ -f "$bin/CMakeCache.txt" ] || cmake -S . -B "$bin" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$bin" --target zpc zpc-dump >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 "$generator" "$funcs" > "$work/unit.c"

# The unit must compile cleanly and read back whole.
if ! "$bin/zpc" -o "$work/unit.o" "$work/unit.c" 2> "$work/messages"; then
    echo "zpc reported:"; head "$work/messages"; exit 1
fi
[ -s "$work/messages" ] && { echo "zpc reported:"; head "$work/messages"; exit 1; }
"$bin/zpc-dump" "$work/unit.o" > "$work/unit.dump" || { tail -1 "$work/unit.dump"; exit 1; }
# A second run writes the same bytes.
"$bin/zpc" -o "$work/again.o" "$work/unit.c" 2>/dev/null
cmp -s "$work/unit.o" "$work/again.o" || { echo "a second run wrote different bytes"; exit 1; }

# One wall-clock time in seconds, and the peak memory in KiB.
measure_once() {
    local start end
    start=$(date +%s.%N)
    /usr/bin/time -q -f "%M" -o "$work/peak" "$@" > /dev/null 2>&1 || true
    end=$(date +%s.%N)
    echo "$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", b - a }') $(tail -1 "$work/peak")"
}
smaller() { awk -v t="$1" -v b="$2" 'BEGIN { exit !(b == "" || t < b) }'; }

# The two compilers take turns, so that a change in the machine's load
# falls on both; each keeps its best time.
zpc_time="" tcc_time=""
for _ in $(seq "$runs"); do
    read -r t zpc_peak < <(measure_once "$bin/zpc" -o "$work/unit.o" "$work/unit.c")
    if smaller "$t" "$zpc_time"; then zpc_time=$t; fi
    read -r t tcc_peak < <(measure_once tcc -c -o "$work/unit.tcc.o" "$work/unit.c")
    if smaller "$t" "$tcc_time"; then tcc_time=$t; fi
done
echo "unit: $(wc -l < "$work/unit.c") lines, $funcs functions; $(wc -l < "$work/unit.dump") records read back"
echo "zpc:    ${zpc_time}s, peak ${zpc_peak} KiB"
echo "tcc -c: ${tcc_time}s, peak ${tcc_peak} KiB"
echo "ratio (zpc time / tcc time): $(awk -v a="$zpc_time" -v b="$tcc_time" 'BEGIN { printf "%.2f", a / b }')"

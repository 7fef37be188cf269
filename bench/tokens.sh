#!/usr/bin/env bash
# Times zpc-tokens over a large generated firmware-style unit against
# `tcc -E` preprocessing the same file, and prints the ratio.
# usage: bench/tokens.sh [FUNCS] [RUNS]    (defaults: 2500 functions, 7 runs)
set -euo pipefail
cd "$(dirname "$0")/.."
funcs=${1:-2500}
runs=${2:-7}

command -v tcc >/dev/null || { echo "tcc is needed (Debian package tcc)"; exit 1; }
bin=${ZPC_BUILD:-build}
[ -x "$bin/zpc-tokens" ] || cmake --build "$bin" --target zpc-tokens >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 bench/gen_corpus.py "$funcs" > "$work/unit.c"

# Best of `runs` wall-clock times, in seconds.
best() {
    local best_time=""
    for _ in $(seq "$runs"); do
        local start end t
        start=$(date +%s.%N)
        "$@" > /dev/null 2>&1 || true
        end=$(date +%s.%N)
        t=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", b - a }')
        if [ -z "$best_time" ] || awk -v t="$t" -v b="$best_time" 'BEGIN { exit !(t < b) }'; then best_time=$t; fi
    done
    echo "$best_time"
}

lines=$(wc -l < "$work/unit.c")
zpc=$(best "$bin/zpc-tokens" "$work/unit.c")
tcc=$(best tcc -E "$work/unit.c")
echo "unit: $lines lines"
echo "zpc-tokens: ${zpc}s"
echo "tcc -E:     ${tcc}s"
echo "ratio (tcc -E time / zpc-tokens time): $(awk -v a="$tcc" -v b="$zpc" 'BEGIN { printf "%.2f", a / b }')"

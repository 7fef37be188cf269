#!/bin/sh
# Compiles with the host's gcc every program marked "/* host: yes */" on its
# first line (programs whose answers do not depend on the width of int, of
# long or on byte order) and runs it: each must exit with 0. Programs not
# marked are listed as skipped. Exit status: the number of failures.
dir=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
for f in "$dir"/*.c; do
    name=$(basename "$f" .c)
    if head -n 1 "$f" | grep -q '/\* host: yes \*/'; then
        if ! gcc -std=gnu99 -w -O1 -o "$work/$name" "$f" 2>"$work/err"; then
            echo "FAIL  $name (gcc: $(head -n 1 "$work/err"))"
            failures=$((failures + 1))
        elif "$work/$name" >"$work/out" 2>&1; then
            echo "ok    $name"
        else
            echo "FAIL  $name: $(head -n 3 "$work/out")"
            failures=$((failures + 1))
        fi
    else
        echo "skip  $name (depends on the target's sizes or byte order)"
    fi
done
for d in "$dir"/*/; do
    echo "skip  $(basename "$d")/ (several units: run through zpc-run only)"
done
echo "$failures failure(s)"
exit $failures

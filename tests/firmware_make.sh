#!/bin/sh
# The example firmware built the way a user builds it: make runs zpc once
# per unit and includes the dependency lines zpc -md writes. After a full
# build nothing is rebuilt; touching a header rebuilds exactly the units
# that include it. The intermediate files read back by zpc-dump must be
# those kept in tests/firmware/.
# usage: firmware_make.sh BIN_DIR SOURCE_DIR
set -eu
bin=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$src"/examples/firmware/*.c "$src"/examples/firmware/*.h "$src"/examples/firmware/Makefile "$work"
cd "$work"

build() { make --no-print-directory ZPC_BIN="$bin/zpc" 2>&1; }
# The units make compiled in its last run, sorted, on one line.
compiled() { printf '%s\n' "$1" | sed -n 's|.*zpc -o out/\([a-z]*\)\.o .*|\1|p' | sort | tr '\n' ' '; }
fail() { echo "FAILED: $*"; exit 1; }

out=$(build) || fail "first build: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "first build compiled: $(compiled "$out")"
for u in leds main serial timer; do
    "$bin/zpc-dump" "out/$u.o" > "out/$u.dump" || fail "zpc-dump out/$u.o"
    diff -u "$src/tests/firmware/$u.dump" "out/$u.dump" || fail "out/$u.o differs from tests/firmware/$u.dump"
done

# Everything made long ago, the sources before the outputs.
touch -d '2000-01-01' ./*.c ./*.h
touch -d '2001-01-01' out/*
out=$(build) || fail "second build: $out"
[ -z "$(compiled "$out")" ] || fail "nothing changed, yet compiled: $(compiled "$out")"

touch regs.h
out=$(build) || fail "after regs.h: $out"
[ "$(compiled "$out")" = "leds serial timer " ] || fail "after regs.h compiled: $(compiled "$out")"

touch -d '2000-01-01' ./*.c ./*.h
touch -d '2001-01-01' out/*
touch board.h
out=$(build) || fail "after board.h: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "after board.h compiled: $(compiled "$out")"

touch -d '2000-01-01' ./*.c ./*.h
touch -d '2001-01-01' out/*
touch main.c
out=$(build) || fail "after main.c: $out"
[ "$(compiled "$out")" = "main " ] || fail "after main.c compiled: $(compiled "$out")"
echo "firmware: make rebuilds exactly the units whose sources or headers changed"

#!/bin/sh
# The example firmware built the way a user builds it: make runs zpc once
# per unit and includes the dependency lines zpc -md writes. After a full
# build nothing is rebuilt; touching a header rebuilds exactly the units
# that include it, also a header that a header starts including later, or
# one whose name holds a blank; a header deleted once nothing includes it
# does not stop make; a unit with errors leaves no output for the next make
# to take as up to date; make -j4 writes the bytes make -j1 writes. The
# intermediate files read back by zpc-dump must be those kept in
# tests/firmware/.
# usage: firmware_make.sh BIN_DIR SOURCE_DIR
set -eu
bin=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$src"/examples/firmware/*.c "$src"/examples/firmware/*.h "$src"/examples/firmware/Makefile \
    "$src"/examples/firmware/zpc-deps.awk "$work"
cp -r "$src"/include "$work/include"
cd "$work"

flags="-i $work/include"
build() { make --no-print-directory ZPC_BIN="$bin/zpc" ZPC_FLAGS="$flags" 2>&1; }
# The units make compiled in its last run, sorted, on one line.
compiled() { printf '%s\n' "$1" | grep -v -e ' -md ' | sed -n 's|.*zpc .*-o out/\([a-z]*\)\.o .*|\1|p' | sort | tr '\n' ' '; }
fail() { echo "FAILED: $*"; exit 1; }

out=$(build) || fail "first build: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "first build compiled: $(compiled "$out")"
for u in leds main serial timer; do
    "$bin/zpc-dump" "out/$u.o" > "out/$u.dump" || fail "zpc-dump out/$u.o"
    diff -u "$src/tests/firmware/$u.dump" "out/$u.dump" || fail "out/$u.o differs from tests/firmware/$u.dump"
done

# Everything made long ago, the sources before the outputs.
touch -d '2000-01-01' ./*.c ./*.h include/*.h
touch -d '2001-01-01' out/*
out=$(build) || fail "second build: $out"
[ -z "$(compiled "$out")" ] || fail "nothing changed, yet compiled: $(compiled "$out")"

touch regs.h
out=$(build) || fail "after regs.h: $out"
[ "$(compiled "$out")" = "leds serial timer " ] || fail "after regs.h compiled: $(compiled "$out")"

touch -d '2000-01-01' ./*.c ./*.h include/*.h
touch -d '2001-01-01' out/*
touch board.h
out=$(build) || fail "after board.h: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "after board.h compiled: $(compiled "$out")"

touch -d '2000-01-01' ./*.c ./*.h include/*.h
touch -d '2001-01-01' out/*
touch main.c
out=$(build) || fail "after main.c: $out"
[ "$(compiled "$out")" = "main " ] || fail "after main.c compiled: $(compiled "$out")"

# Sets every file back to long ago, the sources before the outputs.
settle() {
    touch -d '2000-01-01' ./*.c ./*.h include/*.h
    touch -d '2001-01-01' out/*
}
# F1: board.h starts including a new header; a change to that header
# rebuilds every unit that includes board.h.
printf '#define PIN_LED 3\n' > pins.h
sed 's|#define BOARD_H|#define BOARD_H\n#include "pins.h"|' board.h > board.new && mv board.new board.h
settle
touch board.h
out=$(build) || fail "after including pins.h: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "after including pins.h compiled: $(compiled "$out")"
settle
printf '#define PIN_LED 4\n' > pins.h
out=$(build) || fail "after pins.h: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "after changing pins.h compiled: $(compiled "$out")"

# F1b: the include goes and pins.h is deleted: make goes on and rebuilds.
settle
sed '/#include "pins.h"/d' board.h > board.new && mv board.new board.h
rm pins.h
out=$(build) || fail "after deleting pins.h: $out"
[ "$(compiled "$out")" = "leds main serial timer " ] || fail "after deleting pins.h compiled: $(compiled "$out")"
settle
out=$(build) || fail "after deleting pins.h, again: $out"
[ -z "$(compiled "$out")" ] || fail "after deleting pins.h, again compiled: $(compiled "$out")"

# A header whose name holds a blank.
printf '#define SPEED 9600\n' > 'serial config.h'
printf '#include "serial config.h"\n' | cat - serial.c > serial.new && mv serial.new serial.c
out=$(build) || fail "after including 'serial config.h': $out"
[ "$(compiled "$out")" = "serial " ] || fail "after including 'serial config.h' compiled: $(compiled "$out")"
settle
touch -d '2000-01-01' 'serial config.h'
touch 'serial config.h'
out=$(build) || fail "after 'serial config.h': $out"
[ "$(compiled "$out")" = "serial " ] || fail "after changing 'serial config.h' compiled: $(compiled "$out")"

# F2: a unit with an error leaves no output behind, so the next make
# compiles it again and fails again rather than calling it up to date.
cp leds.c leds.good
printf 'int broken = ;\n' >> leds.c
if out=$(build); then fail "a unit with an error built: $out"; fi
[ ! -e out/leds.o ] || fail "out/leds.o kept after its unit failed"
if out=$(build); then fail "the second make after an error succeeded: $out"; fi
[ "$(compiled "$out")" = "leds " ] || fail "the second make after an error compiled: $(compiled "$out")"
mv leds.good leds.c
out=$(build) || fail "after the error was fixed: $out"

# make -j4 from clean writes the bytes make -j1 writes.
make --no-print-directory -s clean
make --no-print-directory -s -j1 ZPC_BIN="$bin/zpc" ZPC_FLAGS="$flags" > /dev/null 2>&1 || fail "make -j1"
mkdir serial_build && cp out/*.o serial_build/
make --no-print-directory -s clean
make --no-print-directory -s -j4 ZPC_BIN="$bin/zpc" ZPC_FLAGS="$flags" > /dev/null 2>&1 || fail "make -j4"
for u in leds main serial timer; do
    cmp -s "serial_build/$u.o" "out/$u.o" || fail "make -j4 wrote another out/$u.o than make -j1"
done
echo "firmware: make rebuilds exactly the units whose sources or headers changed, and never leaves a stale build"

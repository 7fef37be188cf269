#!/bin/sh
# Installs the build into a temporary prefix and builds the example
# firmware from there, the way the README tells a user to: the installed
# zpc, the target's headers found only through -i PREFIX/lib/zpc/include.
# Also checks that the example does not build without that -i (so the
# headers really come from the prefix), and that the installed zpc-dump
# reads every unit.
# usage: install_check.sh BUILD_DIR SOURCE_DIR
set -eu
build=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" > "$work/install.log" 2>&1 || { cat "$work/install.log"; fail "cmake --install"; }
for f in bin/zpc bin/zpc-dump bin/zpc-run share/man/man1/zpc.1 \
         lib/zpc/include/stdint.h lib/zpc/include/stddef.h lib/zpc/include/stdbool.h lib/zpc/include/stdarg.h \
         lib/zpc/include/limits.h lib/zpc/include/float.h lib/zpc/include/iso646.h \
         lib/zpc/run-include/stdio.h lib/zpc/run-include/string.h lib/zpc/run-include/stdlib.h; do
    [ -f "$prefix/$f" ] || fail "not installed: $f"
done

mkdir "$work/fw"
cp "$src"/examples/firmware/*.c "$src"/examples/firmware/*.h "$src"/examples/firmware/Makefile \
   "$src"/examples/firmware/zpc-deps.awk "$work/fw"
cd "$work/fw"
# The compiler alone finds no stdint.h.
if make --no-print-directory ZPC_BIN="$prefix/bin/zpc" > "$work/bare.log" 2>&1; then
    fail "the example built without -i, so its headers came from elsewhere"
fi
grep -q "can't open stdint.h" "$work/bare.log" || { cat "$work/bare.log"; fail "no \"can't open stdint.h\" without -i"; }
make --no-print-directory clean > /dev/null
make --no-print-directory ZPC_BIN="$prefix/bin/zpc" ZPC_FLAGS="-i $prefix/lib/zpc/include" > "$work/make.log" 2>&1 ||
    { cat "$work/make.log"; fail "make with the installed zpc"; }
for u in main leds timer serial; do
    "$prefix/bin/zpc-dump" "out/$u.o" > /dev/null || fail "the installed zpc-dump on out/$u.o"
done
echo "install: zpc, zpc-dump, zpc-run, the headers and the manual page installed; the example builds from the prefix"

#!/bin/sh
# The debug tables depend on the unit alone: the same unit compiled twice,
# and compiled from two directories, gives the same bytes under each -x
# variant (no addresses, times or paths of the run). In analyser mode a
# name list longer than the output buffer still gets its count filled in
# where it stands, in front of its names.
# usage: debug_determinism.sh BIN_DIR
set -u
bin=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() { echo "FAILED: $*"; failed=1; }

for dir in one two/deeper; do
    mkdir -p "$work/$dir/inc"
    cat > "$work/$dir/inc/shape.h" <<'C'
struct shape { int w, h; struct shape *next; unsigned kind:3; };
enum mode { FLAT, DEEP = 7 };
typedef struct shape Shape;
extern int area(const Shape *s);
C
    cat > "$work/$dir/unit.c" <<'C'
#include "inc/shape.h"
#define SQUARE(x) ((x) * (x))
static Shape first = { 2, 3, 0, 1 };
long total;
int area(const Shape *s) { int a = s->w * s->h; { enum mode m = DEEP; a += m; } return a; }
int sum(Shape *s)
{
    int n = 0;
again:
    if (s) { n += area(s) + SQUARE(s->kind); s = s->next; goto again; }
    total += n;
    return n + area(&first);
}
C
done

for options in "-x" "-xx" "-xx -xp" "-xd" "-an" "-asp" "-x -xu -ku"; do
    # shellcheck disable=SC2086
    (cd "$work/one" && "$bin/zpc" $options -o a.o unit.c && "$bin/zpc" $options -o b.o unit.c) ||
        fail "zpc $options in one"
    # shellcheck disable=SC2086
    (cd "$work/two/deeper" && "$bin/zpc" $options -o c.o unit.c) || fail "zpc $options in two"
    cmp -s "$work/one/a.o" "$work/one/b.o" || fail "$options: two runs differ"
    cmp -s "$work/one/a.o" "$work/two/deeper/c.o" || fail "$options: two directories differ"
    "$bin/zpc-dump" "$work/one/a.o" > "$work/dump.txt" || fail "$options: zpc-dump"
    grep -q REC_DEBUG_FILE "$work/dump.txt" || fail "$options: no debug tables"
done

# A function that uses 3000 objects: its list of used objects is far longer
# than the output buffer, so its count is written back into the file.
count=3000
awk -v n=$count 'BEGIN {
    for (i = 0; i < n; i++) printf "int object_with_a_rather_long_name_%05d;\n", i
    printf "int use(void)\n{\n    return 0"
    for (i = 0; i < n; i++) printf "\n        + object_with_a_rather_long_name_%05d", i
    printf ";\n}\n"
}' > "$work/many.c"
"$bin/zpc" -an -o "$work/many.o" "$work/many.c" || fail "zpc -an many.c"
"$bin/zpc-dump" "$work/many.o" > "$work/many.txt" || fail "zpc-dump many.o"
# The count in front of the first name of the list, and the names after it.
found=$(awk '/REC_NAME name="object_with/ { if (!seen) { seen = 1; print prev } names++ }
             { if ($2 == "REC_INT") prev = $4 }
             END { print names }' "$work/many.txt" | tr '\n' ' ')
[ "$found" = "value=$count $count " ] || fail "analyser name list: count and names are '$found', expected value=$count $count"
# A chain of 4000 structs, each pointing to the next: their member tables
# nest inside one another in the file, and describing them must not take
# stack in proportion (a small stack for the run).
awk 'BEGIN { n = 4000
    for (i = n - 1; i >= 0; i--) {
        printf "struct s%d { ", i
        if (i < n - 1) printf "struct s%d *next; ", i + 1
        printf "int v; };\n"
    }
    printf "struct s0 head;\n"
}' > "$work/chain.c"
(ulimit -s 512 && "$bin/zpc" -x -o "$work/chain.o" "$work/chain.c") || fail "zpc -x on a chain of 4000 structs with a 512 KB stack"
tags=$("$bin/zpc-dump" "$work/chain.o" | grep -c 'REC_BYTES n=[0-9]* "s[0-9]*"')
[ "$tags" = 4000 ] || fail "chain of structs: $tags tag names, expected 4000"
exit $failed

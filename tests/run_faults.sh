#!/bin/sh
# zpc-run's faults and load errors: each small program below must stop with
# status 2 and the message given; then every truncation of a compiled unit
# and a series of byte changes in it must give a load error or a run, never
# a crash of the runner.
# usage: run_faults.sh BIN_DIR
set -u
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() { echo "FAILED: $*"; failed=1; }

# expect NAME "RUN OPTIONS" "MESSAGE" < C source
expect() {
    cat > "$work/$1.c"
    "$bin/zpc" -o "$work/$1.o" "$work/$1.c" || { fail "$1: zpc"; return; }
    # shellcheck disable=SC2086
    "$bin/zpc-run" $2 "$work/$1.o" > "$work/$1.out" 2> "$work/$1.err"
    status=$?
    [ $status -eq 2 ] || fail "$1: status $status, expected 2"
    grep -q -- "$3" "$work/$1.err" || fail "$1: message '$(cat "$work/$1.err")' lacks '$3'"
}

expect null "" "read through a null pointer in main at REC_EVAL offset" <<'C'
int *p;
int main(void) { return *p; }
C
expect divide "" "division by zero in divide" <<'C'
int divide(int a, int b) { return a / b; }
int main(void) { return divide(1, 0); }
C
expect outside "" "write of 2 bytes at address .* outside every object in main" <<'C'
int a[4];
int main(void) { int *p = a; p[-40] = 1; return 0; }
C
expect deep "-s 512" "stack overflow (option -s 512) in down" <<'C'
int down(int n) { return n ? down(n - 1) + 1 : 0; }
int main(void) { return down(1000); }
C
expect steps "-x 1000" "more than 1000 operations (option -x) in main" <<'C'
int main(void) { for (;;) ; }
C
expect unresolved "" "unresolved name missing used in REC_EVAL at offset" <<'C'
int missing(void);
int main(void) { return missing(); }
C
# exit() is no fault: its argument is the status, and nothing is said.
cat > "$work/exit_call.c" <<'C'
void exit(int);
int main(void) { exit(7); return 0; }
C
"$bin/zpc" -o "$work/exit_call.o" "$work/exit_call.c" || fail "exit_call: zpc"
"$bin/zpc-run" "$work/exit_call.o" 2> "$work/exit_call.err"
[ $? -eq 7 ] || fail "exit(7) did not give status 7"
[ -s "$work/exit_call.err" ] && fail "exit(7) wrote to standard error"

# A run that ends by a signal or a sanitizer report is a crash of the runner;
# any other status is an outcome (a damaged file may still run and return
# whatever its changed code computes).
crashed() {
    [ "$1" -ge 129 ] && [ "$1" -le 159 ] && return 0
    grep -q -e 'Sanitizer' -e 'runtime error' "$work/stderr" && return 0
    return 1
}

# Damaged files: every truncation and byte changes all through one unit.
cat > "$work/sample.c" <<'C'
int printf(const char *, ...);
struct s { int a; char b[3]; } g = { 1, "xy" };
static long l = 70000L;
static float h = 2.5f;
static double q(double v, float w) { return v * w - 1; }
int f(int x) { switch (x) { case 1: return 2; case 2: return 3; case 3: return 4; case 4: return 5; case 5: return 6; case 6: return 7; } return 0; }
int main(void) { int i, t = 0; for (i = 0; i < 8; i++) t += f(i); printf("%d %s\n", t, g.b); h += t; return t != 27 || l != 70000L || (int)q(h, 0.5f) != 13; }
C
"$bin/zpc" -o "$work/sample.o" "$work/sample.c" || fail "zpc sample"
"$bin/zpc-run" "$work/sample.o" > /dev/null || fail "sample does not run"

# damage UNIT [dump] [VALUES]: every truncation of UNIT must give a load
# error, and no change of a byte to one of VALUES (0 128 255) may crash
# the runner (nor zpc-dump, with "dump").
damage() {
    size=$(wc -c < "$1")
    n=0
    while [ $n -lt "$size" ]; do
        head -c $n "$1" > "$work/cut.o"
        "$bin/zpc-run" -x 100000 "$work/cut.o" > /dev/null 2> "$work/stderr"
        status=$?
        [ $status -eq 2 ] || fail "$1 truncated at $n: status $status"
        if [ "${2:-}" = dump ]; then
            "$bin/zpc-dump" "$work/cut.o" > /dev/null 2> "$work/stderr"
            status=$?
            crashed $status && fail "zpc-dump of $1 truncated at $n: status $status"
        fi
        for value in ${3:-0 128 255}; do
            cp "$1" "$work/bad.o"
            printf "$(printf '\\%03o' $value)" | dd of="$work/bad.o" bs=1 seek=$n conv=notrunc 2>/dev/null
            "$bin/zpc-run" -x 100000 "$work/bad.o" > /dev/null 2> "$work/stderr"
            status=$?
            crashed $status && fail "$1 byte $n set to $value: status $status: $(head -c 300 "$work/stderr")"
            if [ "${2:-}" = dump ]; then
                "$bin/zpc-dump" "$work/bad.o" > /dev/null 2> "$work/stderr"
                status=$?
                crashed $status && fail "zpc-dump of $1 byte $n set to $value: status $status"
            fi
        done
        n=$((n + 1))
    done
}
damage "$work/sample.o" nodump

# The debug tables: entries, name lists, a named label under -xx. The
# runner reads past them and must stay as robust inside them.
cat > "$work/debug.c" <<'C'
struct p { int x; unsigned f:3; } o;
int get(struct p *q) { int r = q->x; again: if (r > 9) { r -= 9; goto again; } return r + o.f; }
int main(void) { const char *t = "dbg"; o.x = 12; return get(&o) != 3 || t[1] != 'b'; }
C
"$bin/zpc" -xx -o "$work/debug.o" "$work/debug.c" || fail "zpc -xx debug"
"$bin/zpc-run" "$work/debug.o" > /dev/null || fail "debug sample does not run"
damage "$work/debug.o" dump "0 255"
exit $failed

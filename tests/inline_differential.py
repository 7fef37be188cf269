#!/usr/bin/env python3
"""Random programs compiled twice, once with their functions declared
@inline and once as ordinary functions, must print the same under zpc-run.

The programs keep to what C orders: bodies change globals only by adding
to them, and no expression reads a global that a call in it may change, so
that the place where an expansion runs cannot change what is printed.

usage: inline_differential.py BIN_DIR [FIRST_SEED COUNT [OPTIONS...]]
"""
import os
import random
import subprocess
import sys
import tempfile

FUNCTIONS = 6


def expression(rng, callable_count, depth, names):
    if depth <= 0 or rng.random() < 0.3:
        return rng.choice(names + [str(rng.randint(-5, 20))])
    r = rng.random()
    sub = lambda: expression(rng, callable_count, depth - 1, names)
    if r < 0.4:
        # No *, & or |: with a constant argument in place of a parameter,
        # the folding of `x * 0`, `x & 0` and `x | -1` drops the effects
        # of x, which the call kept; that fold is the folder's, not the
        # expansion's.
        op = rng.choice(['+', '-', '^', '<', '>', '==', '!='])
        return '(%s %s %s)' % (sub(), op, sub())
    if r < 0.55 and callable_count > 0:
        return 'f%d(%s, %s)' % (rng.randrange(callable_count), sub(), sub())
    if r < 0.65:
        return '(%s && %s)' % (sub(), sub())
    if r < 0.75:
        return '(%s || %s)' % (sub(), sub())
    if r < 0.85:
        return '(%s ? %s : %s)' % (sub(), sub(), sub())
    if r < 0.92:
        return '(%s, %s)' % (sub(), sub())
    return '(- %s)' % sub()


def program(seed, inline):
    rng = random.Random(seed)
    word = '@inline ' if inline else ''
    out = ['int printf(const char *, ...);', 'int lg;', 'int g0, g1;',
           'int note(int v) { lg += v; return v; }',
           word + 'void put(int *p, int v) { if (v > 3) { *p = v; return; } *p = -v; }',
           word + 'int low(signed char c, unsigned char u) { return c + u; }',
           word + 'int peek(int *p, int v) { *p += 1; return v; }']
    for k in range(FUNCTIONS):
        names = ['a', 'b']
        e = lambda depth, calls=k: expression(rng, calls, depth, names)
        body = []
        for _ in range(rng.randint(1, 5)):
            r = rng.random()
            if r < 0.25:
                body.append('    if (%s) return %s;' % (e(2), e(2)))
            elif r < 0.4:
                body.append('    g%d += %s;' % (rng.randint(0, 1), e(2, 0)))
            elif r < 0.55:
                body.append('    a = %s;' % e(2))
            elif r < 0.7:
                body.append('    b += %s;' % e(2))
            elif r < 0.8:
                body.append('    note(%s);' % e(2))
            elif r < 0.9:
                body.append('    { int t = %s; while (t > 0 && t < 30) { t += 7; b++; } }' % e(1))
            else:
                body.append('    switch (a & 3) { case 1: b = %s; break; case 2: return %s; default: g1++; }'
                            % (e(1), e(1)))
        body.append('    return %s;' % e(2))
        out.append('%sint f%d(int a, int b)\n{\n%s\n}' % (word, k, '\n'.join(body)))
    out.append('int main(void)\n{\n    int r = 0, x = 3, y = -2;')
    names = ['x', 'y', 'r']
    e = lambda depth: expression(rng, FUNCTIONS, depth, names)
    for _ in range(12):
        r = rng.random()
        if r < 0.5:
            out.append('    r = %s;' % e(3))
        elif r < 0.7:
            out.append('    x = %s + r;' % e(2))
        elif r < 0.8:
            out.append('    if (%s) y = %s; else y = %s;' % (e(2), e(2), e(2)))
        elif r < 0.85:
            out.append('    while (%s && x < 40) x += 5;' % e(2))
        elif r < 0.9:
            out.append('    put(&x, %s);' % e(2))
        else:
            out.append('    r = low(%s, %s) + peek(&y, y);' % (e(2), e(2)))
        out.append('    printf("%d %d %d %d %d %d\\n", r, x, y, g0, g1, lg);')
    out.append('    return 0;\n}')
    return '\n'.join(out) + '\n'


def run(bin_dir, work, name, text, options):
    source = os.path.join(work, name + '.c')
    unit = os.path.join(work, name + '.o')
    with open(source, 'w') as f:
        f.write(text)
    made = subprocess.run([os.path.join(bin_dir, 'zpc')] + options + ['-o', unit, source],
                          capture_output=True, text=True)
    if made.returncode != 0:
        return 'zpc failed: ' + made.stderr
    ran = subprocess.run([os.path.join(bin_dir, 'zpc-run'), unit], capture_output=True, text=True, timeout=20)
    return '%s(exit %d)%s' % (ran.stdout, ran.returncode, ran.stderr)


def main():
    bin_dir = sys.argv[1]
    first = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 40
    options = sys.argv[4:]
    failed = 0
    with tempfile.TemporaryDirectory() as work:
        for seed in range(first, first + count):
            expanded = run(bin_dir, work, 'inline', program(seed, True), options)
            called = run(bin_dir, work, 'plain', program(seed, False), options)
            if expanded != called or 'zpc failed' in called:
                failed += 1
                print('seed %d differs%s:\n--- inline\n%s--- plain\n%s' % (seed, ' ' + ' '.join(options), expanded, called))
    print('%d of %d programs differ' % (failed, count))
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())

#!/usr/bin/env python3
"""Random functions full of locals, compiled with the flow analysis and
without it (-ns), must print the same under zpc-run.

The analysis drops stores nobody reads and puts locals whose lifetimes
never overlap in one frame place; any mistake in either shows as another
value printed. The programs keep to defined C: every local is initialized
where it is declared, no expression changes a local it also reads
elsewhere, there is no division, and every loop and backward jump is
bounded by a counter of its own.

usage: flow_differential.py BIN_DIR [FIRST_SEED COUNT [OPTIONS...]]
"""
import os
import random
import subprocess
import sys
import tempfile

TYPES = ['int', 'int', 'int', 'char', 'unsigned char', 'long', 'unsigned']


class Body:
    def __init__(self, rng):
        self.rng = rng
        self.lines = []
        self.counter = 0
        self.label = 0

    def fresh(self, prefix):
        self.counter += 1
        return '%s%d' % (prefix, self.counter)

    def expr(self, names, depth=2):
        rng = self.rng
        if depth <= 0 or rng.random() < 0.35:
            return rng.choice(names + [str(rng.randint(-3, 9))])
        sub = lambda: self.expr(names, depth - 1)
        r = rng.random()
        if r < 0.45:
            return '(%s %s %s)' % (sub(), rng.choice(['+', '-', '^', '&', '|', '<', '==', '!=']), sub())
        if r < 0.6:
            return 'id(%s)' % sub()
        if r < 0.7:
            return '(%s && %s)' % (sub(), sub())
        if r < 0.8:
            return '(%s || %s)' % (sub(), sub())
        if r < 0.9:
            return '(%s ? %s : %s)' % (sub(), sub(), sub())
        return '(%s * 3)' % sub()

    def emit(self, indent, text):
        self.lines.append('    ' * indent + text)

    def statements(self, names, indent, depth, budget, counters=()):
        # `names` may be stored into; `counters` (loop counters) only read.
        rng = self.rng
        for _ in range(budget):
            r = rng.random()
            target = rng.choice(names)
            others = [n for n in names if n != target] + list(counters) or ['1']
            names_read = names + list(counters)
            if r < 0.25:
                self.emit(indent, '%s = %s;' % (target, self.expr(others)))
            elif r < 0.32:
                self.emit(indent, '%s %s= %s;' % (target, rng.choice('+-^|'), self.expr(others, 1)))
            elif r < 0.37:
                self.emit(indent, '%s%s;' % (target, rng.choice(['++', '--'])))
            elif r < 0.41:
                # A store that the right operand of && or || may skip.
                self.emit(indent, 'if (%s %s (%s = %s) > 1)' % (self.expr(others, 1), rng.choice(['&&', '||']),
                                                              target, self.expr(others, 1)))
                self.emit(indent + 1, 'mix(%s);' % self.expr(names_read, 1))
            elif r < 0.43 and len(others) > 1:
                # A store in one branch of a conditional expression.
                rest = [n for n in others if n not in counters] or [target]
                other = rng.choice(rest)
                if other != target:
                    self.emit(indent, '%s = %s ? (%s = %s) : %s;' % (
                        other, self.expr([n for n in others if n != other], 1), target,
                        self.expr([n for n in others if n != other], 1), self.expr([n for n in others if n != other], 1)))
            elif r < 0.47:
                self.emit(indent, 'mix(%s);' % self.expr(names_read))
            elif r < 0.52 and depth > 0:
                self.emit(indent, 'if ((%s = %s) %s 2) {' % (target, self.expr(others, 1), rng.choice('<>')))
                self.statements(names, indent + 1, depth - 1, 2, counters)
                self.emit(indent, '} else {')
                self.statements(names, indent + 1, depth - 1, 2, counters)
                self.emit(indent, '}')
            elif r < 0.6 and depth > 0:
                self.emit(indent, 'if (%s) {' % self.expr(names_read))
                self.statements(names, indent + 1, depth - 1, 3, counters)
                self.emit(indent, '}')
            elif r < 0.68 and depth > 0:
                i = self.fresh('i')
                self.emit(indent, '{')
                self.emit(indent + 1, 'int %s;' % i)
                self.emit(indent + 1, 'for (%s = 0; %s < %d; %s++) {' % (i, i, rng.randint(0, 3), i))
                self.statements(names, indent + 2, depth - 1, 3, tuple(counters) + (i,))
                if rng.random() < 0.3:
                    self.emit(indent + 2, 'if (%s) continue;' % self.expr(names, 1))
                if rng.random() < 0.3:
                    self.emit(indent + 2, 'if (%s) break;' % self.expr(names, 1))
                self.emit(indent + 1, '}')
                self.emit(indent, '}')
            elif r < 0.74 and depth > 0:
                c = self.fresh('c')
                self.emit(indent, '{')
                self.emit(indent + 1, 'int %s = %d;' % (c, rng.randint(0, 3)))
                self.emit(indent + 1, 'do {')
                self.statements(names, indent + 2, depth - 1, 2, counters)
                self.emit(indent + 1, '} while (%s-- > 0);' % c)
                self.emit(indent, '}')
            elif r < 0.8 and depth > 0:
                self.emit(indent, 'switch (%s & 3) {' % self.expr(names, 1))
                for k in range(rng.randint(1, 3)):
                    self.emit(indent, 'case %d:' % k)
                    self.statements(names, indent + 1, depth - 1, 2, counters)
                    if rng.random() < 0.7:
                        self.emit(indent + 1, 'break;')
                self.emit(indent, 'default:')
                self.statements(names, indent + 1, depth - 1, 1, counters)
                self.emit(indent, '}')
            elif r < 0.88 and depth > 0:
                # A block of its own locals, each initialized.
                inner = []
                self.emit(indent, '{')
                for _ in range(rng.randint(1, 3)):
                    v = self.fresh('v')
                    self.emit(indent + 1, '%s %s = %s;' % (rng.choice(TYPES), v, self.expr(names, 1)))
                    inner.append(v)
                self.statements(names + inner, indent + 1, depth - 1, 3, counters)
                self.emit(indent + 1, 'mix(%s);' % ' + '.join(inner))
                self.emit(indent, '}')
            elif r < 0.94 and depth > 0:
                self.label += 1
                back, guard = 'back%d' % self.label, self.fresh('g')
                self.emit(indent, '{')
                self.emit(indent + 1, 'int %s = %d;' % (guard, rng.randint(1, 3)))
                self.emit(indent, '%s:' % back)
                self.statements(names, indent + 1, depth - 1, 2, counters)
                self.emit(indent + 1, 'if (%s-- > 0) goto %s;' % (guard, back))
                self.emit(indent, '}')
            else:
                self.label += 1
                skip = 'skip%d' % self.label
                self.emit(indent, 'if (%s) goto %s;' % (self.expr(names, 1), skip))
                self.statements(names, indent, 0, 1, counters)
                self.emit(indent, '%s: ;' % skip)


def program(seed):
    rng = random.Random(seed)
    out = ['int printf(const char *, ...);', 'static unsigned long sum;',
           'int id(int v) { return v; }',
           'void mix(long v) { sum = sum * 31 + (unsigned long)v; }']
    for k in range(3):
        body = Body(rng)
        # The locals come in groups, each used in a phase of the body of
        # its own, so that one group's lives end before the next group's
        # begin and their places may be shared.
        groups = []
        for _ in range(rng.randint(1, 4)):
            group = []
            for _ in range(rng.randint(1, 4)):
                v = body.fresh('l')
                body.emit(1, '%s %s;' % (rng.choice(TYPES), v))
                group.append(v)
            groups.append(group)
        for group in groups:
            for v in group:
                body.emit(1, '%s = %s;' % (v, body.expr(['p'] + [n for n in group if n != v][:0], 1)))
            body.statements(group + ['p'], 1, 3, rng.randint(2, 6))
            body.emit(1, 'mix(%s);' % ' + '.join(group))
        names = [v for group in groups for v in group]
        kept = rng.sample(names, 1)
        out.append('long f%d(int p)\n{\n%s\n    return %s;\n}' % (k, '\n'.join(body.lines), ' + '.join(kept)))
    out.append('int main(void)\n{\n    int k;\n    for (k = -2; k < 4; k++)\n'
               '        mix(f0(k) + f1(k) * 3 + f2(k) * 7);\n'
               '    printf("%lu\\n", sum);\n    return 0;\n}')
    return '\n'.join(out) + '\n'


def run(bin_dir, work, name, source, options):
    c = os.path.join(work, name + '.c')
    o = os.path.join(work, name + '.o')
    with open(c, 'w') as f:
        f.write(source)
    r = subprocess.run([os.path.join(bin_dir, 'zpc')] + options + ['-o', o, c], capture_output=True, text=True)
    if r.returncode != 0 or r.stderr:
        return 'compile failed (%d): %s' % (r.returncode, r.stderr)
    # The programs are bounded: a few thousand operations each.
    r = subprocess.run([os.path.join(bin_dir, 'zpc-run'), '-x', '10000000', o], capture_output=True, text=True)
    return 'status %d: %s%s' % (r.returncode, r.stdout, r.stderr)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    bin_dir = sys.argv[1]
    first = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 200
    options = sys.argv[4:]
    failures = 0
    with tempfile.TemporaryDirectory() as work:
        for seed in range(first, first + count):
            source = program(seed)
            shared = run(bin_dir, work, 'flow', source, options)
            alone = run(bin_dir, work, 'plain', source, options + ['-ns'])
            if shared != alone or not shared.startswith('status 0'):
                failures += 1
                print('seed %d: with the analysis %r, without %r' % (seed, shared, alone))
                if failures == 1:
                    print(source)
    print('%d of %d programs differ' % (failures, count))
    sys.exit(1 if failures else 0)


if __name__ == '__main__':
    main()

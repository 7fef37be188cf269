#!/usr/bin/env python3
"""Writes the shapes that stress the flow analysis of one function.

  locals  one function of STATEMENTS statements over LOCALS locals, in
          nested blocks, loops and ifs, every local stored and read
  gotos   one function with LABELS labels, each the target of a goto
          forward and of one backward

usage: gen_flow.py locals [STATEMENTS] [LOCALS] | gotos [LABELS]
"""
import sys


def locals_shape(statements, count):
    out = ['int g(int);', 'int f(int n)', '{']
    per_block = max(1, count // 20)
    blocks = (count + per_block - 1) // per_block
    per_block_statements = max(4, statements // blocks)
    made = 0
    for b in range(blocks):
        names = ['v%d' % i for i in range(b * per_block, min(count, (b + 1) * per_block))]
        out.append('    {')
        out.append('        int %s;' % ', '.join(names))
        k = 0
        while k < per_block_statements:
            a = names[k % len(names)]
            c = names[(k * 7 + 3) % len(names)]
            shape = k % 20
            if shape == 0:
                out.append('        %s = g(%d);' % (a, k))
            elif shape == 5:
                out.append('        if (%s > n) %s = %s + 1; else %s = g(%s);' % (a, c, a, c, c))
            elif shape == 10:
                out.append('        while (%s < n) %s += g(%s);' % (c, c, a))
            elif shape == 15 and k % 40 == 15:
                out.append('        switch (%s) { case 1: %s = 2; break; default: n -= %s; }' % (a, c, a))
            elif shape % 2:
                out.append('        n += %s * %s;' % (a, c))
            else:
                out.append('        %s = n - %s;' % (c, a))
            k += 1
        made += k
        out.append('    }')
    out.append('    return n;')
    out.append('}')
    return '\n'.join(out) + '\n'


def gotos_shape(labels):
    out = ['int g(int);', 'int f(int n)', '{', '    int a, b, c;', '    a = g(0); b = g(1); c = g(2);']
    for i in range(labels):
        out.append('    if (g(a)) goto l%d;' % (i + 1 if i + 1 < labels else 0))
        out.append('l%d:' % i)
        out.append('    b = g(b + %d);' % i)
        out.append('    if (n-- > 0) goto l%d;' % (i // 2))
        out.append('    c += b;')
    out.append('    return a + c;')
    out.append('}')
    return '\n'.join(out) + '\n'


if __name__ == '__main__':
    if len(sys.argv) < 2 or sys.argv[1] not in ('locals', 'gotos'):
        sys.exit(__doc__)
    if sys.argv[1] == 'locals':
        n = int(sys.argv[2]) if len(sys.argv) > 2 else 20000
        m = int(sys.argv[3]) if len(sys.argv) > 3 else 2000
        sys.stdout.write(locals_shape(n, m))
    else:
        sys.stdout.write(gotos_shape(int(sys.argv[2]) if len(sys.argv) > 2 else 5000))

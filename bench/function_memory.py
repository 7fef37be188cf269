#!/usr/bin/env python3
"""Memory that function bodies leave behind: peak memory of zpc on a unit
of few functions against one of many, each function a dozen statements of
every kind. Once a body is read, its statements, nodes, types, labels and
locals go back to their pools; only its file-scope symbol stays. The
script prints both peaks, the growth per function and the time, and ends
with status 1 when the growth is above 1 KiB per function.

usage: bench/function_memory.py [FEW MANY]   (default 200 20000; ZPC_BUILD
selects the build directory)
"""
import os
import subprocess
import sys
import tempfile
import time

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
build = os.environ.get("ZPC_BUILD", os.path.join(root, "build"))
zpc = os.path.join(build, "zpc")

BODY = """int f{n}(int a, char c)
{{
    int i, s;
    s = 0;
    for (i = 0; i < a; i++) {{ s += i; if (s > 100) break; }}
    while (s > 0) {{ s -= c; if (s == 7) continue; }}
    switch (a) {{ case 1: s = 1; break; case 2: s = 2; break; default: s = 3; }}
    do {{ s++; }} while (s < 10);
    if (s) g = s; else g = 0;
    goto done;
done:
    return s;
}}
"""


def unit(count, path):
    with open(path, "w") as f:
        f.write("int g;\n")
        for n in range(count):
            f.write(BODY.format(n=n))


def peak_kib(source, output):
    """Peak resident memory of one zpc run in KiB (GNU time's %M: the
    child's own peak, not counting this interpreter's pages that a fork
    would carry), and its wall time."""
    with tempfile.NamedTemporaryFile() as report:
        start = time.perf_counter()
        # The compiler reports an error at every unit's end until the code
        # emitter exists; only its memory counts here.
        proc = subprocess.run(["/usr/bin/time", "-q", "-f", "%M", "-o", report.name, zpc, "-o", output, source],
                              stderr=subprocess.DEVNULL)
        elapsed = time.perf_counter() - start
        if proc.returncode < 0 or proc.returncode > 1:
            sys.exit("zpc did not end normally on %s (status %d)" % (source, proc.returncode))
        return int(open(report.name).read().split()[-1]), elapsed


def main():
    few, many = (int(a) for a in sys.argv[1:3]) if len(sys.argv) > 2 else (200, 20000)
    if not os.access("/usr/bin/time", os.X_OK):
        sys.exit("needs GNU time: apt-get install time")
    if not os.access(zpc, os.X_OK):
        sys.exit("no zpc in %s: build first (cmake --build build)" % build)
    with tempfile.TemporaryDirectory() as tmp:
        rows = []
        for count in (few, many):
            source = os.path.join(tmp, "u%d.c" % count)
            unit(count, source)
            kib, seconds = peak_kib(source, os.path.join(tmp, "u.o"))
            rows.append((count, kib, seconds))
            print("%6d functions: peak %7d KiB, %6.2f s" % (count, kib, seconds))
    growth = (rows[1][1] - rows[0][1]) * 1024.0 / (rows[1][0] - rows[0][0])
    print("growth: %.0f bytes per function (limit 1024)" % growth)
    return 0 if growth <= 1024 else 1


if __name__ == "__main__":
    sys.exit(main())

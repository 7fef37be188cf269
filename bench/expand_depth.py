#!/usr/bin/env python3
"""Deep macro expansion: time and peak memory of zpc's expander against
`tcc -E` on the same files, at nesting depths 1,000, 5,000 and 10,000.

Shapes:
  chain   #define D0 D1 ... each macro naming the next, then D0
  nested  f(f(...f(1)...)) written out on one line, with #define f(x) (x)
  built   the same nesting made by macros: #define N1 f(N0), ... then Nn
  strings five 16,000-byte string literals and 500,000 empty ones joined,
          and 100,000 pieces of "a" (zpc-tokens, the whole token chain)

zpc's side is bench-expand (built with the tests), which reads lines whole and
runs them through zpc's own #define handler and expansion; the strings run
zpc-tokens itself. tcc is Debian's package tcc (apt-get install tcc); without
it only zpc's figures are printed.

usage: bench/expand_depth.py [DEPTH ...]     (ZPC_BUILD selects the build)
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

have_time = os.access("/usr/bin/time", os.X_OK)
root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
build = os.environ.get("ZPC_BUILD", os.path.join(root, "build"))


def run(cmd):
    """Wall time in seconds and peak resident memory in MB of one run, and
    a note when the run did not end normally. The peak is GNU time's %M
    (Debian's package time); without it the memory column reads 0."""
    with tempfile.NamedTemporaryFile() as report:
        timed = ["/usr/bin/time", "-q", "-f", "%M", "-o", report.name] + cmd if have_time else cmd
        start = time.perf_counter()
        proc = subprocess.run(timed, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        elapsed = time.perf_counter() - start
        lines = open(report.name).read().split() if have_time else []
    peak = int(lines[-1]) / 1024.0 if lines and lines[-1].isdigit() else 0.0
    err = proc.stderr.decode(errors="replace").strip()
    code = proc.returncode
    if code == 0 or (have_time and code == 1 and not lines[-1:] == ["signal"]):
        note = f" [{err.splitlines()[0]}]" if code else ""
    else:
        note = f" [ended by {err.splitlines()[-1] if err else 'a signal'}]"
    return elapsed, peak, note


def write(path, text):
    with open(path, "w") as f:
        f.write(text)


def shapes(depth, work):
    chain = "".join(f"#define D{i} D{i + 1}\n" for i in range(depth)) + "D0\n"
    nested = "#define f(x) (x)\n" + "f(" * depth + "1" + ")" * depth + "\n"
    built = "#define f(x) (x)\n#define N0 1\n" + "".join(
        f"#define N{i} f(N{i - 1})\n" for i in range(1, depth + 1)) + f"N{depth}\n"
    for name, text in (("chain", chain), ("nested", nested), ("built", built)):
        path = os.path.join(work, f"{name}{depth}.c")
        write(path, text)
        yield name, path


def main():
    depths = [int(a) for a in sys.argv[1:]] or [1000, 5000, 10000]
    bench = os.path.join(build, "bench-expand")
    tokens = os.path.join(build, "zpc-tokens")
    if not (os.access(bench, os.X_OK) and os.access(tokens, os.X_OK)):
        # The harness is built with the tests.
        subprocess.run(["cmake", "-S", root, "-B", build, "-DZPC_TESTS=ON"], check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", build, "--target", "bench-expand", "zpc-tokens"], check=True,
                       stdout=subprocess.DEVNULL)
    tcc = shutil.which("tcc")
    if not tcc:
        print("tcc not found: install Debian's package tcc (apt-get install tcc) for the peer figures")
    print(f"{'shape':8} {'depth':>6} {'zpc s':>8} {'zpc MB':>8} {'tcc -E s':>9} {'tcc MB':>8}")
    with tempfile.TemporaryDirectory() as work:
        for depth in depths:
            for name, path in shapes(depth, work):
                zt, zm, znote = run([bench, path])
                line = f"{name:8} {depth:6d} {zt:8.3f} {zm:8.1f}"
                if tcc:
                    tt, tm, tnote = run([tcc, "-E", path])
                    line += f" {tt:9.3f} {tm:8.1f}" + (f"  tcc{tnote}" if tnote else "")
                print(line + (f"  zpc{znote}" if znote else ""))
        # String joining: pieces over lines, as a header of tables might hold.
        big = os.path.join(work, "big.c")
        write(big, "char s[] =\n" + ('"' + "x" * 16000 + '"\n') * 5 + ('"" ' * 5000 + "\n") * 100 + ";\n")
        many = os.path.join(work, "many.c")
        write(many, "char s[] =\n" + ('"a" ' * 4000 + "\n") * 25 + ";\n")
        print("(both literals pass 65535 bytes: zpc reports \"string literal too long\" once)")
        for label, path in (("5x16000 + 500,000 empty", big), ("100,000 x \"a\"", many)):
            zt, zm, _ = run([tokens, path])
            line = f"strings  {label:24} zpc-tokens {zt:7.3f} s {zm:7.1f} MB"
            if tcc:
                tt, tm, _ = run([tcc, "-E", path])
                line += f"   tcc -E {tt:7.3f} s {tm:7.1f} MB"
            print(line)


if __name__ == "__main__":
    main()

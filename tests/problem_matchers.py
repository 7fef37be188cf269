#!/usr/bin/env python3
"""Checks the editor settings in docs/ against zpc's real messages.

The VS Code problem matchers of docs/vscode-tasks.json read zpc's own
message form; the Eclipse patterns of docs/eclipse-error-parser.md read
the -ge form.  Both are taken from the docs files themselves, applied to
the messages zpc writes for a unit with errors and warnings (with a column
span, with a one-character token, without a column, without a source
position), and must give back the right file, line, column, severity and
text for every line zpc wrote.

usage: problem_matchers.py ZPC_DIR SOURCE_DIR
"""
import json
import os
import re
import subprocess
import sys
import tempfile

zpc_dir, source_dir = sys.argv[1], sys.argv[2]
zpc = os.path.abspath(os.path.join(zpc_dir, "zpc"))
failures = []

# A directory with a blank and a message text with ": 2 " in it make sure
# the patterns do not split the name or the text in the wrong place.
SOURCE = """int f(void)
{
    int a;
    a = 1;
    int b;
    return a + y;
}
unsigned char c;
int h(void) { return c == 300; }
int g(int a) { if (a) return 1; }
#warning check: 2 things
"""
NAME = "src dir/pm.c"

# What zpc means, in its own terms: line, column counted from 0 (None when
# the message has none), severity and text.
EXPECTED = [
    (5, 4, "error", "misplaced local declaration"),
    (6, 15, "error", "y undefined"),
    (9, 26, "warning", "compare out of range"),
    (10, 32, "warning", "missing explicit return"),
    (11, None, "warning", "check: 2 things"),
]
# zpc without -o: a message that has no source position.
EXPECTED_NO_POSITION = [(0, None, "error", "missing output file name")]


def run(workdir, args):
    result = subprocess.run([zpc] + args, cwd=workdir, capture_output=True, text=True)
    return [line for line in result.stderr.split("\n") if line]


def vscode_matchers():
    with open(os.path.join(source_dir, "docs", "vscode-tasks.json")) as f:
        tasks = json.load(f)["tasks"]
    matchers = [task["problemMatcher"] for task in tasks if "problemMatcher" in task]
    if not matchers:
        failures.append("docs/vscode-tasks.json holds no problem matcher")
    return matchers


def eclipse_patterns():
    """The rows of the pattern table: (severity, regexp, file, line, description)."""
    rows = []
    with open(os.path.join(source_dir, "docs", "eclipse-error-parser.md")) as f:
        for line in f:
            cells = [cell.strip().strip("`") for cell in line.strip().strip("|").split("|")]
            if len(cells) == 5 and cells[0] in ("Error", "Warning", "Info"):
                rows.append(cells)
    if len(rows) < 2:
        failures.append("docs/eclipse-error-parser.md: pattern table not found")
    return rows


def group(match, ref):
    """A group named as Eclipse names it, "$N"."""
    return match.group(int(ref.lstrip("$")))


def check_vscode(lines, expected, what):
    for matcher in vscode_matchers():
        pattern = matcher["pattern"]
        regexp = re.compile(pattern["regexp"])
        got = []
        for line in lines:
            m = regexp.match(line)
            if not m:
                failures.append(f"{what}: the VS Code pattern does not match {line!r}")
                continue
            column = m.group(pattern["column"])
            got.append((m.group(pattern["file"]), int(m.group(pattern["line"])),
                        None if column is None else int(column),
                        m.group(pattern["severity"]), m.group(pattern["message"])))
        want = [(NAME,) + e for e in expected]
        if got != want:
            failures.append(f"{what}: the VS Code pattern reads\n  {got}\nwhere zpc means\n  {want}")


def check_eclipse(lines, expected, what):
    rows = eclipse_patterns()
    got = []
    for line in lines:
        for severity, regexp, file_ref, line_ref, text_ref in rows:
            m = re.match(regexp, line)
            if m:
                # The -ge form has no column 0 for "none": such messages show 1.
                got.append((group(m, file_ref), int(group(m, line_ref)), int(m.group(3)),
                            severity.lower(), group(m, text_ref)))
                break
        else:
            failures.append(f"{what}: no Eclipse pattern matches {line!r}")
    # Without a source position the -ge form shows line 1, column 1.
    want = [(NAME, line if line else 1, 1 if column is None else column, severity, text)
            for line, column, severity, text in expected]
    if got != want:
        failures.append(f"{what}: the Eclipse patterns read\n  {got}\nwhere zpc means\n  {want}")


with tempfile.TemporaryDirectory() as work:
    os.makedirs(os.path.join(work, "src dir"))
    with open(os.path.join(work, NAME), "w") as f:
        f.write(SOURCE)
    own = run(work, ["-w1", "-o", "pm.o", NAME])
    eclipse = run(work, ["-ge", "-w1", "-o", "pm.o", NAME])
    check_vscode(own, EXPECTED, "own form")
    check_eclipse(eclipse, EXPECTED, "-ge form")
    check_vscode(run(work, [NAME]), EXPECTED_NO_POSITION, "own form, no position")
    check_eclipse(run(work, ["-ge", NAME]), EXPECTED_NO_POSITION, "-ge form, no position")

if failures:
    print("\n".join("FAILED: " + f for f in failures))
    sys.exit(1)
print("problem matchers: the VS Code and Eclipse patterns read every zpc message right")

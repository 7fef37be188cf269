#!/bin/sh
# Compiles a self-checking program with zpc under the given options, one
# intermediate file per source, and runs the units linked by zpc-run. The
# program's exit status (0 when every check passed) is the test's. The
# target's headers (include/) and the declarations of zpc-run's library
# (tools/run/include/) are on the include path.
# usage: run_program.sh BIN_DIR "OPTIONS" SOURCE...
set -u
repo=$(cd "$(dirname "$0")/.." && pwd)
bin=$1
options=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
units=""
n=0
for source in "$@"; do
    n=$((n + 1))
    # shellcheck disable=SC2086
    "$bin/zpc" $options -i "$repo/include" -i "$repo/tools/run/include" -o "$work/unit$n.o" "$source" || { echo "zpc $options failed on $source"; exit 1; }
    units="$units $work/unit$n.o"
done
# shellcheck disable=SC2086
"$bin/zpc-run" $units

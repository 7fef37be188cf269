#!/bin/sh
# Line coverage of src/ by the whole test suite.
#
# Builds an instrumented copy of the project in its own build directory
# (build-cov by default, or the first argument), runs every CTest test
# there, and prints gcovr's per-file and overall line coverage of src/.
# Counts from an earlier run are cleared first, so each run stands alone.
#
#   sh tests/coverage.sh [build-dir]
set -e

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-"$root/build-cov"}
jobs=${JOBS:-2}

if ! command -v gcovr >/dev/null 2>&1; then
    if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null 2>&1; then
        apt-get install -y gcovr
    else
        echo "coverage.sh: gcovr is missing; install it with" >&2
        echo "  apt-get install gcovr     (or: pip install gcovr)" >&2
        exit 2
    fi
fi

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZPC_TESTS=ON \
    -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_EXE_LINKER_FLAGS=--coverage
cmake --build "$build" -j "$jobs"
find "$build" -name '*.gcda' -delete
# A failing test still leaves its counts; report them and the failure.
status=0
ctest --test-dir "$build" -j "$jobs" --output-on-failure || status=$?
cd "$root"
gcovr --root . --filter src/ --object-directory "$build" "$build"
exit $status

#!/bin/sh
# The folders of src/ are layers: each may include only the folders below
# it. Prints, for each folder from the bottom up, the folders it includes,
# and every include that runs from a lower layer to a higher one (or into
# a folder that is not a layer); fails when there is one.
# usage: tests/layers.sh [SOURCE_ROOT]
root=${1:-$(dirname "$0")/..}
cd "$root/src" || exit 2
# Bottom to top.
layers="host runtime base model lexer preproc tree sema output passes parse driver"
for dir in */; do
    dir=${dir%/}
    case " $layers " in *" $dir "*) ;; *) echo "src/$dir is not a layer of tests/layers.sh"; exit 1 ;; esac
done
status=0
rank=0
for layer in $layers; do
    rank=$((rank + 1))
    eval "rank_$layer=$rank"
done
for layer in $layers; do
    eval "own=\$rank_$layer"
    used=$(grep -ho '^#include "[a-z_]*/' "$layer"/*.h "$layer"/*.cpp 2>/dev/null |
           sed 's/#include "//; s|/||' | sort -u | grep -vx "$layer" | tr '\n' ' ')
    echo "$layer: ${used:-(nothing)}"
    for f in "$layer"/*.h "$layer"/*.cpp; do
        [ -f "$f" ] || continue
        grep -n '^#include "[a-z_]*/' "$f" | while IFS= read -r line; do
            target=$(echo "$line" | sed 's/^[0-9]*:#include "//; s|/.*||')
            eval "other=\${rank_$target:-}"
            if [ -z "$other" ]; then
                echo "  src/$f:${line%%:*}: includes $target/, which is not a layer"
            elif [ "$other" -gt "$own" ]; then
                echo "  src/$f:${line%%:*}: $layer includes $target, a higher layer"
            fi
        done
    done
done > "${TMPDIR:-/tmp}/layers.$$"
cat "${TMPDIR:-/tmp}/layers.$$"
if grep -q '^  ' "${TMPDIR:-/tmp}/layers.$$"; then status=1; fi
rm -f "${TMPDIR:-/tmp}/layers.$$"
exit $status

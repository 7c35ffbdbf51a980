#!/usr/bin/env bash
# Checks that includes go down: each folder of docs/architecture.md's table of ranks includes headers of
# its own or of folders with a lower rank, and each folder of the library has a rank. Folders whose equal
# ranks have a star include one another.
set -euo pipefail
git ls-files 'lib/*.h' 'lib/*.cpp' 'lib/*.inc' 'apps/*.h' 'apps/*.cpp' 'ozy/*.h' 'ozy/*.cpp' | xargs awk '
    FNR == 1 { room = RoomOf(FILENAME) }
    FILENAME == table { if (match($0, /^\| [0-9]+\*? \| `[^`]+`/)) { split($0, cell, /[|`]/); rank[cell[4]] = cell[2] + 0; isCircle[cell[4]] = cell[2] ~ /\*/ } next }
    room == "" && FNR == 1 { print FILENAME ": its folder has no rank in " table; bad = 1 }
    match($0, /^#include "[^"]+"/) {
        header = substr($0, 11, RLENGTH - 11)
        other = RoomOf(header)
        if (room == "" || other == "" || room == other || rank[other] < rank[room]) next
        if (rank[other] > rank[room] || !isCircle[room] || !isCircle[other]) {
            print FILENAME ":" FNR ": " room " (rank " rank[room] ") includes " header " (rank " rank[other] ")"
            bad = 1
        }
    }
    function RoomOf(path) { while (sub(/\/[^\/]*$/, "", path)) if (path in rank) return path; return "" }
    END { exit bad }
    ' table=docs/architecture.md docs/architecture.md

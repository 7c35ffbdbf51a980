#!/usr/bin/env bash
# What the schema costs whoever builds: the library's generated sources, and a C file that includes all headers.
# Call it in the project's root after a build of the release preset; prints processor time of one core.
set -euo pipefail

build=build/release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# processor seconds of a command
seconds() {
    local TIMEFORMAT='%3U %3S' spent
    spent=$({ time "$@" >/dev/null 2>&1; } 2>&1)
    awk '{ printf "%.2f", $1 + $2 }' <<<"$spent"
}

row() {
    awk -v name="$1" -v what="$2" -v is="$3" -v wanted="$4" 'BEGIN {
        printf "%-14s %-58s %.2f s   wanted %.2f   %s\n", name, what, is, wanted, is <= wanted ? "ok" : "ABOVE"
    }'
}

ninja -C "$build" -t commands orvane | grep -E '/generated/[A-Za-z0-9]+\.cpp$' >"$work/compile.sh"
[[ -s $work/compile.sh ]] || { echo "buildCost: no generated source among the build's commands" >&2; exit 1; }
row build "all generated sources, compiled one after the other" \
    "$(cd "$build" && seconds bash -e "$work/compile.sh")" 20

printf '#include <orvane/orvane.h>\n#include <orvane/schema/%s.h>\n' qorm >"$work/all.c"
printf '#include <orvane/schema/%s.h>\n' ozy ferry >>"$work/all.c"
read -ra flags <<<"$(PKG_CONFIG_PATH=$build/lib/pkgconfig pkg-config --cflags orvane)"
cc "${flags[@]}" -c "$work/all.c" -o "$work/all.o"
for _ in 1 2 3 4 5; do
    seconds cc "${flags[@]}" -c "$work/all.c" -o "$work/all.o"
    echo
done | sort -n >"$work/times"
row include "a C file with all headers, compiled (median of 5)" "$(sed -n 3p "$work/times")" 0.4

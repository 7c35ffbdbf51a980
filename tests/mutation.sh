#!/usr/bin/env bash
# mutation.sh [N] [SEED] [FILE...] -- which single-line faults do the tests not notice?
#
# Draws N faults (200) with a seed (1) from all that mutation.awk finds in the library (or in the files named), puts all
# of them into a copy of the tree, each behind a switch, builds that once, and runs for each fault the test programs that
# reach its file, the nearest first, until one fails, dies or takes too long. Prints the survivors, and what is in
# mutation.equivalent apart from the others. ORVANE_MUTATE=7 in the environment of a test program of the copy switches
# fault 7 on.
#
# Whether a fault is drawn depends on the seed, its file and its text, so that a change of the library exchanges only the
# faults of the lines that it touches, and a run can be compared with one before it.
#
# All of it is in build/mutate: src with its build folder, drawn.tsv with a row a fault, outcome/N, survivors. The tests
# are compiled as ORVANE_MUTATE_PRESET does it (release), so that a compiler cache serves them. A program takes too long
# after ORVANE_MUTATE_PATIENCE times (4) the time that it takes without a fault; more of it is for a busy machine.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."
root=$PWD/build/mutate
preset=${ORVANE_MUTATE_PRESET:-release}
patience=${ORVANE_MUTATE_PATIENCE:-4}
built=$root/src/build/$preset
jobs=$(nproc)

# Which test programs reach a file, by the start of its path, the nearest first.
reach='
lib/misc/            miscTest logFileTest lockTest fileTest dictTest sslTest basicHttpTest orvaneTest orvaneGlibTest
lib/lock/            lockTest sslTest
lib/ssl/             sslTest orvaneTest hostileTest
lib/crypto/          cryptoTest wipingTest
lib/keyLocator/      keyLocatorTest wipingTest
lib/unicode/         unicodeTest dictTest
lib/file/            fileTest dictTest configTest logFileTest
lib/dict/            dictTest configTest keyLocatorTest
lib/config/          configTest
lib/user/            userTest
lib/log/             logFileTest miscTest
lib/sig/             sigTest
apps/lib/basicHttp/  basicHttpTest orvaneTest hostileTest scenarioTest
ozy/lib/schemaRows/  schemaTextTest orvaneTest
ozy/lib/schemaText/  schemaTextTest schemagenTest schemaImportTest schemaLoadTest
ozy/lib/orvaneGlib/  orvaneGlibTest
ozy/lib/orvaneJson/  orvaneJsonTest
ozy/lib/orvane/      orvaneTest schemaLoadTest orvaneGlibTest scenarioTest hostileTest
'

say() { printf '%s\n' "$*" >&2; }

# What is compiled for another kind of machine is left out.
sources() {
    git ls-files 'lib/*.cpp' 'apps/lib/*.cpp' 'ozy/lib/*.cpp' | grep -vE '^lib/ssl/openssl102/|Arm\.cpp$'
}

# The faults of the files named in the order of a hash, at most one a line, a third more than wanted. A text that a file
# has several times is numbered.
draw() {
    local count=$1 seed=$2
    shift 2
    printf '%s\n' "$@" | xargs awk -f tests/mutation.awk | awk -F'\t' -v OFS='\t' '
        { text = $3; sub(/^ +/, "", text); key = $1 " " text; print key " " ++times[key], $0 }' |
        LC_ALL=C sort -R --random-source=<(yes "$seed") -t$'\t' -k1,1 | cut -f2- |
        awk -F'\t' -v n=$((count * 4 / 3 + 10)) '!seen[$1 ":" $2]++ && ++count <= n { print }'
}

# The tree with the faults of drawn.tsv in it.
copy_tree() {
    mkdir -p "$root/src"
    # what has not changed keeps its time, so that it is not built again
    git ls-files | tar -cf - --files-from=- | tar -xf - -C "$root/src" --keep-newer-files 2>/dev/null || true
    comm -13 <(git ls-files | sort) <(cd "$root/src" && find . -path ./build -prune -o ! -type d -printf '%P\n' | sort) |
        (cd "$root/src" && xargs -r rm)
    local file
    for file in $(sources); do
        awk -F'\t' -v file="$file" '
            FILENAME ~ /drawn.tsv$/ { number++; if ($1 == file) { text = $4; sub(/@N@/, number, text); at[$2] = text }; next }
            FNR in at { print at[FNR]; next }
            { print }' "$root/drawn.tsv" "$file" >"$root/new"
        cmp -s "$root/new" "$root/src/$file" || cp "$root/new" "$root/src/$file"
    done
    {
        cat CMakeLists.txt
        echo 'foreach(module IN LISTS modules programModules ITEMS orvaneGlib orvaneJson)'
        echo "    target_compile_options(\${module} PRIVATE -w -O1 -g0 -include $root/mutant.h)"
        echo 'endforeach()'
        # it replaces functions that the check for leaks calls before it has begun
        echo 'target_link_options(sigTest PRIVATE -fno-sanitize=leak)'
    } >"$root/new"
    cmp -s "$root/new" "$root/src/CMakeLists.txt" || cp "$root/new" "$root/src/CMakeLists.txt"
    cat >"$root/mutant.new" <<'END'
#pragma once
#include <cstdlib>
/* Whether a fault is switched on. */
inline bool Mutant(int number) {
    static const int active = [] {
        const char *text = getenv("ORVANE_MUTATE");
        return text != nullptr ? atoi(text) : 0;
    }();
    return active == number;
}
END
    cmp -s "$root/mutant.new" "$root/mutant.h" || cp "$root/mutant.new" "$root/mutant.h"
}

# Faults that do not compile become rows without a fault, so that the others keep their numbers. A fault that is reported
# at another line, where a constant needs it, goes with all of its file.
drop() {
    awk -F'\t' -v OFS='\t' '
        FNR == NR { bad[$1 ":" $2] = 1; if (isWhole) bad[$1] = 1; next }
        ($1 ":" $2) in bad || $1 in bad { $1 = "-" }
        { print }' isWhole="${2:-}" "$1" "$root/drawn.tsv" >"$root/drawn.new"
    if [[ -z ${2:-} ]] && cmp -s "$root/drawn.new" "$root/drawn.tsv"; then drop "$1" 1; return; fi
    mv "$root/drawn.new" "$root/drawn.tsv"
}

programs() { awk '{ for (i = 2; i <= NF; i++) print $i }' <<<"$reach" | sort -u; }

build() {
    local targets=() name round
    # a leak counts as noticed; the other sanitizers would take too long
    (cd "$root/src" && cmake --preset "$preset" -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=leak >"$root/configure.log")
    for name in $(programs); do
        if grep -q "^build bin/$name:" "$built/build.ninja"; then targets+=("$name"); fi
    done
    for round in 1 2 3 4 5 6; do
        if ninja -C "$built" -j"$jobs" -k 0 "${targets[@]}" >"$root/build.log"; then return; fi
        sed -nE 's#^(.*/src/|(\.\./)*)((lib|apps|ozy)/[^ :]*):([0-9]+):[0-9]*:? (fatal )?error.*#\3\t\5#p' "$root/build.log" |
            sort -u >"$root/bad"
        if [[ ! -s $root/bad ]]; then break; fi # it fails for another reason
        say "mutation: $(wc -l <"$root/bad") faults do not compile"
        drop "$root/bad"
        copy_tree
    done
    say "mutation: cannot build, see $root/build.log"
    exit 1
}

# Runs a test program with a limit of seconds, and writes what it says into a file. A leak is a failure, too, but for the
# tables of quarks that GLib leaves behind when they grow, by 2,048 pointers each time. The processes that hostileTest
# starts are not looked at for leaks.
run_program() {
    local seconds=$1 log=$2 name=$3 leaks=1
    shift 3
    [[ $name != hostileTest ]] || leaks=0
    (cd "$built" && LSAN_OPTIONS=detect_leaks=$leaks:exitcode=0:handle_segv=0:handle_sigbus=0:handle_sigfpe=0 \
        timeout -k 5 "$seconds" "bin/$name" "$@" >"$log" 2>&1) 2>/dev/null || return
    awk '/^\[==========\].* ran\./ { isWhole = 1 }
        /SUMMARY: LeakSanitizer: [0-9]+ byte/ && $3 % (2048 * 8) { leaks = 1 }
        END { exit leaks || !isWhole }' "$log"
}

# What each program does without a fault: how long it takes, and tests that fail anyway. A program that fails without
# them, too, would notice everything.
baseline() {
    local name start failed code
    for name in $(programs); do
        [[ -x $built/bin/$name ]] || continue
        start=$(date +%s)
        code=0
        run_program 600 "$root/outcome/$name.log" "$name" || code=$?
        failed=$(sed -nE 's/^\[  FAILED  \] ([^ ,]+\.[^ ,]+)( .*|,.*)?$/\1/p' "$root/outcome/$name.log" | sort -u | paste -sd:)
        if [[ -n $failed ]]; then
            say "mutation: left out, as they fail without a fault: $name $failed"
            code=0
            run_program 600 "$root/outcome/$name.log" "$name" --gtest_filter="-$failed" || code=$?
        fi
        ((code == 0)) || { say "mutation: $name fails without a fault, see $root/outcome/$name.log"; exit 1; }
        printf '%s\t%d\t%s\n' "$name" $(($(date +%s) - start)) "$failed"
    done >"$root/baseline.tsv"
}

# One fault: which program notices it.
run_one() {
    local number=$1 file name seconds failed code
    file=$(awk -F'\t' -v n="$number" 'NR == n { print $1 }' "$root/drawn.tsv")
    if ! awk -v file="$file" 'NF && index(file, $1) == 1 { found = 1 } END { exit !found }' <<<"$reach"; then
        say "mutation: no program reaches $file; add a row to tests/mutation.sh"
        exit 255
    fi
    for name in $(awk -v file="$file" 'NF && index(file, $1) == 1 { $1 = ""; print; exit }' <<<"$reach"); do
        IFS=$'\t' read -r _ seconds failed < <(grep "^$name"$'\t' "$root/baseline.tsv") || continue
        code=0
        ORVANE_MUTATE=$number run_program $((seconds * patience + 10)) "$root/outcome/$number.log" "$name" \
            --gtest_fail_fast --gtest_brief=1 --gtest_filter="-$failed" || code=$?
        if ((code)); then
            echo "$name $code" >"$root/outcome/$number"
            return
        fi
    done
    echo survived >"$root/outcome/$number"
}

report() {
    local number file line shown survivors=0 equivalents=0 late reason original
    : >"$root/survivors"
    for number in $1; do
        [[ $(<"$root/outcome/$number") == survived ]] || continue
        IFS=$'\t' read -r file line shown _ < <(sed -n "${number}p" "$root/drawn.tsv")
        original=$(sed -n "${line}p" "$file")
        reason=$(awk -F'\t' -v file="$file" -v shown="${shown#"${shown%%[! ]*}"}" \
            '$1 == file && $2 == shown { print $3; exit }' tests/mutation.equivalent)
        if [[ -n $reason ]]; then
            equivalents=$((equivalents + 1))
            echo "equivalent $number $file:$line: $reason"
        else
            survivors=$((survivors + 1))
            printf 'survivor %d %s:%d\n    - %s\n    + %s\n' "$number" "$file" "$line" \
                "${original#"${original%%[! ]*}"}" "${shown#"${shown%%[! ]*}"}"
        fi
    done | tee "$root/survivors"
    survivors=$(grep -c ^survivor "$root/survivors" || true)
    equivalents=$(grep -c ^equivalent "$root/survivors" || true)
    late=$(cd "$root/outcome" && xargs cat <<<"$1" | grep -cE " (124|137)$" || true)
    echo "$(wc -w <<<"$1") faults, $survivors not noticed, $equivalents that change nothing, $late noticed by a time-out;" \
        "$((SECONDS / 60)) minutes"
}

if [[ ${1:-} == --one ]]; then
    run_one "$2"
    exit
fi
count=${1:-200}
seed=${2:-1}
shift $(($# < 2 ? $# : 2))
mkdir -p "$root"
if (($# == 0)); then readarray -t files < <(sources); else files=("$@"); fi
draw "$count" "$seed" "${files[@]}" >"$root/drawn.tsv"
rm -rf "$root/outcome"
mkdir "$root/outcome"
copy_tree
build
baseline
numbers=$(awk -F'\t' -v n="$count" '$1 != "-" && ++count <= n { print NR }' "$root/drawn.tsv")
say "mutation: built after $((SECONDS / 60)) minutes"
xargs -P"$jobs" -n1 "$0" --one <<<"$numbers"
report "$numbers"

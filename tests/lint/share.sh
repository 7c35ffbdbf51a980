#!/usr/bin/env bash
# Prints the share of tests in all lines of code, for the whole tree and for each folder with tests. The aim is 30 %.
# Blank lines, comment lines and the schema's tables are not counted. Fails above the limit.
set -euo pipefail
limit=${1:-34}
git ls-files '*.cpp' '*.h' '*.c' '*.sh' ':!generated' | xargs awk -v limit="$limit" '
    /^[ \t]*($|\/\/|\/\*|\*|#( |!|$))/ { next }
    {
        folder = FILENAME; sub(/\/[^\/]*$/, "", folder)
        isTest = sub(/^tests\//, "", folder)
        all++; tests += isTest
        if (isTest) testLines[folder]++; else codeLines[folder]++
    }
    END {
        for (folder in testLines)
            if (folder in codeLines)
                printf "%5.0f %% of %-36s %6d lines for %6d\n", 100 * testLines[folder] / codeLines[folder],
                    folder, testLines[folder], codeLines[folder] | "sort -k4"
        close("sort -k4")
        share = 100 * tests / all
        printf "tests are %.1f %% of all lines of code (%d of %d), at most %d %%\n", share, tests, all, limit
        exit share > limit
    }'

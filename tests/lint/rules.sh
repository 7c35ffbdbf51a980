#!/usr/bin/env bash
# Checks that each test that the table of docs/security.md names exists, as Suite.Name or, of the same suite, as Name;
# and that texts of system errors come from lib/misc/err.h.
set -euo pipefail
bad=0
while read -r name; do
    git ls-files 'tests/*Test.cpp' | xargs grep -qE "TEST(_F|_P|_IN_CHILD)?\(${name/./, }\)" || {
        echo "docs/security.md: names $name, which does not exist"
        bad=1
    }
done < <(awk '/^\| C[0-9]+ / {
    n = split($0, words, /[ ,;|]+/)
    for (i = 4; i <= n; i++) {
        if (words[i] ~ /^[A-Z][A-Za-z]+\.[A-Z][A-Za-z]+$/) { suite = words[i]; sub(/\..*/, "", suite); print words[i] }
        else if (words[i] ~ /^[A-Z][a-z]+[A-Z][A-Za-z]+$/ && before ~ /,$/) print suite "." words[i]
        before = index($0, words[i] ",") ? words[i] "," : words[i]
    }
}' docs/security.md)
if git grep -nE '(\<|g_)strerror(_r)? ?\(' -- lib apps ozy tools ':!lib/misc/err.cpp'; then
    echo "    write: Err_ErrString(), Err_Errno2String()"
    bad=1
fi
exit $bad

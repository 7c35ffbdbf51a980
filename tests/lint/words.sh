#!/usr/bin/env bash
# Checks comments, papers and messages for turns of phrase that a reader has to translate. Each line of
# words.txt is a pattern and, after a tab, what to write.
set -euo pipefail
list=tests/lint/words.txt
found=0
while IFS=$'\t' read -r pattern instead; do
    [[ -n $pattern && $pattern != \#* ]] || continue
    if git grep -nIEi "$pattern" -- '*.cpp' '*.h' '*.c' '*.md' '*.txt' '*.sh' '*.cmake' dev ":!$list" ':!generated'; then
        printf '    write: %s\n' "$instead"
        found=1
    fi
done <"$list"
exit "$found"

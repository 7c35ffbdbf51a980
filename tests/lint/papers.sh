#!/usr/bin/env bash
# Checks that what the papers and the head comments name exists: files by their path or name, functions
# written with "()".
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

git ls-files >"$work/files"
git ls-files '*.cpp' '*.h' '*.c' '*.inc' '*.sh' '*.txt' '*.cmake' '*.schema' dev |
    xargs grep -ohE '[A-Za-z_][A-Za-z0-9_]*' | sort -u >"$work/words"

# Papers: what is between backquotes. Sources: the comment at the head.
{
    git ls-files '*.md' | xargs awk '
        { line = $0
          while (match(line, /`[^`]+`/)) {
              print FILENAME ":" FNR " " substr(line, RSTART + 1, RLENGTH - 2); line = substr(line, RSTART + RLENGTH) } }'
    git ls-files '*.cpp' '*.h' '*.c' | xargs awk '
        FNR == 1 { head = 1 }
        head && !/^(\/\/|\/\*| \*)/ { head = 0 }
        head { n = split($0, word, /[ ,;:"]+/); for (i = 1; i <= n; i++) print FILENAME ":" FNR " " word[i] }'
} | awk -v files="$work/files" -v words="$work/words" '
    BEGIN {
        while ((getline path < files) > 0) {
            name = path
            do { known[name] = 1; module = name; sub(/\.[a-z]+$/, "", module); known[module] = 1 } while (sub(/^[^\/]*\//, "", name))
            while (sub(/\/[^\/]*$/, "", path)) folder[path] = 1
        }
        while ((getline word < words) > 0) isWord[word] = 1
    }
    function Tell(what) { print $1 ": names " what ", which does not exist"; bad = 1 }
    {
        token = $2
        gsub(/^[(`<]+|[.,;:>`]+$/, "", token)
        if (token ~ /^(skema_|SKEMA_|build\/|orvane\/schema\/|schemaTables|[\/~$*])|FILE/ || token ~ /[*{}|<>$=]/) next
        if (token ~ /^[A-Za-z_][A-Za-z0-9_]*\(\)\)?$/) {
            sub(/\(.*/, "", token)
            if (!(token in isWord)) Tell(token "()")
        } else if (token ~ /^[A-Za-z0-9_\/.-]+\.(cpp|h|c|md|sh|inc|schema)$/) {
            sub(/^(\.\.?\/)+/, "", token)
            if (!(token in known) && token !~ /^(site|a|b|overlay)\.schema$/) Tell(token)
        } else if (token ~ /^(apps|bench|docs|examples|fuzz|include|lib|ozy|tests|tools)\/[A-Za-z0-9_\/]*\/?$/) {
            path = token; sub(/\/$/, "", path)
            if (!(path in folder) && !(path in known)) Tell(token)
        }
    }
    END { exit bad }'

# A head comment that lists three sources of a folder or more lists all whose names begin as those do.
status=0
while read -r header; do
    folder=${header%/*}
    sed '/^ \*\//q' "$header" >"$work/head"
    sed -nE 's/^ \*   ([A-Za-z0-9]+\.cpp) .*/\1/p' "$work/head" | sort -u >"$work/listed"
    [[ $(wc -l <"$work/listed") -ge 3 ]] || continue
    prefix=$(sed -e '1{h;d}' -e 'G;s/^\(.*\).*\n\1.*$/\1/;h;$!d' "$work/listed")
    missing=$(git ls-files "$folder/$prefix*.cpp" | sed "s,^$folder/,," | grep -v / | while read -r name; do
        grep -qw "$name" "$work/head" || echo "$name"; done)
    [[ -z $missing ]] || { echo "$header: its list of sources lacks" $missing; status=1; }
done < <(git ls-files '*.h')
exit $status

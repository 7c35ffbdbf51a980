#!/usr/bin/env bash
# Compares the messages in the sources of the program with each catalogue: every message is translated, with the same
# arguments, and no translation is left over. An identifier has one default text.
set -euo pipefail
for catalogue in $(git ls-files --cached --others 'tools/orvane/messages/*.mcat'); do
    git ls-files --cached --others 'tools/orvane/*.cpp' 'tools/orvane/*.h' | xargs cat | tr '\n' ' ' |
        grep -oE 'MSGID\( *"[^"]*" *\)( *"([^"\\]|\\.)*")*' |
        awk -v catalogue="$catalogue" '
            # "sd" of "%s has %d %%"; "%2$d" is the second
            function Arguments(text,    all, n, spec, kind) {
                n = 0
                while (match(text, /%([0-9]+[$])?[^a-zA-Z%]*(hh|ll|[hljzt])?[a-zA-Z%]/)) {
                    spec = substr(text, RSTART, RLENGTH)
                    text = substr(text, RSTART + RLENGTH)
                    if (spec == "%%") continue
                    kind = spec
                    gsub(/[^a-zA-Z]/, "", kind)
                    if (match(spec, /^%[0-9]+[$]/)) all[substr(spec, 2, RLENGTH - 2) + 0] = kind
                    else all[n + 1] = kind
                    n++
                }
                text = ""
                for (i = 1; i <= n; i++) text = text (i in all ? all[i] : "?") " "
                return text
            }
            function Complain(what) { print catalogue ": " what; bad = 1 }
            {
                split($0, part, "\"")
                id = part[2]
                text = substr($0, index($0, ")") + 1)
                gsub(/\\"/, "\001", text) # is no end of a literal
                gsub(/" +"/, "", text)
                gsub("\001", "\\\"", text)
                if (id in source && source[id] != text) Complain(id " has two texts:" source[id] " and" text)
                source[id] = text
            }
            END {
                while ((getline line < catalogue) > 0) {
                    if (line !~ /^msg\.orvane\./) continue
                    id = line
                    sub(/^msg\.orvane\./, "", id)
                    sub(/ = .*/, "", id)
                    sub(/^[^=]* = /, "", line)
                    if (id in seen) Complain(id " is there twice")
                    seen[id] = 1
                    if (!(id in source)) Complain(id " is no message of the program")
                    else if (Arguments(source[id]) != Arguments(line))
                        Complain(id " has other arguments than" source[id])
                }
                for (id in source) if (!(id in seen)) Complain(id " is missing:" source[id])
                exit bad
            }'
done

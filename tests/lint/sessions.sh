#!/usr/bin/env bash
# Checks that the parts of the programs that use sessions include installed headers only: a file below tools/ that includes
# a header of the library's public interface, itself or through other headers of tools/, includes no header of the library's
# rooms in either way. And that the built programs contain the library, and do not load it a second time.
# Argument: folder of the programs (build/release/bin).
set -euo pipefail
for program in orvane orvane-simulator; do
    needed=$(readelf -d "${1:-build/release/bin}/$program")
    [[ $needed != *liborvane* ]] || { echo "$program loads liborvane.so beside the library that it contains"; exit 1; }
done

# files that join sessions and rooms, and why
exceptions='
tools/orvane/main.cpp             makes all commands, those without a session too
tools/orvane/schemaCommand.h      the importer compares documents with the rows of the schema, which have no public header;
tools/orvane/schemaCommand.cpp    its certificates are judged as those of a session'

git ls-files 'tools/*.h' 'tools/*.cpp' | xargs awk -v exceptions="$exceptions" '
    BEGIN {
        numLines = split(exceptions, line, "\n")
        for (i = 1; i <= numLines; i++) if (split(line[i], word, " ") > 1) isException[word[1]] = 1
    }
    match($0, /^#include <(orvane|ssl|crypto)\/[^>]+>/) && /session|orvane\.h|listener|orvaneGlib|inventory|operation|filter|wire|specBuilders/ {
        public[FILENAME] = 1
    }
    match($0, /^#include "[^"]+"/) {
        header = substr($0, 11, RLENGTH - 11)
        if (header ~ /^(lib|ozy|apps)\//) inner[FILENAME] = inner[FILENAME] " " header
        else if (header ~ /^tools\//) uses[FILENAME] = uses[FILENAME] " " header
    }
    FNR == 1 { files[++count] = FILENAME }
    # what a file includes, itself or through headers of tools/
    function Reach(file, seen,    list, n, i) {
        if (file in seen) return
        seen[file] = 1
        n = split(uses[file], list, " ")
        for (i = 1; i <= n; i++) Reach(list[i], seen)
    }
    END {
        for (i = 1; i <= count; i++) {
            split("", seen)
            Reach(files[i], seen)
            isSession = 0
            for (file in seen) isSession = isSession || public[file]
            if (!isSession) continue
            sessions++
            isMixed = 0
            for (file in seen) {
                if (inner[file] == "") continue
                isMixed = 1
                if (files[i] in isException) continue
                print files[i] ": uses sessions, and includes" inner[file] (file == files[i] ? "" : " through " file)
                bad = 1
            }
            if (isMixed) delete isException[files[i]]
        }
        for (file in isException) { print file ": is named as an exception, and is none"; bad = 1 }
        if (sessions == 0) { print "tools: no file uses sessions; is this check still right?"; bad = 1 }
        exit bad
    }'

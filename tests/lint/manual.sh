#!/usr/bin/env bash
# Checks the pages of the manual that a build has made, with mandoc. Argument: the build folder.
set -euo pipefail
pages=("$1"/share/man/man1/*.1)
[[ ${#pages[@]} -gt 5 ]] || { echo "manual: there are only ${#pages[@]} pages"; exit 1; }
for page in "${pages[@]}"; do
    # the pages refer to one another, and are not installed yet
    said=$(mandoc -Tlint -Wstyle "$page" 2>&1 | grep -v 'referenced manual not found' || true)
    [[ -z $said ]] || { printf '%s\n' "$said"; exit 1; }
done
for name in $(grep -ho '^\.Xr orvane[a-z-]*' "${pages[@]}" | cut -c5- | sort -u); do
    [[ -f $1/share/man/man1/$name.1 ]] || { echo "manual: there is no page $name"; exit 1; }
done

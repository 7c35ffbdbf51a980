#!/usr/bin/env bash
# Installs a build into a folder, moves the folder, builds consumers from it in each way and runs them, and
# uninstalls. Arguments: source folder, build folder, cmake, C compiler, C++ compiler.
set -euo pipefail
source=$1 build=$2 cmake=$3 cc=$4 cxx=$5
here=$source/tests/installed
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
expected="SkemaOzyVirtualMachine SkemaQormCorePropertyCollectorPropertySpec 0"
expected+=' {"_type":"PropertySpec","type":"VirtualMachine","all":false,"pathSet":["name"]}'

fail() { printf '%s\n' "$*" >&2; exit 1; }
check() { # a program prints what it should
    local said
    said=$("$1") || fail "$1: exit status $?"
    [[ $said == "$expected" ]] || fail "$1 prints: $said"
}

"$cmake" --install "$build" --prefix "$work/first" --strip >/dev/null
mkdir "$work/moved"
mv "$work/first" "$work/moved/prefix"
prefix=$work/moved/prefix
libdir=$(dirname "$(find "$prefix" -name orvane.pc)")/..
! grep -rIl -e "$work/first" -e "$build" "$prefix" || fail "these files hold a path of the build"
[[ $("$prefix/bin/orvane" --version) == "$("$prefix/bin/orvane-simulator" --version)" ]]
[[ $(LC_ALL=de_DE.UTF-8 "$prefix/bin/orvane" demo --tls --machines 1 --task-ms 1) == *"Alles hat funktioniert." ]] ||
    fail "the installed program does not work, or does not speak German"
for page in orvane orvane-job orvane-simulator; do
    [[ -s $prefix/share/man/man1/$page.1 ]] || fail "$page has no page of the manual"
done
for binary in "$prefix"/bin/*; do
    ! readelf -S "$binary" | grep -q debug_info || fail "$binary is not stripped"
done

export PKG_CONFIG_PATH=$libdir/pkgconfig
read -ra flags <<<"$(pkg-config --cflags --libs orvane-glib orvane-json)"
c99=(-std=c99 -Wall -Wextra -Wpedantic -Werror)
cxx20=(-std=c++20 -Wall -Wextra -Wpedantic -Werror)
"$cc" "${c99[@]}" "$here/consumer.c" -o "$work/c" "${flags[@]}" -Wl,-rpath,"$libdir"
"$cxx" "${cxx20[@]}" "$here/consumer.cpp" -o "$work/cpp" "${flags[@]}" -Wl,-rpath,"$libdir"
check "$work/c"
check "$work/cpp"

# the static library looks for the adapters of OpenSSL beside the program
if [[ -f $build/static/liborvane-glib.a ]]; then
    read -ra flags <<<"$(pkg-config --static --cflags --libs orvane-glib orvane-json)"
    static=$prefix/lib/halden/static-consumer
    "$cc" "${c99[@]}" "$here/consumer.c" -o "$static" \
        -L"$(pkg-config --variable=staticlibdir orvane)" "${flags[@]}"
    ! readelf -d "$static" | grep -q liborvane || fail "the static consumer needs liborvane.so"
    check "$static"
    rm "$static"
fi

"$cmake" -S "$here/package" -B "$work/package" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
"$cmake" --build "$work/package" >/dev/null
check "$work/package/consumer-c"
check "$work/package/consumer-cpp"

touch "$prefix/bin/of-somebody-else"
PREFIX=$prefix "$source/dev" uninstall
[[ $(cd "$prefix" && find . -type f -o -type l) == ./bin/of-somebody-else ]] ||
    fail "left behind: $(find "$prefix")"

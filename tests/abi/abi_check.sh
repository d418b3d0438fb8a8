#!/usr/bin/env bash
# Build checks on libtemor.so: exported names, run-time dependencies, the
# public header on its own, and the installed package as a consumer sees it.
# usage: abi_check.sh CHECK LIBRARY SOURCE_DIR BINARY_DIR CC CXX CMAKE
set -u
check=$1 lib=$2 src=$3 bin=$4 cc=$5 cxx=$6 cmake=$7
fail=0
bad() { echo "FAIL: $*"; fail=1; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

case $check in
exports)
    # Names the version script makes public.
    sed -n 's/^[[:space:]]*\(TE_[A-Za-z0-9_]*\);.*/\1/p' "$src/cmake/temor.map" | sort -u >"$tmp/map"
    [ -s "$tmp/map" ] || bad "no names found in temor.map"
    # Defined dynamic symbols other than the version node itself.
    nm -D --defined-only "$lib" | awk '$2 != "A" {print $3}' | sed 's/@.*//' | sort -u >"$tmp/exported"
    [ -s "$tmp/exported" ] || bad "nothing exported"
    while read -r name; do
        case $name in
        TE_MOR_DoRequest | STLV_* | LIPC_* | SERVICE_* | DEV_* | DBM_* | PLUGIN_* | OPT_* | CONSOLE_*)
            bad "internal symbol exported: $name" ;;
        TE_*) grep -qx "$name" "$tmp/map" || bad "exported but not in temor.map: $name" ;;
        *) bad "exported symbol outside the public prefix: $name" ;;
        esac
    done <"$tmp/exported"
    nm -DC --defined-only "$lib" | grep -q 'temor::' && bad "C++ internals exported"
    echo "$(wc -l <"$tmp/exported") exported symbols checked"
    ;;
needed)
    readelf -d "$lib" >"$tmp/dyn" || bad "readelf failed"
    needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$tmp/dyn")
    for n in $needed; do
        case $n in
        libc.so.*) ;;
        *) bad "needs $n" ;;
        esac
    done
    soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' "$tmp/dyn")
    [ "$soname" = "libtemor.so.1" ] || bad "SONAME is '$soname'"
    echo "NEEDED: $needed; SONAME: $soname"
    ;;
header)
    printf '#include <te_mor.h>\nint main(void) { return 0; }\n' >"$tmp/c.c"
    "$cc" -std=c99 -Wall -Wextra -Werror -pedantic -I"$src/include" -c "$tmp/c.c" -o "$tmp/c.o" ||
        bad "header does not compile as C99"
    cp "$tmp/c.c" "$tmp/cxx.cpp"
    "$cxx" -std=c++17 -Wall -Wextra -Werror -pedantic -I"$src/include" -c "$tmp/cxx.cpp" -o "$tmp/cxx.o" ||
        bad "header does not compile as C++"
    ;;
install)
    prefix=$tmp/prefix
    "$cmake" --install "$bin" --prefix "$prefix" >"$tmp/install.log" || { cat "$tmp/install.log"; bad "install failed"; }
    libdir=$(dirname "$(find "$prefix" -name 'libtemor.so.1' | head -1)")
    [ -d "$libdir" ] || bad "installed library not found"
    cat >"$tmp/consumer.c" <<'C'
#include <te_mor.h>
#include <stdio.h>
int main(void) {
    int fd = TE_MOR_LIPCOpen(); /* nobody listens in the empty directory */
    printf("open: %d\n", fd);
    return fd == -1 ? 0 : 1;
}
C
    mkdir -p "$tmp/cm" "$tmp/lipc"
    cp "$tmp/consumer.c" "$tmp/cm/"
    cat >"$tmp/cm/CMakeLists.txt" <<'C'
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(temor 1 REQUIRED)
add_executable(consumer consumer.c)
target_link_libraries(consumer PRIVATE temor::temor)
C
    if "$cmake" -S "$tmp/cm" -B "$tmp/cm/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" >"$tmp/cm.log" 2>&1 &&
        "$cmake" --build "$tmp/cm/build" >>"$tmp/cm.log" 2>&1; then
        TE_LIPC_DIR=$tmp/lipc "$tmp/cm/build/consumer" || bad "find_package consumer failed to run"
    else
        cat "$tmp/cm.log"; bad "find_package consumer does not build"
    fi
    if command -v pkg-config >/dev/null; then
        pcdir=$(dirname "$(find "$prefix" -name temor.pc | head -1)")
        flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --define-variable=prefix="$prefix" --cflags --libs temor) ||
            bad "pkg-config does not know temor"
        # shellcheck disable=SC2086
        "$cc" -std=c99 "$tmp/consumer.c" $flags -o "$tmp/pc-consumer" || bad "pkg-config consumer does not build"
        LD_LIBRARY_PATH=$libdir TE_LIPC_DIR=$tmp/lipc "$tmp/pc-consumer" || bad "pkg-config consumer failed to run"
    else
        echo "pkg-config not installed: pkg-config consumer skipped"
    fi
    ;;
*) bad "unknown check $check" ;;
esac
exit $fail

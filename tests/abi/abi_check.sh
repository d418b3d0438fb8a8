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
    # The functions te_mor.h declares, as the build derived them from it
    # (cmake/export_map.cmake writes the version script).
    sed -n 's/^[[:space:]]*\(TE_[A-Za-z0-9_]*\);.*/\1/p' "$bin/temor.map" | sort -u >"$tmp/declared"
    [ -s "$tmp/declared" ] || bad "no functions found in $bin/temor.map"
    # Every function the header declares, read by the compiler (comments and
    # macros gone): one declared without TE_MOR_API would be left out above.
    "$cc" -E -P -I"$src/include" "$src/include/te_mor.h" | grep -o '\bTE_[A-Za-z0-9_]*[[:space:]]*(' |
        sed 's/[[:space:]]*($//' | sort -u >"$tmp/prototypes"
    while read -r name; do
        grep -qx "$name" "$tmp/declared" || bad "declared in te_mor.h without TE_MOR_API: $name"
    done <"$tmp/prototypes"
    # Defined dynamic symbols other than the version node itself.
    nm -D --defined-only "$lib" | awk '$2 != "A" {print $3}' | sed 's/@.*//' | sort -u >"$tmp/exported"
    [ -s "$tmp/exported" ] || bad "nothing exported"
    while read -r name; do
        case $name in
        TE_MOR_DoRequest | STLV_* | LIPC_* | SERVICE_* | DEV_* | DBM_* | PLUGIN_* | OPT_* | CONSOLE_*)
            bad "internal symbol exported: $name" ;;
        TE_*) grep -qx "$name" "$tmp/declared" || bad "exported but not declared in te_mor.h: $name" ;;
        *) bad "exported symbol outside the public prefix: $name" ;;
        esac
    done <"$tmp/exported"
    # A declared function that is not defined (or not visible) is not exported.
    while read -r name; do
        grep -qx "$name" "$tmp/exported" || bad "declared in te_mor.h but not exported: $name"
    done <"$tmp/declared"
    nm -DC --defined-only "$lib" | grep -q 'temor::' && bad "C++ internals exported"
    echo "$(wc -l <"$tmp/exported") exported symbols checked against $(wc -l <"$tmp/declared") declared functions"
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
    # Each installed tree is moved after installing, so any path that still
    # points at the place it was installed to shows up as a failure.
    command -v pkg-config >/dev/null ||
        { echo "FAIL: pkg-config not found; install the Debian package pkg-config"; exit 1; }
    cat >"$tmp/consumer.c" <<'C'
#include <te_mor.h>
#include <stdio.h>
int main(void) {
    int fd = TE_MOR_LIPCOpen(); /* nobody listens in the empty directory */
    printf("open: %d\n", fd);
    return fd == -1 ? 0 : 1;
}
C
    cat >"$tmp/CMakeLists.txt" <<'C'
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(temor 1 REQUIRED)
add_executable(consumer consumer.c)
target_link_libraries(consumer PRIVATE temor::temor)
C
    mkdir -p "$tmp/lipc"
    export TE_LIPC_DIR=$tmp/lipc
    # use_install BUILD_DIR NAME LIBDIR: install BUILD_DIR, move it to
    # $tmp/NAME and use it as a consumer would.
    use_install() {
        local build=$1 p=$tmp/$2 libdir=$3 w=$tmp/$2-work
        mkdir -p "$w"
        "$cmake" --install "$build" --prefix "$w/stage" >"$w/install.log" ||
            { cat "$w/install.log"; bad "$2: install failed"; return; }
        mv "$w/stage" "$p"
        local pc=$p/$libdir/pkgconfig/temor.pc
        [ -f "$pc" ] || { bad "$2: no $libdir/pkgconfig/temor.pc"; return; }
        if grep -nE '(=|-[IL])/' "$pc"; then bad "$2: temor.pc holds absolute paths"; fi

        cp "$tmp/consumer.c" "$tmp/CMakeLists.txt" "$w/"
        if "$cmake" -S "$w" -B "$w/build" -DCMAKE_PREFIX_PATH="$p" -DCMAKE_C_COMPILER="$cc" >"$w/cm.log" 2>&1 &&
            "$cmake" --build "$w/build" >>"$w/cm.log" 2>&1; then
            grep -q "^temor_DIR:PATH=$p/" "$w/build/CMakeCache.txt" || bad "$2: find_package found another temor"
            "$w/build/consumer" || bad "$2: find_package consumer failed to run"
        else
            cat "$w/cm.log"; bad "$2: find_package consumer does not build"
        fi

        local flags f
        flags=$(PKG_CONFIG_PATH=$p/$libdir/pkgconfig pkg-config --cflags --libs temor) ||
            { bad "$2: pkg-config does not know temor"; return; }
        for f in $flags; do
            case $f in
            -I"$p"/* | -L"$p"/* | -l*) ;;
            *) bad "$2: pkg-config gives $f, outside $p" ;;
            esac
        done
        # shellcheck disable=SC2086
        if "$cc" -std=c99 "$w/consumer.c" $flags -o "$w/pc-consumer"; then
            LD_LIBRARY_PATH=$p/$libdir "$w/pc-consumer" || bad "$2: pkg-config consumer failed to run"
        else
            bad "$2: pkg-config consumer does not build"
        fi

        # The tools start without any help from the environment, and tectl
        # takes the library of its own tree.
        [ "$tools" = ON ] || { echo "$2: tools not built"; return; }
        # te-agentx is built where net-snmp's library is found.
        local t all=(tectl te-simd) linked=(tectl)
        if [ -x "$bin/tools/te-agentx" ]; then
            all+=(te-agentx)
            linked+=(te-agentx)
            grep -q 'TEMOR-MIB DEFINITIONS' "$p/share/snmp/mibs/TEMOR-MIB.txt" 2>/dev/null ||
                bad "$2: no TEMOR-MIB under share/snmp/mibs"
        fi
        grep -q 'Proto' "$p/share/temor/wireshark/temor.lua" 2>/dev/null ||
            bad "$2: no dissector under share/temor/wireshark"
        for t in "${all[@]}"; do
            env -u LD_LIBRARY_PATH "$p/bin/$t" --help >/dev/null || bad "$2: installed $t --help fails"
        done
        for t in "${linked[@]}"; do
            env -u LD_LIBRARY_PATH ldd "$p/bin/$t" | grep -q "libtemor.so.1 => $p/" ||
                bad "$2: $t does not load libtemor.so.1 from $p"
        done
        # Man pages from the tools' own help, and bash completion that asks
        # the installed tectl for its words.
        for t in "${all[@]}"; do
            grep -q '^\.TH' "$p/share/man/man1/$t.1" 2>/dev/null || bad "$2: no man page for $t"
            [ -f "$p/share/bash-completion/completions/$t" ] || bad "$2: no bash completion for $t"
        done
        grep -q 'tectl global frr-timer' "$p/share/man/man1/tectl.1" || bad "$2: tectl's man page lacks its commands"
        local words
        words=$(PATH=$p/bin:$PATH bash -c 'source "$1"; COMP_WORDS=(tectl --json glo); COMP_CWORD=2; _tectl
                                           echo "${COMPREPLY[*]}"' _ "$p/share/bash-completion/completions/tectl")
        [ "$words" = global ] || bad "$2: completing 'tectl --json glo' gives '$words'"
        echo "$2: $flags"
    }
    cached() { sed -n "s/^$1:[A-Z]*=//p" "$bin/CMakeCache.txt"; }
    tools=$(cached TEMOR_BUILD_TOOLS)
    use_install "$bin" default "$(cached CMAKE_INSTALL_LIBDIR)"

    # A multiarch library directory (lib/TRIPLET, where find_package looks
    # too): the way back to the prefix is one step longer. Only the install
    # layout differs from the first tree, so this tree builds only the
    # library, and takes the first tree's objects of each library target
    # compiled the same way (compiler, definitions, include directories and
    # flags alike, each tree's own path aside). With another generator, or
    # flags that differ, it compiles them itself.
    reuse_objects() {
        local from=$1 to=$2 f a b
        while read -r f; do
            [ -f "$from/$f" ] || continue
            a=$(<"$from/$f") b=$(<"$to/$f")
            [ "${a//"$from"/@}" = "${b//"$to"/@}" ] || continue
            (cd "$from/${f%/*}" && find . -name '*.o' -exec cp --parents -t "$to/${f%/*}/" {} +)
        done < <(cd "$to" && find . -path '*/CMakeFiles/temor*.dir/flags.make')
    }
    arch=$("$cc" -print-multiarch 2>/dev/null)
    [ -n "$arch" ] || arch=$("$cc" -dumpmachine)
    deep=$tmp/deep-build
    if "$cmake" -S "$src" -B "$deep" -G "$(cached CMAKE_GENERATOR)" -DCMAKE_INSTALL_LIBDIR="lib/$arch" \
        -DCMAKE_BUILD_TYPE="$(cached CMAKE_BUILD_TYPE)" -DTEMOR_HOST_PLATFORM="$(cached TEMOR_HOST_PLATFORM)" \
        -DTEMOR_BUILD_TESTS=OFF -DTEMOR_BUILD_BENCH=OFF -DTEMOR_BUILD_TOOLS=OFF -DTEMOR_BUILD_FUZZ=OFF \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >"$tmp/deep.log" 2>&1 &&
        reuse_objects "$bin" "$deep" && "$cmake" --build "$deep" -j2 --target temor temor_static >>"$tmp/deep.log" 2>&1; then
        tools=OFF use_install "$deep" deep "lib/$arch"
        # The tools' run path follows the library directory too.
        if [ "$(cached TEMOR_BUILD_TOOLS)" = ON ]; then
            "$cmake" -S "$src" -B "$deep" -DTEMOR_BUILD_TOOLS=ON >>"$tmp/deep.log" 2>&1 &&
                grep -qF "ORIGIN/../lib/$arch\")" "$deep/tools/cmake_install.cmake" ||
                bad "deep: the tools' install run path does not follow lib/$arch"
        fi
    else
        tail -40 "$tmp/deep.log"; bad "build with libdir lib/$arch failed"
    fi
    ;;
*) bad "unknown check $check" ;;
esac
exit $fail

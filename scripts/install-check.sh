#!/usr/bin/env bash
# Installs the library shared and static, and builds and runs a small host against it in every way a host may use it:
# find_package, pkg-config, both again after the install tree was moved, add_subdirectory and FetchContent; with g++ and
# clang++, as C++17 and C++20. Then checks each header on its own and without exceptions, the library on other layers, the
# exported symbols, that nothing runs at load, that no path of the build folder remains, and the Debian packages.
#   scripts/install-check.sh [--quick]    --quick: g++ as C++17 and clang++ as C++20 only
#   UPDATE_SYMBOLS=1 scripts/install-check.sh    updates the list of exported symbols instead of comparing with it
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
passed=0
ways="g++:17 g++:20 clang++:17 clang++:20"
if [ "${1:-}" = --quick ]; then ways="g++:17 clang++:20"; fi

pass() { passed=$((passed + 1)); echo "ok: $*"; }

run_host() { "$1" "$work/host.wav" | grep -qx 'host: ok'; }

logged() { # command: its output is shown only if it fails
    if ! "$@" > "$work/log" 2>&1; then
        cat "$work/log"
        exit 1
    fi
}

configure_and_build() { # source, build folder, arguments
    local source=$1 build=$2; shift 2
    logged cmake -G Ninja -S "$source" -B "$build" "$@"
    logged cmake --build "$build" --parallel 2
}

check_hosts() { # prefix, what it is
    local compiler standard flags
    read -ra flags <<< "$(PKG_CONFIG_PATH=$1/lib/pkgconfig pkg-config --cflags --libs kelaudiofile) -Wl,-rpath,$1/lib"
    for way in $ways; do
        compiler=${way%:*} standard=${way#*:}
        rm -rf "$work/host"
        configure_and_build "$top/tests/package/find_package" "$work/host" -DCMAKE_PREFIX_PATH="$1" \
            -DCMAKE_CXX_COMPILER=$compiler -DCMAKE_CXX_STANDARD=$standard
        run_host "$work/host/host"
        pass "find_package, $2, $way"
        $compiler -std=c++$standard "${warnings[@]}" "$top/tests/package/host.cpp" -o "$work/pc-host" "${flags[@]}"
        run_host "$work/pc-host"
        pass "pkg-config, $2, $way"
    done
}

check_headers_alone() { # prefix
    for header in "$1"/include/{kelaudiofile,kelcore,kelmediatypes}/*.h; do
        for way in $ways; do
            echo "${way%:*} -std=c++${way#*:} ${warnings[*]} -I$1/include -fsyntax-only -include $header -x c++ /dev/null"
        done
    done | xargs -P "$(nproc)" -I '{}' sh -c '{}'
    pass "each header alone: $ways"
}

check_headers_without_exceptions() { # prefix
    for compiler in g++ clang++; do
        for header in "$1"/include/{kelaudiofile,kelcore,kelmediatypes}/*.h; do echo "#include \"$header\""; done |
            $compiler -std=c++17 -fno-exceptions -fno-rtti "${warnings[@]}" -I"$1/include" -fsyntax-only -x c++ -
    done
    pass "headers in hosts without exceptions and run-time types"
}

names_in() { grep -oE '\b(k[A-Z]\w*|[A-Z]\w*[a-z]\w*|KEL[A-Z]+_\w+|\w+_exception|o[A-Z]\w+|int24_t)\b' | sort -u; }

# The support layers reduced to what docs/architecture.md requires of others: every other name is replaced by a
# different one, even where the layers use it themselves.
check_replaced_layers() {
    sed -n '/^## What a layer in place of ours/,/^## How/p' "$top/docs/architecture.md" | names_in > "$work/asked-for"
    cp -r "$top/support" "$work/layers"
    local headers=("$work"/layers/*/include/*/*.h)
    cat "${headers[@]}" | grep -v '#include' | sed 's|//.*||' | names_in | comm -23 - "$work/asked-for" |
        sed -E 's/.*/s,\\b&\\b,&TakenAway,g/' > "$work/take-away"
    [ "$(wc -l < "$work/take-away")" -gt 20 ]
    sed -i -f "$work/take-away" "${headers[@]}"
    printf '%s\n' "$top"/{chunks,wav,aiff}/src/*.cpp "$top"/{convert,peak,id3,frames}/*.cpp |
        xargs -P "$(nproc)" -n 4 g++ -std=c++20 -fsyntax-only -I"$top/include" -I"$top/bytes/include" \
            -I"$top/chunks/include" -I"$top/wav/src" -I"$top/aiff/src" -I"$work/layers/kelcore/include" \
            -I"$work/layers/kelmediatypes/include" -I"$work/layers/kelaccelerate/include"
    pass "the library on layers that have nothing but what docs/architecture.md asks for"
}

check_exports() { # library
    nm -D --defined-only -C "$1" | sed -E 's/^[0-9a-f]+ . //' | LC_ALL=C sort -u > "$work/symbols"
    if [ "${UPDATE_SYMBOLS:-}" = 1 ]; then cp "$work/symbols" "$top/tests/package/symbols.txt"; fi
    diff "$top/tests/package/symbols.txt" "$work/symbols"
    pass "exported symbols are those of tests/package/symbols.txt"
}

check_libcxx_host() { # prefix; its containers differ from the library's, so it instantiates its own iterators
    cat > "$work/libcxx-host.cpp" <<'HOST'
#include <kelaudiofile/PeakData.h>
int main() {
    int count = 0;
    kelaudiofile::PeakData peaks(5);
    for (auto it = peaks.begin(); it != peaks.end(); ++it)
        count += (*it).max >= 0.0f;
    return count;
}
HOST
    clang++ -stdlib=libc++ -std=c++17 "$work/libcxx-host.cpp" -o "$work/libcxx-host" -I"$1/include" -L"$1/lib" \
        -lkelaudiofile -Wl,-rpath,"$1/lib"
    "$work/libcxx-host"
    pass "a host that uses libc++ steps through peaks"
}

initializers() { # library: its initializer sections with their sizes
    readelf -SW "$1" | sed 's/^ *\[[ 0-9]*\] *//' | awk '$1 == ".init_array" || $1 == ".ctors" { print $1, $5 }'
}

check_nothing_runs_at_load() { # library; compared with what the compiler's start-up files put into any library
    echo 'int nothing;' | g++ -shared -fPIC -x c++ - -o "$work/empty.so"
    [ -n "$(initializers "$work/empty.so")" ]
    [ "$(initializers "$1")" = "$(initializers "$work/empty.so")" ]
    if readelf -sW "$1" | grep -w IFUNC; then exit 1; fi
    pass "nothing of ours runs at load: no initializers, no ifuncs"
}

check_hardened() { # library
    readelf -lW "$1" | grep -q GNU_RELRO
    readelf -dW "$1" | grep -q 'FLAGS.*NOW'
    nm -D --undefined-only "$1" > "$work/undefined"
    grep -q __stack_chk_fail "$work/undefined"
    grep -q _chk@ "$work/undefined"
    pass "relocations are read-only from the start; stack and calls are checked"
}

check_builds_alike() { # build folder of the shared library; the other build is of a copy of the sources
    mkdir "$work/elsewhere"
    tar -C "$top" --exclude=./build --exclude=./.git -cf - . | tar -C "$work/elsewhere" -xf -
    logged cmake -G Ninja -S "$work/elsewhere" -B "$work/elsewhere/out" -DKELAUDIOFILE_BUILD_TESTS=OFF \
        -DKELAUDIOFILE_BUILD_EXAMPLES=OFF
    logged cmake --build "$work/elsewhere/out" --target kelaudiofile --parallel 2
    cmp "$1/libkelaudiofile.so" "$work/elsewhere/out/libkelaudiofile.so"
    rm -rf "$work/elsewhere"
    pass "a build in another folder gives the same library, byte by byte"
}

check_needs_nothing_else() { # library
    if readelf -d "$1" | grep NEEDED | grep -vE 'libstdc\+\+|libm\.|libgcc_s|libc\.|ld-linux'; then exit 1; fi
    readelf -d "$1" | grep -q 'SONAME.*libkelaudiofile\.so\.1'
    pass "SONAME, and no library needed but the compiler's and the system's"
}

check_debian_packages() {
    if ! type dpkg-shlibdeps lintian help2man &> /dev/null; then
        echo "skipped: Debian packages (sh scripts/setup.sh package installs what they need)"
        return
    fi
    (cd "$top" && logged cmake --preset debian -G Ninja -B "$work/debian")
    logged cmake --build "$work/debian" --parallel 2
    (cd "$work/debian" && logged cpack)
    # The copyright file waits for a licence.
    logged lintian --fail-on warning,error --suppress-tags no-copyright-file "$work"/debian/*.deb
    pass "Debian packages: lintian has nothing to say"
    [ "$(id -u)" = 0 ] || { echo "skipped: installing the Debian packages (needs root)" && return; }
    logged dpkg -i "$work"/debian/*.deb
    local flags
    read -ra flags <<< "$(pkg-config --cflags --libs kelaudiofile)"
    g++ -std=c++17 "$top/tests/package/host.cpp" -o "$work/deb-host" "${flags[@]}"
    run_host "$work/deb-host"
    for program in cut decode describe duplicates overview record transcode; do
        kelaudiofile-$program --version | grep -qx "kelaudiofile-$program (kelaudiofile) [0-9.]*"
        zgrep -q 'Exit status' /usr/share/man/man1/kelaudiofile-$program.1.gz
    done
    [ -e /usr/lib/"$(dpkg-architecture -q DEB_HOST_MULTIARCH)"/libkelaudiofile.so.1 ]
    logged dpkg -P kelaudiofile-tools libkelaudiofile-dev libkelaudiofile1
    if find /usr -path /usr/local -prune -o -name '*kelaudiofile*' -print | grep .; then exit 1; fi
    pass "Debian packages install, serve a host, bring the programs with man pages, and go without a trace"
}

for shared in ON OFF; do
    kind=$([ $shared = ON ] && echo shared || echo static)
    configure_and_build "$top" "$work/build-$kind" -DBUILD_SHARED_LIBS=$shared -DKELAUDIOFILE_BUILD_TESTS=OFF \
        -DKELAUDIOFILE_BUILD_EXAMPLES=OFF -DKELAUDIOFILE_BUILD_BENCHMARKS=OFF -DCMAKE_INSTALL_LIBDIR=lib
    logged cmake --install "$work/build-$kind" --prefix "$work/first-$kind"
    check_hosts "$work/first-$kind" "$kind, installed"
    mv "$work/first-$kind" "$work/moved-$kind"
    check_hosts "$work/moved-$kind" "$kind, moved"
done
check_headers_alone "$work/moved-shared"
check_headers_without_exceptions "$work/moved-shared"
check_replaced_layers
check_exports "$work/moved-shared/lib/libkelaudiofile.so"
check_libcxx_host "$work/moved-shared"
check_nothing_runs_at_load "$work/moved-shared/lib/libkelaudiofile.so"
check_hardened "$work/moved-shared/lib/libkelaudiofile.so"
check_builds_alike "$work/build-shared"
check_needs_nothing_else "$work/moved-shared/lib/libkelaudiofile.so"
check_debian_packages

check_building_hosts() { # whether by FetchContent, shared, compiler and standard
    rm -rf "$work/sub" "$work/installed"
    configure_and_build "$top/tests/package/add_subdirectory" "$work/sub" $([ $2 = ON ] || echo -DBUILD_SHARED_LIBS=OFF) \
        -DCMAKE_CXX_COMPILER=${3%:*} -DCMAKE_CXX_STANDARD=${3#*:} -DHOST_FETCHES=$1 -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
    grep -q 'fPIC.* -O3 .*DeInterleave' "$work/sub/compile_commands.json" # no build type was given
    if grep -e -Werror "$work/sub/compile_commands.json"; then exit 1; fi
    logged cmake --install "$work/sub" --prefix "$work/installed"
    rm -rf "$work/sub"
    run_host "$work/installed/bin/host"
    pass "host that builds and installs us, FetchContent $1, shared $2, $3"
}
combinations=$(for shared in ON OFF; do for way in $ways; do printf '%s\n' "ON $shared $way" "OFF $shared $way"; done; done)
if [ "${1:-}" = --quick ]; then combinations=$'ON ON clang++:20\nOFF OFF g++:17'; fi
while read -r combination; do check_building_hosts $combination < /dev/null; done <<< "$combinations"
echo "$passed passed, 0 failed"

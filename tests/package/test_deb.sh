#!/usr/bin/env bash
# Packs the build as Debian packages, asks lintian, and installs and removes them in a root folder of their own.
# Packs it as an archive too, and looks at what that holds.
# Usage: test_deb.sh CPACK BUILD-FOLDER
set -euo pipefail

cpack=$1 build=$2
for tool in dpkg dpkg-deb dpkg-shlibdeps lintian; do
    command -v "$tool" >/dev/null || {
        echo "skipped: no $tool here"
        exit 77
    }
done
[ "$(id -u)" = 0 ] || {
    echo "skipped: dpkg installs as root only"
    exit 77
}

work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

"$cpack" --config "$build/CPackConfig.cmake" -G DEB -B "$work/packages" >"$work/cpack.log" 2>&1 ||
    fail "cpack: $(cat "$work/cpack.log")"
packages=("$work"/packages/*.deb)
[ "${#packages[@]}" = 2 ] || fail "expected two packages, got ${packages[*]}"

lintian --allow-root --fail-on error "${packages[@]}" || fail "lintian has errors"

root="$work/root"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
: >"$root/var/lib/dpkg/status"
in_root() {
    dpkg --root="$root" --log=/dev/null --force-depends --force-not-root --force-script-chrootless "$@" \
        >"$work/dpkg.log" 2>&1 || fail "dpkg $*: $(cat "$work/dpkg.log")"
}
in_root --install "${packages[@]}"
for file in bin/KxLogReport share/man/man1/KxLogReport.1.gz include/kxlog/kxlog.h lib/libkxlog.a; do
    [ -f "$root/usr/$file" ] || fail "/usr/$file is not installed"
done
in_root --purge kxlogreport libkxlog-dev
left=$(find "$root" -mindepth 1 -path "$root/var" -prune -o -type f -print)
[ -z "$left" ] || fail "left behind: $left"

"$cpack" --config "$build/CPackConfig.cmake" -G TGZ -B "$work/archive" >"$work/cpack.log" 2>&1 ||
    fail "cpack: $(cat "$work/cpack.log")"
archives=("$work"/archive/*.tar.gz)
{ [ "${#archives[@]}" = 1 ] && [ -f "${archives[0]}" ]; } || fail "expected one archive, got ${archives[*]}"
tar tzf "${archives[0]}" >"$work/archive.list"
for file in '/bin/KxLogReport' '/share/man/man1/KxLogReport\.1(\.gz)?' '/lib(/[^/]+)?/cmake/KxLog/KxLogConfig\.cmake' \
    '/lib(/[^/]+)?/cmake/KxLog/KxLogTargets\.cmake' '/include/kxlog/kxlog\.h' '/lib(/[^/]+)?/libkxlog\.a'; do
    grep -Eq "^[^/]+(/usr)?$file\$" "$work/archive.list" ||
        fail "$file is not in the archive: $(cat "$work/archive.list")"
done
echo "packed, checked, installed and removed ${#packages[@]} packages, and packed an archive"

#!/usr/bin/env bash
# Packs the build: the archive with the tool and, where there is dpkg, the package of the logging module, asks lintian, and
# installs and removes it in a root folder of its own.
# Usage: test_packages.sh CPACK BUILD-FOLDER
set -euo pipefail

cpack=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# pack <argument>...: what cpack says goes to $work/cpack.log
pack() {
    "$cpack" --config "$build/CPackConfig.cmake" -B "$work/packages" "$@" >"$work/cpack.log" 2>&1
}

# The tests' build talks to this machine only.
for kind in TGZ DEB; do
    ! pack -G "$kind" || fail "cpack has packed addresses of this machine"
    grep -q 'KX_LOG_SERVICE_URL, KX_PRODUCER_URL, KX_REPORT_API_URL' "$work/cpack.log" ||
        fail "cpack does not say which addresses: $(cat "$work/cpack.log")"
    [ -z "$(find "$work/packages" -type f 2>/dev/null)" ] || fail "there is something in spite of that"
done
pack -G TGZ -D CPACK_KX_LOOPBACK_ENDPOINTS= || fail "cpack with real addresses: $(cat "$work/cpack.log")"

pack -G TGZ -D KX_PACKAGE_LOOPBACK=ON || fail "cpack: $(cat "$work/cpack.log")"
archives=("$work"/packages/*.tar.gz)
{ [ "${#archives[@]}" = 1 ] && [ -f "${archives[0]}" ]; } || fail "expected one archive, got ${archives[*]}"
tar tzf "${archives[0]}" | sed 's|^[^/]*/||' | LC_ALL=C sort >"$work/archive.list"
printf '%s\n' KxLogReport KxLogReport.1 copyright.txt logging.md upload-ini.md | cmp -s - "$work/archive.list" ||
    fail "the archive holds $(cat "$work/archive.list")"

for tool in dpkg dpkg-deb lintian; do
    command -v "$tool" >/dev/null || {
        echo "skipped behind the archive: no $tool here"
        exit 77
    }
done
[ "$(id -u)" = 0 ] || {
    echo "skipped behind the archive: dpkg installs as root only"
    exit 77
}

pack -G DEB -D KX_PACKAGE_LOOPBACK=ON || fail "cpack: $(cat "$work/cpack.log")"
packages=("$work"/packages/*.deb)
{ [ "${#packages[@]}" = 1 ] && [ -f "${packages[0]}" ]; } || fail "expected one package, got ${packages[*]}"
case "$(dpkg-deb --field "${packages[0]}" Package Architecture Depends | tr '\n' ' ')" in
"Package: libkxlog-dev Architecture: $(dpkg --print-architecture) Depends: qt"*"base"*"-dev ") ;;
*) fail "the package is not complete: $(dpkg-deb --field "${packages[0]}")" ;;
esac
lintian --allow-root --fail-on error "${packages[@]}" || fail "lintian has errors"

root="$work/root"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
: >"$root/var/lib/dpkg/status"
in_root() {
    dpkg --root="$root" --log=/dev/null --force-depends --force-not-root --force-script-chrootless "$@" \
        >"$work/dpkg.log" 2>&1 || fail "dpkg $*: $(cat "$work/dpkg.log")"
}
in_root --install "${packages[@]}"
for file in include/kxlog/kxlog.h lib/libkxlog.a lib/pkgconfig/kxlog.pc lib/cmake/KxLog/KxLogConfig.cmake \
    share/doc/libkxlog-dev/copyright; do
    [ -f "$root/usr/$file" ] || fail "/usr/$file is not installed"
done
[ -z "$(find "$root/usr" -name 'KxLogReport*')" ] || fail "the tool is in the package of the module"
in_root --purge libkxlog-dev
left=$(find "$root" -mindepth 1 -path "$root/var" -prune -o -type f -print)
[ -z "$left" ] || fail "left behind: $left"
echo "packed an archive, and packed, checked, installed and removed a package"

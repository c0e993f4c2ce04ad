#!/usr/bin/env bash
# Installs what this project needs and the machine lacks.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

# group, packages of Debian and Ubuntu, packages of Homebrew. Apple's command line tools bring the compiler.
table() {
    cat <<'TABLE'
build | g++ cmake ninja-build pkg-config qtbase5-dev libcpp-httplib-dev nlohmann-json3-dev libsqlite3-dev libutf8proc-dev libssl-dev | cmake ninja pkgconf qt@5 cpp-httplib nlohmann-json sqlite utf8proc openssl@3
test  | iproute2 openssl valgrind dpkg-dev lintian chromium | openssl@3
qt6   | qt6-base-dev | qt
check | clang clang-format clang-tidy clazy cppcheck shellcheck libclang-rt-dev gcovr | llvm clang-format cppcheck shellcheck gcovr
fuzz  | clang libclang-rt-dev | llvm
bench | libbenchmark-dev libspdlog-dev curl nginx-light | google-benchmark spdlog curl nginx
docs  | nodejs npm | node
TABLE
}

usage() {
    cat <<EOT
Usage: scripts/setup.sh [GROUP]...
Installs the packages of the groups that are missing on this machine (Debian and Ubuntu by apt-get, macOS by brew).
Says nothing and changes nothing when all of them are there. Without a group: build test.

  build   compiler, CMake, Ninja, Qt 5, and the libraries of the local log service
  test    what the tests need on top
  qt6     Qt 6, for the tests with it
  check   formatters, static checkers, coverage reports
  fuzz    Clang with libFuzzer and its sanitizers
  bench   what the benchmarks compare with; among it nginx, which Debian starts, on port 80, where it installs it
  docs    Node.js and npm for the check of openapi.yaml, unless both commands are there, from wherever

Exit status: 0 when everything is there, 1 when something could not be installed, 2 for wrong arguments.
EOT
}

# packages <column of the table>: the packages of the groups, a blank in front of each
packages() {
    local group
    for group in $groups; do
        if [ "$group" = docs ] && command -v node >/dev/null && command -v npm >/dev/null; then
            continue
        fi
        table | awk -F ' *[|] *' -v group="$group" -v column="$1" '$1 == group { printf " %s", $column }'
    done
}

# apt_get <argument>...: as root, what it prints goes to $log
apt_get() {
    local as_root=""
    [ "$(id -u)" -eq 0 ] || as_root=sudo
    # A freshly started machine may be busy with its own upgrades: the lock is worth waiting for.
    $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -o DPkg::Lock::Timeout=300 -qq "$@" </dev/null >>"$log" 2>&1
}

setup_debian() {
    local wanted present missing="" package
    wanted="$(packages 2)"
    # Ubuntu has Chromium as a snap only; the test that needs it is skipped there.
    if grep -q '^ID=ubuntu$' /etc/os-release 2>/dev/null; then
        wanted="${wanted/ chromium/}"
    fi
    # shellcheck disable=SC2086 # package names are words
    present=" $(dpkg-query -W -f '${Package}:${db:Status-Status} ' $wanted 2>/dev/null || true)"
    for package in $wanted; do
        case "$present" in
        *" $package:installed "*) ;;
        *) missing="$missing $package" ;;
        esac
    done
    [ -n "$missing" ] || return 0

    if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
        fail "missing packages and neither root nor sudo to install them; as root: apt-get install$missing"
    fi
    echo "$program: installing$missing (this may take some minutes)"
    log="$(mktemp)"
    trap 'rm -f "$log"' EXIT
    # The lists that are there already may be enough, and so may the good sources among which one is broken.
    apt_get update || true
    # shellcheck disable=SC2086
    if ! apt_get install -y --no-install-recommends $missing; then
        tail -n 20 "$log" >&2
        fail "apt-get could not install$missing; its last words are above"
    fi
}

setup_macos() {
    local wanted package missing="" present
    command -v brew >/dev/null || fail "missing Homebrew; install it, or install yourself:$(packages 3)"
    wanted="$(packages 3)"
    present=" $(brew list --formula -1 | tr '\n' ' ')"
    for package in $wanted; do
        case "$present" in
        *" $package "*) ;;
        *) missing="$missing $package" ;;
        esac
    done
    [ -n "$missing" ] || return 0
    echo "$program: installing$missing (this may take some minutes)"
    # shellcheck disable=SC2086
    brew install --quiet $missing </dev/null || fail "brew could not install$missing"
}

groups=""
for argument in "$@"; do
    case "$argument" in
    -h | --help)
        usage
        exit 0
        ;;
    build | test | qt6 | check | fuzz | bench | docs) groups="$groups $argument" ;;
    *) misuse "there is no group '$argument', only build, test, qt6, check, fuzz, bench and docs" ;;
    esac
done
groups="${groups:-build test}"
[ -n "$(packages 2)" ] || exit 0

if command -v apt-get >/dev/null && command -v dpkg-query >/dev/null; then
    setup_debian
elif [ "$(uname -s)" = Darwin ]; then
    setup_macos
else
    fail "this system has neither apt-get nor is it macOS; install what corresponds to:$(packages 2)"
fi

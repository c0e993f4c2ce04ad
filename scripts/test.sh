#!/usr/bin/env bash
# Sets this machine up, builds everything and runs the tests.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<EOT
Usage: scripts/test.sh [OPTION]... [-- CTEST-ARGUMENT...]
Installs what is missing, builds the tool, the local log service and the tests, and runs the tests.

  --preset NAME  dev (the default), qt6 (with Qt 6, the tests without the built tool only), asan (AddressSanitizer and
                 UndefinedBehaviorSanitizer), tsan (ThreadSanitizer, the tests of the logging module only) or coverage
  --long         also the tests that take minutes
  --help         print this text

What stands behind -- goes to ctest, for example: scripts/test.sh -- -R tst_sandbox
The build is kept in build/NAME; a second run there waits for the first. Exit status: 0 when every test passed, 2 for
wrong arguments.
EOT
}

preset=dev
selection=(-LE '^long$')
while [ $# -gt 0 ]; do
    case "$1" in
    --preset)
        [ $# -ge 2 ] || misuse "option --preset needs a value"
        preset="$2"
        shift
        ;;
    --preset=*) preset="${1#*=}" ;;
    --long) selection=() ;;
    -h | --help)
        usage
        exit 0
        ;;
    --)
        shift
        break
        ;;
    *) misuse "unknown argument '$1'" ;;
    esac
    shift
done
case "$preset" in
dev | qt6 | asan | tsan | coverage) ;;
*) misuse "there is no preset '$preset', only dev, qt6, asan, tsan and coverage" ;;
esac

groups="build test"
case "$preset" in
qt6) groups="$groups qt6" ;;
asan) groups="$groups fuzz" ;;
esac
# shellcheck disable=SC2086 # group names are words
"$repo/scripts/setup.sh" $groups
export_brew_paths
[ "$preset" != asan ] || export_brew_clang

cd -- "$repo"
build="build/$preset"
mkdir -p "$build"
# hold <descriptor> <file>: waits until no other run of this script holds the file; it is held until this one ends
hold() {
    # With Perl, since macOS has no command for it.
    perl -e 'use Fcntl ":flock"; open(my $file, ">&=", $ARGV[0]) or die "$!\n"; exit if flock($file, LOCK_EX | LOCK_NB);
        print "test.sh: waiting for another run to end\n"; flock($file, LOCK_EX) or die "$!\n"' "$1"
}
exec 8>>"$build/running.lock"
hold 8
cmake --preset "$preset"
cmake --build --preset "$preset"

cores="$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)"
if grep -q '^KX_TEST_NETWORKS:BOOL=ON$' "$build/CMakeCache.txt"; then
    # They wait more than they compute, though less so under sanitizers.
    jobs=$((cores * 4))
    case "$preset" in
    asan | tsan) jobs=$((cores * 2)) ;;
    esac
    echo "test.sh: $jobs tests at a time, each in a network of its own"
else
    jobs="$cores"
    echo "test.sh: $jobs tests at a time, those that share a port one after another: no networks of their own here"
    exec 9>>"${TMPDIR:-/tmp}/kxlogreport-tests-$(id -u).lock"
    hold 9
fi
# The locks are this script's alone: a process that a test leaves behind must not keep them.
ctest --preset "$preset" -j "$jobs" ${selection[@]+"${selection[@]}"} "$@" 8>&- 9>&-

#!/usr/bin/env bash
# Sets this machine up, builds everything and runs the tests.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<EOT
Usage: scripts/test.sh [OPTION]... [-- CTEST-ARGUMENT...]
Installs what is missing, builds the tool, the local log service and the tests, and runs the tests.

  --preset NAME  dev (the default), asan (AddressSanitizer and UndefinedBehaviorSanitizer) or coverage
  --long         also the tests that take minutes
  --help         print this text

What stands behind -- goes to ctest, for example: scripts/test.sh -- -R tst_sandbox
The build is kept in build/NAME. Exit status: 0 when every test passed, 2 for wrong arguments.
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
dev | asan | coverage) ;;
*) misuse "there is no preset '$preset', only dev, asan and coverage" ;;
esac

"$repo/scripts/setup.sh" build test
export_brew_paths

if [ "$preset" = asan ]; then
    export ASAN_OPTIONS="halt_on_error=1:detect_stack_use_after_return=1"
    export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
    export LSAN_OPTIONS="suppressions='$repo/tests/lsan.supp':print_suppressions=0"
fi

cd -- "$repo"
cmake --preset "$preset"
cmake --build --preset "$preset"
exec ctest --preset "$preset" -j2 ${selection[@]+"${selection[@]}"} "$@"

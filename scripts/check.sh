#!/usr/bin/env bash
# Static checks: format, compiler warnings of Clang, clang-tidy, clazy, cppcheck, shellcheck.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<'END'
Usage: scripts/check.sh [--help]

Runs every static check over the sources and prints what they object to. Installs what they need.
The status is 0 when all of them are content.
END
}

case "${1-}" in
'') ;;
-h | --help)
    usage
    exit 0
    ;;
*) misuse "unknown option '$1'" ;;
esac

cd -- "$repo"
scripts/setup.sh build test check

failed=()
step() {
    local name=$1
    shift
    echo "== $name"
    "$@" || failed+=("$name")
}

mapfile -t cpp < <(git ls-files --cached --others --exclude-standard '*.cpp' '*.h')
mapfile -t shell < <(git ls-files --cached --others --exclude-standard '*.sh' .ci/run)
# The analysers read what is shipped and what serves it; tests are held to the compilers' warnings and the format.
mapfile -t analysed < <(git ls-files --cached --others --exclude-standard 'KxLogReport/*.cpp' 'logservice/*.cpp')
build=build/tidy

compile_with_clang() {
    cmake --preset tidy >/dev/null && cmake --build --preset tidy -- --quiet
}
tidy() {
    printf '%s\0' "${analysed[@]}" | xargs -0 -n 1 -P "$(nproc 2>/dev/null || echo 2)" clang-tidy -p "$build" --quiet
}
clazy() {
    # The string form of connect is how the slots are known to callers; clazy asks for the other one at level 2 only.
    printf '%s\0' "${analysed[@]}" |
        CLAZY_EXTRA_OPTIONS='' xargs -0 -n 4 -P "$(nproc 2>/dev/null || echo 2)" \
            clazy-standalone -p "$build" --checks=level1 --header-filter='(KxLogReport|logservice)/' \
            --extra-arg=-Werror=clazy --extra-arg=-Wno-unknown-warning-option
}
cppchecked() {
    cppcheck --quiet --error-exitcode=1 --enable=warning,performance,portability --inline-suppr --library=qt \
        --language=c++ --std=c++17 -I KxLogReport -I logservice --suppress=missingIncludeSystem \
        "${analysed[@]}"
}

step "clang-format" clang-format --dry-run --Werror "${cpp[@]}"
step "shellcheck" shellcheck "${shell[@]}"
step "clang, warnings as errors" compile_with_clang
step "clang-tidy" tidy
step "clazy" clazy
step "cppcheck" cppchecked

if [ "${#failed[@]}" -gt 0 ]; then
    fail "not content: ${failed[*]}"
fi
echo "all checks are content"

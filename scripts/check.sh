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

help_only "$@"

cd -- "$repo"
scripts/setup.sh build test check fuzz
export_brew_paths
export_brew_clang

failed=()
step() {
    local name=$1
    shift
    echo "== $name"
    "$@" || failed+=("$name")
}

# listed <pattern>...: the files of the project that match, ended by zero bytes
listed() {
    git ls-files -z --cached --others --exclude-standard -- "$@"
}
# The analysers read what is shipped and what serves it; tests are held to the compilers' warnings and the format.
analysed() {
    listed 'KxLogReport/*.cpp' 'logservice/*.cpp'
}
cores="$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)"
build=build/asan

formatted() {
    listed '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
}
shell_checked() {
    listed '*.sh' .ci/run | xargs -0 shellcheck
}
compile_with_clang() {
    cmake --preset asan >/dev/null && cmake --build --preset asan -- --quiet
}
tidy() {
    analysed | xargs -0 -n 1 -P "$cores" clang-tidy -p "$build" --quiet
}
clazy() {
    analysed | xargs -0 -n 4 -P "$cores" clazy-standalone -p "$build" --checks=level1 \
        --header-filter='(KxLogReport|logservice)/' --extra-arg=-Werror --extra-arg=-Wno-unknown-warning-option
}
cppcheck_all() {
    # These macros of Qt stand without a semicolon, which cppcheck cannot read; --force: in every branch of an #ifdef.
    analysed | xargs -0 cppcheck --quiet --error-exitcode=1 --enable=warning,performance,portability --inline-suppr \
        --library=qt --force -DQT_WARNING_PUSH= -DQT_WARNING_POP= -DQT_WARNING_DISABLE_DEPRECATED= \
        --language=c++ --std=c++17 -I KxLogReport -I logservice --suppress=missingIncludeSystem
}
# Debian has it and Homebrew has not.
has_clazy() {
    command -v clazy-standalone >/dev/null
}

step "clang-format" formatted
step "shellcheck" shell_checked
step "clang, warnings as errors" compile_with_clang
step "clang-tidy" tidy
if has_clazy; then
    step "clazy" clazy
else
    echo "== clazy: SKIPPED, not installed"
fi
step "cppcheck" cppcheck_all

if [ "${#failed[@]}" -gt 0 ]; then
    fail "not content: ${failed[*]}"
fi
echo "all checks are content"

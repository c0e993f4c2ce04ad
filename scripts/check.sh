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
together="$repo/$build/together"

formatted() {
    listed '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
}
shell_checked() {
    listed '*.sh' .ci/run | xargs -0 shellcheck
}
compile_with_clang() {
    cmake --preset asan >/dev/null && cmake --build --preset asan -- --quiet
}
# What clang-tidy and clazy take is mostly the headers of Qt and of the libraries, which every source includes: they are
# given sources that include many of this project.
#
# put_together <object> <pattern>...: makes one that includes all those, and is compiled like the object. When two of
# them have, each for itself, the same name, that is an error there: the later one goes into a further such source.
put_together() {
    local object=$1 place sources=() clashing source
    shift
    while IFS= read -r -d '' source; do
        sources+=("$repo/$source")
    done < <(listed "$@")
    while [ "${#sources[@]}" -gt 0 ]; do
        place="$(mktemp -d "$together/XXXXXX")"
        {
            printf '[{ "directory": "%s", "file": "%s", "command": "' "$repo/$build" "$place/all.cpp"
            sed -n 's|^ *"command": "\(.*\) -o '"$object"' .*|\1|p' "$build/compile_commands.json" | tr -d '\n'
            printf ' -c \\"%s\\"" }]\n' "$place/all.cpp"
        } >"$place/compile_commands.json"
        # Only here is it right to include a source.
        printf '#include "%s" // NOLINT(bugprone-suspicious-include)\n' "${sources[@]}" >"$place/all.cpp"
        # Any one check will do: none at all would be refused.
        { clang-tidy --quiet --checks='-*,bugprone-suspicious-include' --extra-arg=-ferror-limit=0 "$place/all.cpp" ||
            true; } 2>/dev/null |
            sed -n 's|^\([^:]*\):[0-9:]* error: .*\[clang-diagnostic-error\]$|"\1"|p' | sort -u >"$place/clashing"
        clashing=()
        while IFS= read -r source; do
            clashing+=("${source//\"/}")
        done <"$place/clashing"
        # What is an error by itself is for the analysers to report.
        [ "${#clashing[@]}" -lt "${#sources[@]}" ] || break
        grep -v -F -f "$place/clashing" "$place/all.cpp" >"$place/rest"
        mv "$place/rest" "$place/all.cpp"
        sources=(${clashing[@]+"${clashing[@]}"})
    done
}
all_together() {
    rm -rf -- "$together"
    mkdir -p "$together"
    put_together KxLogReport/CMakeFiles/kxupload.dir/kxupload.cpp.o 'KxLogReport/*.cpp' &
    put_together logservice/CMakeFiles/kxlogservice.dir/main.cpp.o 'logservice/*.cpp'
    wait $!
}
tidy() {
    find "$together" -name all.cpp -print0 | xargs -0 -n 1 -P "$cores" clang-tidy --quiet
}
# One check looks at nothing but the main source: it is given those with conditions one by one.
tidy_conditions() {
    analysed | xargs -0 grep -l --null '^ *# *if' | xargs -0 -n 1 -P "$cores" clang-tidy -p "$build" --quiet \
        --checks='-*,readability-redundant-preprocessor'
}
clazy() {
    find "$together" -name all.cpp -print0 | xargs -0 -n 1 -P "$cores" clazy-standalone --checks=level1 \
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
all_together
step "clang-tidy" tidy
step "clang-tidy, nested conditions" tidy_conditions
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

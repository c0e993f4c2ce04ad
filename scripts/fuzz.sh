#!/usr/bin/env bash
# Feeds what libFuzzer makes up to the places that read what others wrote.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

all="answer form markedmessage retention uploadini"

usage() {
    cat <<EOT
Usage: scripts/fuzz.sh [TARGET]... [OPTION]...
Installs what is missing, builds the fuzzers with AddressSanitizer and UndefinedBehaviorSanitizer and runs them.
Without a target: all of them.

  answer         answers of the log service
  form           forms that the local log service reads
  markedmessage  messages with marked fields
  retention      names of log files
  uploadini      the text of upload.ini

  --seconds N    how long each of them runs (default 20), as many at a time as there are cores; 0: until it is
                 interrupted, for one target only
  --help         print this text

The build is kept in build/asan. So is what they have learnt, in corpus/TARGET, and what they have found, in
found/TARGET-*: put such an input into tests/fuzz/corpus/TARGET, and the tests try it in every run.
Exit status: 0 when nothing was found, 1 when something was, 2 for wrong arguments.
EOT
}

targets=""
seconds=20
while [ $# -gt 0 ]; do
    case "$1" in
    --seconds)
        [ $# -ge 2 ] || misuse "option --seconds needs a value"
        seconds="$2"
        shift
        ;;
    --seconds=*) seconds="${1#*=}" ;;
    -h | --help)
        usage
        exit 0
        ;;
    -*) misuse "unknown argument '$1'" ;;
    *)
        case " $all " in
        *" $1 "*) targets="$targets $1" ;;
        *) misuse "there is no target '$1', only $all" ;;
        esac
        ;;
    esac
    shift
done
case "$seconds" in
'' | *[!0-9]* | ?????????*) misuse "'$seconds' is no number of seconds" ;;
esac
# shellcheck disable=SC2086 # target names are words
set -- ${targets:-$all}
if [ "$seconds" -eq 0 ] && [ $# -ne 1 ]; then
    misuse "--seconds 0 takes exactly one target"
fi

"$repo/scripts/setup.sh" build fuzz
export_brew_paths
export_brew_clang
build="$repo/build/asan"
cd -- "$repo"
cmake --preset asan >/dev/null
cmake --build --preset asan --target "${@/#/fuzz_}"

# The uploader looks for its configuration beside the program, and waits for the disk whenever it forgets a group.
memory=/dev/shm
[ -w "$memory" ] || memory="${TMPDIR:-/tmp}"
work="$(mktemp -d "$memory/kxfuzz.XXXXXX")"
trap 'rm -rf -- "$work"' EXIT
mkdir -p "$build/found"

# of_log <target> <expression of sed>: what it finds in the target's log last
of_log() {
    sed -n "s/$2/\\1/p" "$work/$1.log" | tail -n 1
}

# fuzz <target>: runs it
fuzz() {
    local target="$1" learnt="$build/corpus/$1" place="$work/$1"
    mkdir -p "$learnt" "$place/home"
    cp "$build/tests/fuzz/fuzz_$target" "$place/"
    # A list that claims to be huge is refused by the allocator, as it is without sanitizers, and not reported.
    HOME="$place/home" TMPDIR="$place" ASAN_OPTIONS="allocator_may_return_null=1:max_allocation_size_mb=1024" \
        LSAN_OPTIONS="suppressions='$repo/tests/lsan.supp':print_suppressions=0" \
        "$place/fuzz_$target" -max_total_time="$seconds" -timeout=10 -malloc_limit_mb=4096 -print_final_stats=1 \
        -dict="$repo/tests/fuzz/$target.dict" -artifact_prefix="$build/found/$target-" \
        "$learnt" "$repo/tests/fuzz/corpus/$target" >"$work/$target.log" 2>&1
}

# report <target> <status of its run>
report() {
    printf '%-14s %9s executions, %4s branches reached' "$1" \
        "$(of_log "$1" '^stat::number_of_executed_units: *\(.*\)')" "$(of_log "$1" '.* cov: \([0-9]*\) .*')"
    if [ "$2" -eq 0 ]; then
        printf ', nothing found\n'
        return
    fi
    printf ', FOUND something (status %s):\n' "$2"
    grep -v -E '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse)' "$work/$1.log" | tail -n 60
}

failed=0
cores="$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)"
while [ $# -gt 0 ]; do
    running=""
    for target in "${@:1:$cores}"; do
        fuzz "$target" &
        running="$running $target:$!"
    done
    for entry in $running; do
        status=0
        wait "${entry#*:}" || status=$?
        report "${entry%:*}" "$status"
        [ "$status" -eq 0 ] || failed=1
    done
    shift "$(($# < cores ? $# : cores))"
done
exit "$failed"

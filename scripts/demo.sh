#!/usr/bin/env bash
# Shows on this machine, and checks, what KxLogReport does: builds it, starts the local log service, lays out a
# throw-away installation, runs the tool twice and compares what arrived with what was there.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"
# shellcheck source=scripts/demo_scene.sh
. "$repo/scripts/demo_scene.sh"
# shellcheck source=scripts/demo_report.sh
. "$repo/scripts/demo_report.sh"

usage() {
    cat <<EOT
Usage: scripts/demo.sh [OPTION]...
Installs what is missing, builds KxLogReport and the local log service, sends some log files from a throw-away
installation to the service and checks what happened. Nothing leaves this machine.

  --port N  port of the local log service (default 8700)
  --keep    keep the throw-away installation and what arrived, and say where they are
  --help    print this text

The build is kept in build/demo. Exit status: 0 when every check passed, 1 when not, 2 for wrong arguments.
EOT
}

port=8700
keep=no
while [ $# -gt 0 ]; do
    case "$1" in
    --port)
        [ $# -ge 2 ] || misuse "option --port needs a value"
        port="$2"
        shift
        ;;
    --port=*) port="${1#*=}" ;;
    --keep) keep=yes ;;
    -h | --help)
        usage
        exit 0
        ;;
    *) misuse "unknown argument '$1'" ;;
    esac
    shift
done
case "$port" in
'' | *[!0-9]* | ??????*) misuse "'$port' is not a port, expected a number from 1 to 65535" ;;
esac
port=$((10#$port))
if [ "$port" -lt 1 ] || [ "$port" -gt 65535 ]; then
    misuse "'$port' is not a port, expected a number from 1 to 65535"
fi

work=""

clean_up() {
    local status=$? group
    trap '' INT TERM HUP
    trap - EXIT
    # Every command in the background leads a process group of its own, see start().
    for group in $(jobs -p); do
        kill -TERM -- "-$group" 2>/dev/null || true
        wait "$group" 2>/dev/null || true
    done
    if [ -n "$work" ] && [ "$keep" = yes ]; then
        printf '\nKept in %s\n' "$work"
        printf 'To look at what arrived, start this and open http://127.0.0.1:%s/ in a browser:\n  %s\n' "$port" \
            "$repo/build/demo/logservice/kxlogservice --port $port --no-report --dir $work/service"
    elif [ -n "$work" ]; then
        rm -rf -- "$work"
    fi
    exit "$status"
}
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# start <log> <command>...: in the background and in a process group of its own
start() {
    local log="$1"
    shift
    : >"$log"
    set -m
    "$@" </dev/null >"$log" 2>&1 &
    set +m
}

# run <log> <command>...: waits for the command in a way that an interrupt ends at once, with all that it has started
run() {
    start "$@"
    wait "$!"
}

# must_run <log> <command>...: shows the log and gives up when the command fails
must_run() {
    run "$@" && return
    cat -- "$1" >&2
    shift
    fail "this failed, the output is above: $*"
}

build() {
    local origin="http://127.0.0.1:$port"
    must_run "$work/configure.log" cmake -S "$repo" -B "$repo/build/demo" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DKX_BUILD_TESTS=OFF -DKX_BUILD_LOGSERVICE=ON \
        -DKX_LOG_SERVICE_URL="$origin/logsys/client" -DKX_PRODUCER_URL="$origin/v1/clientproducer/upload" \
        -DKX_REPORT_API_URL=http://127.0.0.1 -DKX_ERROR_GATEWAY_URL="$origin"
    must_run "$work/build.log" cmake --build "$repo/build/demo"
}

start_service() {
    local tries=0
    # The tool never sends log reports, so their fixed port stays free for others.
    start "$work/service.log" \
        "$repo/build/demo/logservice/kxlogservice" --port "$port" --no-report --dir "$store"
    until grep -q 'listening on' "$work/service.log"; do
        tries=$((tries + 1))
        if [ "$tries" -gt 100 ] || ! kill -0 "$!" 2>/dev/null; then
            fail "the local log service did not start: $(cat "$work/service.log")"
        fi
        sleep 0.1
    done
}

# run_tool <argument>...: one run in the throw-away installation; its exit status goes to $tool_status
run_tool() {
    local begin=$SECONDS
    tool_status=0
    # Nothing of the caller's environment decides what the tool does, where it logs or how it writes text.
    run "$work/tool.log" env -i PATH="$PATH" HOME="$home" CFFIXED_USER_HOME="$home" LC_ALL=C.UTF-8 \
        "$app/KxLogReport" "$@" || tool_status=$?
    own_log="$(newest_own_log)"
    printf 'It ended with status %s after about %s s.\n' "$tool_status" "$((SECONDS - begin))"
}

if (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
    fail "port $port of 127.0.0.1 is in use, choose another one with --port N"
fi

"$repo/scripts/setup.sh" build
export_brew_paths
work="$(mktemp -d "${TMPDIR:-/tmp}/kxdemo.XXXXXX")"
work="$(cd -- "$work" && pwd -P)"

cat <<EOT
KxLogReport reads a list of log files, sends them one after another to a log service, takes each sent one off the
list and quits. This shows it with a local service; nothing leaves this machine.

== Build
The tool and the local log service, into build/demo. The first time this takes a minute or two.
EOT
build

lay_out_scene "$repo/build/demo/KxLogReport/KxLogReport"
start_service
cat <<EOT

== Start
The local log service: http://127.0.0.1:$port
A throw-away installation of the tool: $work/app
Its list, config/upload.ini, with <work> for $work:
EOT
show "$ini"
cat <<EOT

== First run: KxLogReport
Expected: what the list names is sent, then the tool's own log. The missing and the empty file are only taken off the
list. The SDK log goes to an address of its own and is deleted.

EOT
remember_before
run_tool
report_run
check_first_run

add_to_list
cat <<EOT

== Second run: KxLogReport <work>/app/crash/kxclient.dmp
The client has crashed: it names a dump on the command line and has put one more log on the list.
Expected: the tool opens the dump's file object twice, on purpose. Qt refuses the second open with a warning, so the
dump is NOT sent and stays on disk. The run goes on with the list.

EOT
remember_before
run_tool "$dump"
report_run
show_warnings
check_second_run

printf '\n== Verdict\n'
if [ "$failed" -gt 0 ]; then
    fail "$failed of $((passed + failed)) checks failed; --keep leaves everything for a look"
fi
printf 'All %s checks passed.\n' "$passed"

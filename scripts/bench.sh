#!/usr/bin/env bash
# Sets this machine up, builds the benchmarks and runs them.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<EOT
Usage: scripts/bench.sh [OPTION]...
Installs what is missing, builds everything optimised, measures the tool, its logging module and the log service beside
their peers, prints one table, and writes it with the machine to docs/performance.md. That takes about 20 minutes on a
machine that does nothing else, and 3 GiB of memory for files.

  --quick      a few seconds with small counts, to see that everything runs; the figures mean nothing
  --only NAME  one measurement: records, retention, start, ownlog, small, throughput, memory, held, counts, skipped
               or load
  --fleet ...  measures nothing, but simulates many machines and their service; what follows goes to the simulation,
               for example: scripts/bench.sh --fleet --machines 1000000 --outage 8 --capacity 3x; --fleet --help
  --help       print this text

With --quick and --only nothing is written. The build is kept in build/bench.
Exit status: 0 when everything ran, whether or not its target is met; 2 for wrong arguments.
EOT
}

options=()
while [ $# -gt 0 ]; do
    case "$1" in
    --quick) options+=(--quick) ;;
    --only)
        [ $# -ge 2 ] || misuse "option --only needs a value"
        only="$2"
        shift
        ;;
    --only=*) only="${1#*=}" ;;
    --fleet)
        shift
        fleet=yes
        break
        ;;
    -h | --help)
        usage
        exit 0
        ;;
    *) misuse "unknown argument '$1'" ;;
    esac
    shift
done
if [ -n "${only+set}" ]; then
    case "$only" in
    records | retention | start | ownlog | small | throughput | memory | held | counts | skipped | load) ;;
    *) misuse "there is no measurement '$only', see --only" ;;
    esac
    options+=(--only "$only")
fi

"$repo/scripts/setup.sh" build bench
export_brew_paths

# Reports always go to the same port: an address of their own keeps them apart from a log service that may be running.
own_address=()
[ "$(uname -s)" != Linux ] || own_address=(-DKX_REPORT_API_URL=http://127.0.0.2)

cd -- "$repo"
cmake --preset bench ${own_address[@]+"${own_address[@]}"} >&2
if [ -n "${fleet+set}" ]; then
    cmake --build --preset bench --target kxfleet >&2
    exec build/bench/bench/kxfleet "$@"
fi
cmake --build --preset bench >&2

# What is measured stands beside the build, on a disk like any other.
cd -- "$repo/build/bench"
if [ ${#options[@]} -gt 0 ]; then
    exec bench/kxbench "${options[@]}"
fi

results="$(mktemp)"
trap 'rm -f "$results" "$results.page"' EXIT
bench/kxbench >"$results"
cat "$results"

page="$repo/docs/performance.md"
awk -v results="$results" '
    /^<!-- results end -->/ { skipping = 0 }
    !skipping { print }
    /^<!-- results begin/ {
        skipping = 1
        print ""
        while ((getline line < results) > 0)
            print line
        print ""
    }' "$page" >"$results.page"
cat "$results.page" >"$page"
echo "written to docs/performance.md"

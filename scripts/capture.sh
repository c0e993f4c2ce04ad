#!/usr/bin/env bash
# Writes the requests of a real run into docs/protocol.md.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<EOT
Usage: scripts/capture.sh [OPTION]
Installs what is missing, builds the tool and a client, runs them in throw-away installations against a server on this
machine that records, and writes what they sent into docs/protocol.md, in the places of its examples.

  --check  change nothing, print what differs
  --help   print this text

The build is kept in build/dev. Exit status: 0 when it is written or, with --check, when nothing differs, 2 for wrong
arguments.
EOT
}

check=no
while [ $# -gt 0 ]; do
    case "$1" in
    --check) check=yes ;;
    -h | --help)
        usage
        exit 0
        ;;
    *) misuse "unknown argument '$1'" ;;
    esac
    shift
done

"$repo/scripts/setup.sh" build test
export_brew_paths
cd -- "$repo"
cmake --preset dev >&2
cmake --build --preset dev --target protocolcapture >&2

page=docs/protocol.md
captured="$(mktemp)"
trap 'rm -f "$captured"' EXIT
build/dev/tests/protocol/protocolcapture "$page" >"$captured"
if [ "$check" = yes ]; then
    diff -u "$page" "$captured" || fail "$page does not show what is sent; run scripts/capture.sh"
    echo "$page shows what is sent"
    exit
fi
cat "$captured" >"$page"
echo "written to $page"

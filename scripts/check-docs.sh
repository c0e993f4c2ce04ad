#!/usr/bin/env bash
# Checks the description of the protocol for machines.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<EOT
Usage: scripts/check-docs.sh [--help]
Installs what is missing, fetches a validator from the npm registry, in the versions that docs/openapi-check fixes, into
build/openapi-check, and checks that docs/openapi.yaml is a valid OpenAPI document and agrees with the captured requests
in docs/protocol.md: paths, names and order of the parts, content types, JSON.

Exit status: 0 when it is and does, 1 when not, 2 for wrong arguments.
EOT
}

help_only "$@"

"$repo/scripts/setup.sh" docs
oldest=18
node --eval "process.exit(parseInt(process.versions.node) < $oldest ? 1 : 0)" ||
    fail "needs Node.js $oldest or later, this is $(node --version)"
cd -- "$repo"
work=build/openapi-check
mkdir -p "$work"
cp docs/openapi-check/package.json docs/openapi-check/package-lock.json docs/openapi-check/check.mjs "$work"
# Nothing of the packages runs before the check itself does.
(cd -- "$work" && npm ci --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null)
node "$work/check.mjs" docs/openapi.yaml docs/protocol.md

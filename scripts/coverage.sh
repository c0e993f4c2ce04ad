#!/usr/bin/env bash
# Shows which lines of the tool the tests reach.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

# docs/development.md names each of the lines that may stay without a test.
at_least=98

usage() {
    cat <<EOT
Usage: scripts/coverage.sh [--help]
Installs what is missing, builds everything with counters, runs the quick tests, and prints how many lines of
KxLogReport/ they have reached and which ones they have not.

The build is kept in build/coverage, and so is a page to look at, index.html.
Exit status: 0 when at least $at_least % of the lines were reached, 1 when fewer were or a test failed, 2 for wrong
arguments.
EOT
}

help_only "$@"

"$repo/scripts/setup.sh" build test check
build="$repo/build/coverage"
# Counts of earlier runs would be added to.
if [ -d "$build" ]; then
    find "$build" -name '*.gcda' -delete
fi
# What is installed from this build needs the library that counts, which a client does not link.
"$repo/scripts/test.sh" --preset coverage -- -E '^(install|client)$'

cd -- "$repo"
# The variant of the tool for Valgrind is optimised, and its lines are not where those of the others are.
gcovr --root . --filter KxLogReport/ --exclude-directories '.*KxLogReport_memcheck.*' --print-summary \
    --html-details "$build/index.html" --fail-under-line "$at_least" "$build"

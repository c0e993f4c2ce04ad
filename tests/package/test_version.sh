#!/usr/bin/env bash
# Whether the pages and what is installed have the version of the project.
# Usage: test_version.sh VERSION SOURCE-FOLDER BUILD-FOLDER
set -euo pipefail

version=$1 source=$2 build=$3

# expect <file> <line>: fails unless the file has just that line
expect() {
    grep -qxF -- "$2" "$1" || {
        echo "FAIL: $1 has no line '$2'" >&2
        exit 1
    }
}

expect "$source/docs/openapi.yaml" "  version: $version"
grep -q "^\.TH KXLOGREPORT 1 \"[0-9-]*\" \"KxLogReport $version\" " "$source/docs/KxLogReport.1" || {
    echo "FAIL: the manual page is not about $version" >&2
    exit 1
}
grep -q "^## \[$version\] - [0-9-]*$" "$source/CHANGELOG.md" || {
    echo "FAIL: the changelog has nothing about $version" >&2
    exit 1
}
expect "$build/generated/Info.plist" "    <string>$version</string>"
expect "$build/kxlog.pc" "Version: $version"
echo "all are about $version"

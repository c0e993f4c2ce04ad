#!/usr/bin/env bash
# Looks for code that would accept a service whose certificate is not in order.
set -euo pipefail
# shellcheck source=scripts/common.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat <<EOT
Usage: scripts/check-tls.sh [FOLDER]...
Looks through the sources of what is shipped (KxLogReport) for anything that turns the check of certificates off,
weakens it or changes what is trusted, and prints it. Tests may do so: they do not leave this machine.

Exit status: 0 when there is nothing of the kind, 1 when there is, 2 for wrong arguments.
EOT
}

case "${1-}" in
-h | --help)
    usage
    exit 0
    ;;
-*) misuse "unknown argument '$1'" ;;
esac

cd -- "$repo"
[ $# -gt 0 ] || set -- KxLogReport
for folder in "$@"; do
    [ -d "$folder" ] || misuse "there is no folder '$folder'"
    # Without sources to look through there is nothing that could be found.
    [ -n "$(find "$folder" -name '*.cpp')" ] || misuse "there are no sources in '$folder'"
done

words='ignoreSslErrors|[pP]eerVerifyMode|[pP]eerVerifyDepth|VerifyNone|QueryPeer|setPeerVerifyName'
words="$words|(set|add)(Default)?CaCertificate|sslErrors|setSslConfiguration|setDefaultConfiguration"
words="$words|setProtocol|UnknownProtocol|SslV[23]|TlsV1_[01]([^0-9]|\$)|AnyProtocol"
words="$words|QSsl(Configuration|Socket|Error)|SSL_CTX_set_verify|SSL_VERIFY_NONE"

status=0
grep -rnE --include='*.cpp' --include='*.h' --include='*.in' -- "$words" "$@" || status=$?
case "$status" in
0) fail "the lines above may let a service pass whose certificate is not in order" ;;
1) echo "No source in $* touches the check of certificates." ;;
*) fail "grep failed with status $status" ;;
esac

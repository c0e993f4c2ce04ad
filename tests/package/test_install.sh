#!/usr/bin/env bash
# Installs the project and builds, outside its tree, a client with the installed logging module.
# Usage: test_install.sh CMAKE BUILD-FOLDER SOURCE-FOLDER
set -euo pipefail

cmake=$1 build=$2 source=$3
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$work/prefix" >"$work/install.log" || fail "install: $(cat "$work/install.log")"
for file in bin/KxLogReport share/man/man1/KxLogReport.1 include/kxlog/kxlog.h; do
    [ -f "$work/prefix/$file" ] || fail "$file is not installed"
done
grep -rqF "$source" "$work/prefix/lib"*/ --include='*.cmake' && fail "the package names the source folder"

cp -r "$source/examples/client" "$work/client"
{
    "$cmake" -S "$work/client" -B "$work/client-build" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_BUILD_TYPE=Release
    "$cmake" --build "$work/client-build"
} >"$work/build.log" 2>&1 || fail "the client does not build: $(cat "$work/build.log")"

mkdir "$work/home"
HOME="$work/home" "$work/client-build/client" "$work/logs" 2>"$work/stderr"
logs=("$work"/logs/upload_*.log)
[ -f "${logs[0]}" ] || fail "the client wrote no log"

stamp='\[[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\]'
# records LEVEL FUNCTION MESSAGE: how many records there are of this form
records() {
    grep -cE "^$stamp\[$1\]\[$work/client/main\.cpp\]\[[0-9]+\]\[$2\]$3"$'\r$' "${logs[0]}" || true
}
[ "$(records Debug '.*receive\(\)' 'received frame [0-9]+')" -eq 1000 ] || fail "records of one thread are missing"
[ "$(records Debug '.*render\(\)' 'rendered [0-9]+')" -eq 1000 ] || fail "records of the other thread are missing"
[ "$(records Warning 'int main\(int, char ?\*\*\)' 'signal_client   signal_reconnect  lost count:2')" -eq 1 ] ||
    fail "no report record in $(cat "${logs[0]}")"
[ "$(wc -l <"${logs[0]}")" -eq $((2 * 2001)) ] || fail "there is more in the log than its records"
echo "installed, built a client and read its records"

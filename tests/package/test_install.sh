#!/usr/bin/env bash
# Installs what there is by components, and builds, outside the project's tree, a client with the installed logging module
# by what pkg-config knows of it. (test_client.sh has CMake build it.)
# Usage: test_install.sh CMAKE BUILD-FOLDER SOURCE-FOLDER [SANITIZERS]
set -euo pipefail

cmake=$1 build=$2 source=$3 sanitizers=${4-}
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# install_to <folder> <argument>...: which files there are afterwards goes to $installed
install_to() {
    local folder=$1
    shift
    "$cmake" --install "$build" --prefix "$folder" "$@" >"$work/install.log" 2>&1 ||
        fail "install: $(cat "$work/install.log")"
    installed=$(cd "$folder" && find . ! -type d | LC_ALL=C sort)
}

install_to "$work/tool" --component tool
[ "$installed" = ./KxLogReport ] || fail "the component tool has installed: $installed"
mode=$(stat -c %a "$work/tool/KxLogReport" 2>/dev/null || stat -f %Lp "$work/tool/KxLogReport")
[ "$mode" = 755 ] || fail "the tool has the mode $mode"

# What signs the tool gets it as it stays.
cat >"$work/sign" <<'EOT'
#!/bin/sh
printf '%s\n' "$@" >"${0%/*}/signed"
cp -- "$3" "${0%/*}/signed.tool"
exit "$(cat "${0%/*}/status")"
EOT
chmod +x "$work/sign"
# With the Qt of the build, which may be the only one here.
qt=$(sed -n 's/^KX_QT_MAJOR:[A-Z]*=//p' "$build/CMakeCache.txt")
qt_folder=$(sed -n "s/^Qt${qt}_DIR:[A-Z]*=//p" "$build/CMakeCache.txt")
"$cmake" -S "$source" -B "$work/build" -DKX_BUILD_TESTS=OFF -DKX_BUILD_LOGSERVICE=OFF -DCMAKE_BUILD_TYPE=Release \
    "-DKX_QT_MAJOR=$qt" "-DQt${qt}_DIR=$qt_folder" \
    "-DKX_SIGN_COMMAND=$work/sign;--as;the vendor" >"$work/configure.log" 2>&1 ||
    fail "configuring: $(cat "$work/configure.log")"
mkdir -p "$work/build/KxLogReport"
cp "$build/KxLogReport/KxLogReport" "$work/build/KxLogReport"
echo 0 >"$work/status"
"$cmake" --install "$work/build" --strip --component tool --prefix "$work/with sign" >"$work/install.log" 2>&1 ||
    fail "install with a signature: $(cat "$work/install.log")"
[ "$(cat "$work/signed")" = "$(printf '%s\n' --as "the vendor" "$work/with sign/KxLogReport")" ] ||
    fail "what signs was called with $(cat "$work/signed")"
cmp -- "$work/signed.tool" "$work/with sign/KxLogReport" || fail "the tool was changed when it was signed"
echo 3 >"$work/status"
! "$cmake" --install "$work/build" --component tool --prefix "$work/with sign" >"$work/install.log" 2>&1 ||
    fail "the tool is installed although it was not signed"

install_to "$work/prefix"
case "$installed" in
*/KxLogReport* | *.md*) fail "what the vendor ships is there without having been asked for: $installed" ;;
esac
grep -rqF "$source" "$work/prefix/lib"*/ --include='*.cmake' --include='*.pc' && fail "the package names the source folder"

# It may be moved.
mv "$work/prefix" "$work/moved"
pc=("$work/moved"/lib*/pkgconfig "$work/moved"/lib*/*/pkgconfig)
export PKG_CONFIG_PATH
PKG_CONFIG_PATH="$(IFS=: && echo "${pc[*]}")${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
flags=$(pkg-config --cflags --libs kxlog) || fail "pkg-config does not find the module"
mkdir "$work/client"
cp "$source/examples/client/main.cpp" "$work/client"
# shellcheck disable=SC2086 # flags are words
"${CXX:-c++}" -std=c++17 -fPIC -DQT_MESSAGELOGCONTEXT ${sanitizers:+-fsanitize=$sanitizers} \
    -o "$work/client/client" "$work/client/main.cpp" $flags -pthread >"$work/build.log" 2>&1 ||
    fail "the client does not build with $flags: $(cat "$work/build.log")"

# Without the tool beside it.
status=0
"$work/client/client" "$work/logs" 2>"$work/stderr" || status=$?
[ "$status" = 1 ] || fail "the client ended with $status: $(cat "$work/stderr")"
grep -q "KxLogReport cannot be started" "$work/stderr" || fail "the client said: $(cat "$work/stderr")"
logs=("$work"/logs/upload_*.log)
[ -f "${logs[0]}" ] || fail "the client wrote no log"

stamp='\[[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\]'
# records LEVEL FUNCTION MESSAGE: how many records there are of this form
records() {
    grep -cE "^$stamp\[$1\]\[$work/client/main\.cpp\]\[[0-9]+\]\[$2\]$3"$'\r$' "${logs[0]}" || true
}
[ "$(records Debug '.*receive\(\)' 'received frame [0-9]+')" -eq 1000 ] || fail "records of one thread are missing"
[ "$(records Debug '.*render\(\)' 'rendered [0-9]+')" -eq 1000 ] || fail "records of the other thread are missing"
[ "$(records Warning 'void .*work\(\)' 'signal_client   signal_reconnect  lost count:2')" -eq 1 ] ||
    fail "no report record in $(cat "${logs[0]}")"
[ "$(wc -l <"${logs[0]}")" -eq $((2 * 2001)) ] || fail "there is more in the log than its records"
echo "installed, built a client and read its records"

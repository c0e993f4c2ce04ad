#!/usr/bin/env bash
# Builds a client with the installed logging module, puts it and the tool into the tree of a bundle, starts the client
# there and looks at what arrives at the local log service.
# Usage: test_client.sh CMAKE BUILD-FOLDER SOURCE-FOLDER SERVICE PORT
set -euo pipefail

cmake=$1 build=$2 source=$3 service=$4 port=$5
work=$(mktemp -d)
work=$(cd -- "$work" && pwd -P)
service_pid=""
clean_up() {
    [ -z "$service_pid" ] || kill "$service_pid" 2>/dev/null || true
    rm -rf -- "$work"
}
trap clean_up EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

{
    "$cmake" --install "$build" --component dev --prefix "$work/prefix"
    "$cmake" -S "$source/examples/client" -B "$work/client-build" -DCMAKE_PREFIX_PATH="$work/prefix" \
        -DCMAKE_BUILD_TYPE=Release
    "$cmake" --build "$work/client-build"
} >"$work/build.log" 2>&1 || fail "the client does not build: $(cat "$work/build.log")"

contents="$work/Client.app/Contents"
macos="$contents/MacOS"
tool="$macos/KxLogReport"
mkdir -p "$macos" "$contents/Frameworks"
cp "$work/client-build/client" "$macos/client"
"$cmake" --install "$build" --component tool --prefix "$macos" >"$work/install.log" 2>&1 ||
    fail "install: $(cat "$work/install.log")"

# Where libraries are files of their own, the tool has to take those of the bundle.
if command -v ldd >/dev/null; then
    ldd "$tool" | sed -n 's/^[[:space:]]*\(libQt[56][A-Z][a-z]*\.so[.0-9]*\) => \([^ ]*\) .*/\1 \2/p' >"$work/libraries"
    [ -s "$work/libraries" ] || fail "the tool needs no Qt: $(ldd "$tool")"
    while read -r name path; do
        cp -L "$path" "$contents/Frameworks/$name"
        ldd "$tool" >"$work/found"
        grep -qF "$name => $macos/../Frameworks/$name " "$work/found" ||
            fail "the tool does not take $name from the bundle: $(cat "$work/found")"
    done <"$work/libraries"
fi

: >"$work/service.log"
"$service" --port "$port" --no-report --dir "$work/arrived" >"$work/service.log" 2>&1 &
service_pid=$!
# within <seconds> <command>...: waits until the command succeeds
within() {
    local tries=$(($1 * 10))
    shift
    until "$@"; do
        tries=$((tries - 1))
        [ "$tries" -gt 0 ] || return 1
        sleep 0.1
    done
}
within 30 grep -q 'listening on' "$work/service.log" || fail "no service: $(cat "$work/service.log")"

"$macos/client" "$work/logs" 2>"$work/stderr" || fail "the client ended with $?: $(cat "$work/stderr")"

# stored <name>: the files of that name, without those of uploads that are not complete yet
stored() {
    find "$work/arrived" -name '.*' -prune -o -name "$1" -print 2>/dev/null
}
uploads() {
    stored upload.json | sed 's|/upload.json$||' | LC_ALL=C sort
}
# have_arrived <number>: also the tool's own log, which ends a run
have_arrived() {
    [ "$(uploads | wc -l)" -ge "$1" ]
}
within 100 have_arrived 4 || fail "the run did not end: $(cat "$work/service.log")"

# expect <kind> <file name> <room> <file with the bytes>
expect() {
    local upload
    # A log of the client and one of the tool may have the same name.
    while read -r upload; do
        case "$upload" in
        *-"$1") cmp -s -- "$4" "$upload/file.bin" || continue ;;
        *) continue ;;
        esac
        grep -qF "\"fileName\":\"$2\"" "$upload/upload.json" || fail "$2 has another name: $(cat "$upload/upload.json")"
        [ "$(cat "$upload/room.txt")" = "$3" ] || fail "$2 is described as $(cat "$upload/room.txt")"
        [ "$(cat "$upload/namespace.txt")" = demo ] || fail "$2 has the namespace $(cat "$upload/namespace.txt")"
        return
    done < <(uploads)
    fail "$2 has not arrived as $1: $(cat "$work/service.log")"
}
zoe="nickname-Zoë 🎧.loginname-zoe.userid-10042."
both="${zoe}roomid-101.roomname-Lobby,${zoe}roomid-102.roomname-Café ☕, 1st floor 🪴"
client_log=$(find "$work/logs" -name 'upload_*.log')
own_log=$(find "$HOME" -path '*/KxLogReport/logs/upload/upload_*.log')
echo "decoder opened" >"$work/media"
expect logfile "$(basename -- "$client_log")" "$both" "$client_log"
expect logfile "call 7 📞.log" "nickname-Guest 🦊.loginname-zoe.userid-10042.roomid-7.roomname-Küche 🍳" \
    "$work/logs/call 7 📞.log"
expect producer media.log "$both" "$work/media"
expect logfile "$(basename -- "$own_log")" "$both" "$own_log"
! have_arrived 5 || fail "there is more: $(cat "$work/service.log")"

[ ! -e "$work/logs/media.log" ] || fail "the log of the SDK is there still"
[ -e "$work/logs/request.json" ] || fail "the request file is gone"
groups=$(grep '^\[' "$macos/config/upload.ini" | LC_ALL=C sort | tr '\n' ' ')
[ "$groups" = "[http_feedback] [room] [system] " ] || fail "the list has $groups"

# What the tool has written anew is for the client to write to again.
"$macos/client" "$work/logs" 2>"$work/stderr" || fail "the client ended with $? the second time: $(cat "$work/stderr")"
within 100 have_arrived 8 || fail "the second run did not end: $(cat "$work/service.log")"
while read -r room; do
    case "$(cat "$room")" in
    "$both" | "nickname-Guest 🦊"*"Küche 🍳") ;;
    *) fail "the second run described a file as $(cat "$room")" ;;
    esac
done < <(stored room.txt)
echo "a client in a bundle had its files sent by the tool beside it"

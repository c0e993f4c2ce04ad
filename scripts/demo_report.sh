# shellcheck shell=bash
# What the demonstration shows and checks after a run. Sourced by demo.sh.
# shellcheck disable=SC2034,SC2154 # the variables are shared with the files beside this one

passed=0
failed=0

# show <file>: indented, with <work> for the long temporary path
show() {
    sed -e "s|$work|<work>|g" -e 's/^/  /' -- "$1"
}

# size_of <file>: in bytes
size_of() {
    wc -c <"$1" | tr -d ' '
}

newest_own_log() {
    find "$home" -path '*/logs/upload/upload_*.log' | LC_ALL=C sort | tail -n 1
}

list_files() {
    find "$app" "$home" -type f | LC_ALL=C sort
}

list_uploads() {
    find "$store" -name upload.json | LC_ALL=C sort
}

remember_before() {
    list_files >"$work/files.before"
    list_uploads >"$work/uploads.before"
}

# new_uploads: the folders of what arrived in this run, in the order of arrival
new_uploads() {
    list_uploads | LC_ALL=C comm -13 "$work/uploads.before" - | sed 's|/upload.json$||'
}

# file_name_of <upload>: as the form gave it
file_name_of() {
    sed -n 's/.*,"fileName":"\([^"]*\)",.*/\1/p' "$1/upload.json"
}

# upload_of <kind> <file>: folder of this run's only upload of that kind and file name; fails when there is not just one
upload_of() {
    local upload found="" kind="$1" name
    name="$(basename -- "$2")"
    while read -r upload; do
        [ "${upload##*/[0-9]*-}" = "$kind" ] || continue
        [ "$(file_name_of "$upload")" = "$name" ] || continue
        [ -z "$found" ] || return 1
        found="$upload"
    done < <(new_uploads)
    [ -n "$found" ] && printf '%s\n' "$found"
}

# show_records: of the tool's own log, from standard input, without the empty lines between them
show_records() {
    tr -d '\r' | grep -v '^$' >"$work/records" || true
    show "$work/records"
}

report_run() {
    local upload first=""
    printf '\nWhat arrived at the service (kind, bytes, file):\n'
    while read -r upload; do
        printf '  %-9s %9s  %s\n' "${upload##*/[0-9]*-}" "$(size_of "$upload/file.bin")" "$(file_name_of "$upload")"
        first="${first:-$upload}"
    done < <(new_uploads)
    [ -z "$first" ] || printf 'Sent with the first of them as "room":\n  %s\n' "$(cat "$first/room.txt")"
    printf '\nWhat is left in upload.ini:\n'
    show "$ini"
    list_files >"$work/files.after"
    printf '\nWhat was deleted:\n'
    LC_ALL=C comm -23 "$work/files.before" "$work/files.after" >"$work/files.deleted"
    if [ -s "$work/files.deleted" ]; then show "$work/files.deleted"; else echo "  nothing"; fi
    printf "\\nThe last records of the tool's own log:\\n"
    [ -z "$own_log" ] || tail -n 8 -- "$own_log" | show_records
}

# check <text> <command>...: the command decides
check() {
    local text="$1"
    shift
    if "$@" >/dev/null 2>&1; then
        passed=$((passed + 1))
        printf '  ok      %s\n' "$text"
    else
        failed=$((failed + 1))
        printf '  FAILED  %s\n' "$text"
    fi
}

# holds <expression of test>...: for check
holds() {
    [ "$@" ]
}

# arrived_as <kind> <sent file> <user> <file with the sent bytes>
arrived_as() {
    local upload
    upload="$(upload_of "$1" "$2")" || return 1
    [ "$(cat "$upload/room.txt")" = "$(room_text "$3")" ] || return 1
    [ "$(cat "$upload/namespace.txt")" = demo ] || return 1
    cmp -- "$4" "$upload/file.bin"
}

# The machine may go on writing its log: what arrived must be the beginning of what is there now, and not less than was
# there before.
machine_log_arrived() {
    local upload size
    upload="$(upload_of logfile "$machine_log")" || return 1
    size="$(size_of "$upload/file.bin")"
    [ "$size" -ge "$machine_log_size" ] && head -c "$size" -- "$machine_log" | cmp - "$upload/file.bin"
}

count_uploads() {
    new_uploads | wc -l | tr -d ' '
}

# sorted_lines <file>: but the empty ones; the tool writes groups and keys in the order of their names
sorted_lines() {
    grep -v '^$' -- "$1" | LC_ALL=C sort
}

list_is_done() {
    [ "$(sorted_lines "$ini")" = "$(sorted_lines "$work/user_and_rooms")" ]
}

check_first_run() {
    local file
    printf '\nChecks:\n'
    check "the tool ended with status 0" holds "$tool_status" = 0
    check "$((${#sent_files[@]} + 1)) files arrived, no more and no less" \
        holds "$(count_uploads)" = "$((${#sent_files[@]} + 1))"
    check "the log found by its group's name arrived byte for byte, with user, rooms and namespace" \
        arrived_as logfile "$named_log" "$user" "$named_log"
    check "the log of $(size_of "$big_log") bytes arrived byte for byte, with its own nickname" \
        arrived_as logfile "$big_log" "$guest" "$big_log"
    check "the SDK log arrived byte for byte at the address for SDK logs" \
        arrived_as producer "$sdk_log" "$user" "$work/mediasdk_1.copy"
    [ -z "$machine_log" ] || check "$machine_log arrived byte for byte" machine_log_arrived
    check "the tool's own log arrived byte for byte" arrived_as logfile "$own_log" "$user" "$own_log"
    check "upload.ini holds the user and the rooms as before, and no file" list_is_done
    check "the SDK log is deleted" holds ! -e "$sdk_log"
    check "nothing else is deleted" holds "$(cat "$work/files.deleted")" = "$sdk_log"
    for file in "$named_log" "$big_log" "$own_log"; do
        check "on disk still: $(basename -- "$file")" holds -s "$file"
    done
}

show_warnings() {
    printf '\nThe warnings in it:\n'
    { grep -F '[Warning]' -- "$own_log" || true; } | show_records
}

dump_warned_of() {
    grep -F '[Warning]' "$own_log" | grep -F 'already open' | grep -qF "$dump"
}

check_second_run() {
    printf '\nChecks:\n'
    check "the tool ended with status 0" holds "$tool_status" = 0
    check "the dump is on disk, unchanged" cmp -- "$work/dump.copy" "$dump"
    check "the tool's log has Qt's warning about the second open of the dump" dump_warned_of
    check "2 files arrived, the dump is none of them" holds "$(count_uploads)" = 2
    check "the log on the list arrived byte for byte" arrived_as logfile "$late_log" "$user" "$late_log"
    check "the tool's own log arrived byte for byte" arrived_as logfile "$own_log" "$user" "$own_log"
    check "upload.ini holds the user and the rooms as before, and no file" list_is_done
    check "nothing is deleted" holds ! -s "$work/files.deleted"
}

# shellcheck shell=bash
# The throw-away installation of the demonstration. Sourced by demo.sh, which sets $work.
# shellcheck disable=SC2034,SC2154 # the variables are shared with the files beside this one

user="nickname-Zoë Ångström.loginname-zoe.userid-10042."
guest="nickname-ゲスト.loginname-zoe.userid-10042."

# room_text <prefix>: what the service must get as "room" for the two rooms of the list
room_text() {
    printf '%sroomid-101.roomname-Küche, Büro & Café,%sroomid-102.roomname-会議室' "$1" "$1"
}

# lay_out_scene <tool>
lay_out_scene() {
    app="$work/app"
    home="$work/home"
    store="$work/service"
    ini="$app/config/upload.ini"
    dump="$app/crash/kxclient.dmp"
    sdk_log="$app/sdk/mediasdk_1.log"
    big_log="$app/logs/Gespräch 7.log"
    named_log="$app/logs/client_start.log"
    empty_log="$app/logs/nothing_yet.log"
    late_log="$app/logs/after_the_crash.log"
    mkdir -p "$app/config" "$app/crash" "$app/sdk" "$app/logs" "$home"
    cp "$1" "$app/KxLogReport"

    awk 'BEGIN {
        for (i = 1; i <= 60000; ++i)
            printf "2024-05-01 09:30:%02d [Debug] Gespräch 7: packet %d, jitter %d ms, 日本語\n", i % 60, i, i % 37
    }' >"$big_log"
    echo "client started" >"$named_log"
    echo "decoder opened" >"$sdk_log"
    : >"$empty_log"
    head -c 65536 /dev/urandom >"$dump"
    choose_machine_log

    write_list
    sent_files=("$named_log" "$big_log" "$sdk_log")
    [ -z "$machine_log" ] || sent_files+=("$machine_log")
    # The tool deletes the SDK log, what arrives is compared with this.
    cp "$sdk_log" "$work/mediasdk_1.copy"
}

# A log that nobody made for this demonstration, if the machine has one that may be read.
choose_machine_log() {
    local log
    machine_log=""
    for log in /var/log/dpkg.log /var/log/install.log; do
        if [ -r "$log" ] && [ -s "$log" ]; then
            machine_log="$log"
            machine_log_size="$(size_of "$log")"
            return
        fi
    done
    echo "(No log of this machine may be read, so only made ones are sent.)"
}

# The list as the client would write it: UTF-8, values with a comma in quotes. A group needs a key to be one, so the
# group whose file is found by the group's name says that it is no SDK log.
write_list() {
    cat >"$work/user_and_rooms" <<EOT
[system]
nickname=Zoë Ångström
loginName=zoe
userId=10042
namespace=demo
version=1.2.3

[room]
101="Küche, Büro & Café"
102=会議室

EOT
    cat "$work/user_and_rooms" - >"$ini" <<EOT
[client_start]
sdk=0

[call_7]
path="$big_log"
nickname=ゲスト

[mediasdk_1]
path="$sdk_log"
sdk=1

[gone]
path="$app/logs/rotated_away.log"

[nothing_yet]
path="$empty_log"
EOT
    if [ -n "$machine_log" ]; then
        printf '\n[machine]\npath="%s"\n' "$machine_log" >>"$ini"
    fi
}

add_to_list() {
    echo "client started again" >"$late_log"
    printf '\n[after_the_crash]\npath="%s"\n' "$late_log" >>"$ini"
    cp "$dump" "$work/dump.copy"
}

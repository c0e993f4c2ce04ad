#!/bin/sh
# Runs a command with a home and a folder for temporary files of its own, which are gone afterwards, and on request in a
# network of its own, in which nothing else listens.
#
# Usage: isolated.sh [--network] COMMAND [ARGUMENT]...
#
# The status is the command's; a command that a signal ends ends this with the same signal. The network needs Linux,
# iproute2, and either the rights of the superuser or a system that lets every user make name spaces.
set -eu

case "$1" in
--network)
    shift
    if [ "$(id -u)" -eq 0 ]; then
        exec unshare --net -- "$0" --up "$@"
    fi
    # Only a superuser may bring an interface up, and only a plain user sees what a plain user would: one inside the other.
    exec unshare --user --map-root-user --net -- "$0" --up-as "$(id -u)" "$(id -g)" "$@"
    ;;
--up)
    shift
    ip link set lo up
    ;;
--up-as)
    ip link set lo up
    user=$2
    group=$3
    shift 3
    exec unshare --user --map-user="$user" --map-group="$group" -- "$0" "$@"
    ;;
esac

folder=$(mktemp -d "${TMPDIR:-/tmp}/kx-test-XXXXXX")
mkdir "$folder/home" "$folder/tmp"
# Tests look at their files as other users, too.
chmod 755 "$folder"
chmod 1777 "$folder/tmp"
status=0
# On macOS the folders of the system's own library do not follow HOME.
HOME="$folder/home" CFFIXED_USER_HOME="$folder/home" TMPDIR="$folder/tmp" "$@" || status=$?
chmod -R u+rwX "$folder" 2>/dev/null || true
rm -rf -- "$folder"
if [ "$status" -gt 128 ]; then
    kill -"$((status - 128))" $$
fi
exit "$status"

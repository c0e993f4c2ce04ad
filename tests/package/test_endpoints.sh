#!/usr/bin/env bash
# What configuring says of the addresses of a build.
# Usage: test_endpoints.sh CMAKE SOURCE-FOLDER
set -euo pipefail

cmake=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# configure <variable=address>...: what it says goes to $said, without the line breaks that CMake puts into warnings
configure() {
    local status=0
    "$cmake" "-DPROJECT_SOURCE_DIR=$source" "-DPROJECT_BINARY_DIR=$work" "${@/#/-D}" \
        -P "$source/cmake/KxEndpoints.cmake" >"$work/said" 2>&1 || status=$?
    said=$(tr -s ' \n' ' ' <"$work/said")
    return "$status"
}
says() {
    case "$said" in
    *"$1"*) ;;
    *) fail "'$1' is missing in: $said" ;;
    esac
}
does_not_say() {
    case "$said" in
    *"$1"*) fail "'$1' is in: $said" ;;
    esac
}

configure || fail "the defaults: $said"
says "KX_LOG_SERVICE_URL: http://127.0.0.1:8700/logsys/client"
says "KX_PRODUCER_URL: http://127.0.0.1:8700/v1/clientproducer/upload"
says "KX_REPORT_API_URL: http://127.0.0.1"
says "KX_ERROR_GATEWAY_URL: http://127.0.0.1:8700"
does_not_say Warning

real=(
    KX_LOG_SERVICE_URL=https://logs.example.com/logsys/client
    KX_PRODUCER_URL=https://sdk.example.com/v1/clientproducer/upload
    KX_REPORT_API_URL=https://reports.example.com
    KX_ERROR_GATEWAY_URL=https://127.example.com
)
configure "${real[@]}" || fail "real addresses: $said"
says "KX_PRODUCER_URL: https://sdk.example.com/v1/clientproducer/upload"
does_not_say Warning

mixture="Some addresses are real, others stay on the machine that runs the tool:"
configure "${real[0]}" || fail "one real address: $said"
says "$mixture KX_PRODUCER_URL, KX_REPORT_API_URL, KX_ERROR_GATEWAY_URL"
for address in https://localhost http://127.0.0.2 'http://[::1]'; do
    configure "${real[@]}" "KX_REPORT_API_URL=$address" || fail "$address: $said"
    says "$mixture KX_REPORT_API_URL "
    does_not_say unencrypted
done

configure KX_REPORT_API_URL=http://reports.example.com || fail "an unencrypted address: $said"
says "unencrypted"
for address in https://reports.example.com/ https://reports.example.com:21999 ftp://reports.example.com; do
    ! configure "KX_REPORT_API_URL=$address" || fail "$address is taken"
    says "KX_REPORT_API_URL is '$address'"
done
! configure KX_ERROR_GATEWAY_URL=https://gateway.example.com:65536 || fail "a port out of range is taken"
echo "configuring names the addresses, and those that stay on this machine among real ones"

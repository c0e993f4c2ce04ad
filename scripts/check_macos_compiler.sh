#!/usr/bin/env bash
# Stands in for the compiler of macOS in scripts/check-macos.sh: reads a source as Clang does for each of the two
# processors of a Mac, and leaves an empty object. While CMake looks at it (KX_MACOS_CONFIGURES=1), and where its output
# is wanted, it is Clang for the first processor.
set -euo pipefail

source="" output="" precompiled="" previous="" writes=${KX_MACOS_CONFIGURES-}
for argument in "$@"; do
    case "$previous" in
    -c) source="$argument" ;;
    -o) output="$argument" ;;
    esac
    case "$argument" in
    -E | --version | -v) writes=1 ;;
    *.pch) precompiled="$argument" ;;
    esac
    previous="$argument"
done

# clang <processor> <the name that the folders of headers have for it> <argument>...
clang() {
    local processor="$1" folder="$2" headers="$KX_MACOS_CLANG/lib"
    shift 2
    "$KX_MACOS_CLANG/zig" clang -target "$processor-apple-macos" -nostdinc -nostdinc++ \
        -D_LIBCPP_ABI_VERSION=1 -D_LIBCPP_ABI_NAMESPACE=__1 "$@" \
        -isystem "$headers/libcxx/include" -isystem "$headers/libcxxabi/include" -isystem "$headers/include" \
        -isystem "$headers/libc/include/$folder-macos.11-none" -isystem "$headers/libc/include/any-macos.11-any" \
        -isystem "$headers/libc/include/any-macos-any" \
        -isystem "$KX_MACOS_LIBRARIES/all" -isystem "$KX_MACOS_LIBRARIES/machine"
}

if [ -n "$writes" ]; then
    clang arm64 aarch64 "$@"
    exit
fi
# Of a program there is nothing to link: the objects are empty.
if [ -z "$source" ]; then
    : >"$output"
    exit
fi
for processor in arm64 x86_64; do
    arguments=()
    for argument in "$@"; do
        case "$argument" in
        *.pch) argument="$argument.$processor" ;;
        # Some libraries name it, and with them come the headers of the C library of Linux.
        /usr/include) argument="$KX_MACOS_LIBRARIES/all" ;;
        esac
        arguments+=("$argument")
    done
    [ "$output" = "$precompiled" ] || arguments+=(-fsyntax-only)
    clang "$processor" "${processor/arm64/aarch64}" "${arguments[@]}"
done
: >"$output"

# shellcheck shell=bash
# What the scripts of this folder share. Sourced, not run. Works with the bash 3.2 that macOS ships.

# shellcheck disable=SC2034 # for the scripts that source this
repo="$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." >/dev/null && pwd -P)"
program="$(basename -- "$0")"

fail() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit 1
}

misuse() {
    printf '%s: %s (see --help)\n' "$program" "$*" >&2
    exit 2
}

# help_only "$@": for scripts that take no argument but --help, which prints what the script's usage() says.
help_only() {
    case "${1-}" in
    '') ;;
    -h | --help)
        usage
        exit 0
        ;;
    *) misuse "unknown argument '$1'" ;;
    esac
}

# Homebrew keeps these out of the places where CMake and pkg-config look by themselves.
export_brew_paths() {
    local formula prefix
    command -v brew >/dev/null || return 0
    for formula in qt@5 openssl@3; do
        prefix="$(brew --prefix "$formula" 2>/dev/null)" || continue
        export CMAKE_PREFIX_PATH="$prefix${CMAKE_PREFIX_PATH:+:$CMAKE_PREFIX_PATH}"
        export PKG_CONFIG_PATH="$prefix/lib/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
    done
}

# The same for Clang; Apple's own has neither libFuzzer nor the static checks.
export_brew_clang() {
    ! command -v brew >/dev/null || PATH="$(brew --prefix llvm)/bin:$PATH"
}

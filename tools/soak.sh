# shellcheck shell=bash
# Hosts that do everything at random against a service that fails at random, under Wine in a prefix of their own.

# run_soak [MINUTES [SEED]]
run_soak() {
    local result=0 prefix=$BUILD_DIR/wineprefix-soak
    [[ "${1:-10}" =~ ^[1-9][0-9]*$ && "${2:-1}" =~ ^[0-9]+$ ]] || die "usage: ./dev soak [MINUTES [SEED]]"
    require_packages "${RUN_PACKAGES[@]}"
    configure
    [ -n "$(cat "$BUILD_DIR/service-key-dir")" ] ||
        die "the key folder holds only the library's halves: the bundled service cannot answer this build"
    compile --target qsn-soak
    SOAK_PREFIX=$prefix
    trap 'stop_prefix "$SOAK_PREFIX"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP
    fresh_prefix "$prefix"
    in_prefix "$prefix" wine "$BUILD_DIR/soak/qsn-soak.exe" "${1:-10}" "${2:-1}" </dev/null 8>&- || result=$?
    say "soak ended with $result"
    return "$result"
}

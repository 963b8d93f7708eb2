# shellcheck shell=bash
# Configuring, compiling and testing.

BUILD_DIR=$(realpath -m "${QSN_BUILD_DIR:-$QSN_ROOT/build}")
PRESET=mingw64

# use_variant NAME: what follows builds with the preset mingw64-NAME, in a folder of its own.
use_variant() {
    BUILD_DIR=$BUILD_DIR/$1
    PRESET=mingw64-$1
}

# Two commands on one build folder take turns.
lock_build_folder() {
    mkdir -p "$BUILD_DIR"
    exec 8>"$BUILD_DIR/.lock"
    flock -n 8 || {
        say "waiting for another command on this build folder"
        flock 8
    }
}

configure() {
    require_packages "${BUILD_PACKAGES[@]}"
    require_dependencies
    lock_build_folder
    say "configuring"
    cmake --preset "$PRESET" -S "$QSN_ROOT" -B "$BUILD_DIR" --log-level=STATUS \
        -DQSN_OPENSSL_DIR="$OPENSSL_DIR" -DQSN_JSONCPP_DIR="$JSONCPP_DIR" -DQSN_CURL_DIR="$CURL_DIR" "$@" >"$BUILD_DIR/configure.log" 8>&- || {
        cat "$BUILD_DIR/configure.log" >&2
        die "configuring failed"
    }
}

# compile [--target NAME...]
compile() {
    say "compiling"
    cmake --build "$BUILD_DIR" -j "$JOBS" "$@" -- -k 0 8>&- || die "compiling failed"
    say "built in $BUILD_DIR"
}

run_build() {
    configure "$@"
    compile
}

stop_test_prefixes() {
    local lane
    for lane in unit contract waiting ending panel browser; do stop_prefix "$BUILD_DIR/wineprefix-$lane"; done
}

# run_suites CTEST-ARGS...: runs suites that have been compiled
run_suites() {
    trap stop_test_prefixes EXIT
    say "testing"
    local result=0
    ctest --test-dir "$BUILD_DIR" --parallel "$JOBS" --output-on-failure "$@" 8>&- || result=$?
    say "testing done"
    return "$result"
}

run_test() {
    require_packages "${RUN_PACKAGES[@]}" "${PACKAGE_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
    configure
    compile
    run_suites "$@"
}

# The test programs and all that they load, nothing else.
compile_test_programs() {
    require_packages "${RUN_PACKAGES[@]}"
    configure
    compile --target qsn_unit_tests qsn_contract_tests wine_holder
}

run_traps() {
    use_variant traps
    compile_test_programs
    run_suites -L '^(unit|contract)$' "$@"
}

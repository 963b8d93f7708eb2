# shellcheck shell=bash
# Which lines of src/ the unit and contract tests run.

# Less of a file than this many percent is a failure.
readonly COVERAGE_LEAST=85
# Less of these: FILE LEAST. The entry point ends after the counters have been written, and the runtime's locks have ways
# that only threads take that meet in them.
readonly COVERAGE_EXCEPTIONS='src/dll/DllEntry.cpp 70
src/dll/RuntimeThreads.cpp 60'

# below_least REPORT: the names of such files
below_least() {
    awk -F '[ ,]' -v least="$COVERAGE_LEAST" '
        NR == FNR { own[$1] = $2; next }
        FNR > 1 && 100 * $3 < ($1 in own ? own[$1] : least) * $2 { print $1 }
    ' - "$1" <<<"$COVERAGE_EXCEPTIONS"
}

run_coverage() {
    local result=0 report low counters=()
    require_packages "${COVERAGE_PACKAGES[@]}"
    use_variant coverage
    compile_test_programs
    report=$BUILD_DIR/lines.csv
    # Beside the objects; elsewhere in the build folder, Wine's links lead anywhere.
    counters=("$BUILD_DIR/src" "$BUILD_DIR/tests/CMakeFiles")
    find "${counters[@]}" -name '*.gcda' -delete
    run_suites -L '^(unit|contract)$' || result=1
    say "counting"
    (cd "$QSN_ROOT" && gcovr --gcov-executable "$CROSS-gcov-posix" --root . --filter src/ --txt - \
        --csv "$report" "${counters[@]}")
    low=$(below_least "$report")
    [ -z "$low" ] || die "below $COVERAGE_LEAST %:"$'\n'"$low"
    [ "$result" -eq 0 ] || die "tests failed"
}

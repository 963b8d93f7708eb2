# shellcheck shell=bash
# Which lines of src/ the unit and contract tests run.

# If less than this percentage of a file is run, that is a failure.
readonly COVERAGE_LEAST=85

# below_least REPORT: the names of such files
below_least() {
    awk -F , -v least="$COVERAGE_LEAST" 'NR > 1 && 100 * $3 < least * $2 { print $1 }' "$1"
}

run_coverage() {
    local result=0 report low counters=()
    require_packages "${COVERAGE_PACKAGES[@]}"
    use_variant coverage
    compile_test_programs
    report=$BUILD_DIR/lines.csv
    # Beside the objects. Elsewhere in the build folder Wine's links may lead anywhere.
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

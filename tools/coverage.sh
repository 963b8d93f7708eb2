# shellcheck shell=bash
# Which lines of src/ the unit and contract tests run.

# Less of a file than this is a failure.
readonly COVERAGE_LEAST=85

run_coverage() {
    local result=0 report low
    require_packages "${COVERAGE_PACKAGES[@]}"
    use_variant coverage
    compile_test_programs
    report=$BUILD_DIR/lines.csv
    find "$BUILD_DIR/src" -name '*.gcda' -delete
    run_suites -L '^(unit|contract)$' || result=1
    say "counting"
    # Templates and inline functions of a header are counted in every unit that has them, so that one line may be there
    # several times.
    (cd "$QSN_ROOT" && gcovr --gcov-executable "$CROSS-gcov-posix" --root . --filter src/ \
        --merge-mode-functions=separate --txt - --csv "$report" "$BUILD_DIR/src")
    low=$(awk -F , -v least="$COVERAGE_LEAST" 'NR > 1 && 100 * $3 < least * $2 { print $1 }' "$report")
    [ -z "$low" ] || die "below $COVERAGE_LEAST %:"$'\n'"$low"
    [ "$result" -eq 0 ] || die "tests failed"
}

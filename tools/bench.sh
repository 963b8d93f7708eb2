# shellcheck shell=bash
# What the library costs, beside the cost of the same thing without it. See docs/performance.md.

end_bench() { stop_prefix "$BUILD_DIR/wineprefix-bench"; }

# run_bench [--quick] [FILTER]
run_bench() {
    local result=0 folder=$BUILD_DIR/bench
    require_packages "${RUN_PACKAGES[@]}"
    require_benchmark
    configure -DQSN_BENCHMARK_DIR="$BENCHMARK_DIR"
    compile --target qsn_bench
    trap end_bench EXIT
    fresh_prefix "$BUILD_DIR/wineprefix-bench"
    say "measuring (5 minutes for the whole table)"
    in_prefix "$BUILD_DIR/wineprefix-bench" wine "$folder/qsn_bench.exe" --folder "Z:$folder" "$@" \
        </dev/null 2>"$folder/bench.log" 8>&- | sed -u 's/\r$//' || result=$?
    [ "$result" -eq 0 ] || {
        cat "$folder/bench.log" >&2
        die "measuring failed"
    }
    say "measured; as JSON: $folder/bench.json"
}

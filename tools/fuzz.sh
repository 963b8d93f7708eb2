# shellcheck shell=bash
# The units that read what comes from outside, under libFuzzer.

# Compiled here with the checks, so that the fuzzer also sees its paths through a JSON text.
fetch_jsoncpp() {
    local source version found
    say "jsoncpp: fetching the source"
    found=$(fetch_source libjsoncpp 1.9.5 "$2")
    read -r source version <<<"$found"
    cp -r "$source/include" "$source/src" "$1/"
    echo "$version" >"$1/VERSION"
}

compile_targets() {
    require_packages "${FUZZ_PACKAGES[@]}"
    build_once jsoncpp-1.9.5-source fetch_jsoncpp
    lock_build_folder
    mkdir -p "$FUZZ_DIR"
    say "compiling the targets"
    run_logged "$FUZZ_DIR/configure.log" cmake -G Ninja -S "$QSN_ROOT/fuzz" -B "$FUZZ_DIR" \
        -DCMAKE_CXX_COMPILER=clang++-14 "-DQSN_JSONCPP_DIR=$QSN_CACHE/jsoncpp-1.9.5-source" 8>&-
    run_logged "$FUZZ_DIR/build.log" cmake --build "$FUZZ_DIR" -j "$JOBS" 8>&-
}

# What a run found lies in its findings folder. The inputs that reach new code stay in the corpus for the next run.
fuzz_one() {
    local target=$1 seconds=$2 work=$FUZZ_DIR/runs/$1 folder inputs=() result=0
    rm -rf "$work/findings"
    mkdir -p "$work/findings" "$work/corpus"
    for folder in regressions seeds; do
        [ ! -d "$QSN_ROOT/fuzz/$folder/$target" ] || inputs+=("$QSN_ROOT/fuzz/$folder/$target")
    done
    "$FUZZ_DIR/bin/$target" -max_total_time="$seconds" -print_final_stats=1 -timeout=10 -max_len=4096 \
        -dict="$QSN_ROOT/fuzz/words.dict" -artifact_prefix="$work/findings/" "$work/corpus" "${inputs[@]}" \
        >"$work/log" 2>&1 8>&- || result=$?
    say "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log") executions," \
        "$(find "$work/findings" -type f | wc -l) findings"
    [ "$result" -eq 0 ] || {
        grep -m 1 -A 20 -e '^==.*ERROR' -e 'runtime error' -e 'not true' "$work/log" || tail -n 20 "$work/log"
        find "$work/findings" -type f -printf 'its input: %p\n'
    } >&2
    return "$result"
}

# run_fuzz [SECONDS]: for each target
run_fuzz() {
    local seconds=${1:-600} target result=0
    FUZZ_DIR=$BUILD_DIR/fuzz
    [[ $seconds =~ ^[1-9][0-9]*$ ]] || die "not a number of seconds: $seconds"
    compile_targets
    for target in "$QSN_ROOT"/fuzz/targets/*.cpp; do
        target=$(basename "$target" .cpp)
        while [ "$(jobs -rp | wc -l)" -ge 2 ]; do
            wait -n || result=1
        done
        fuzz_one "$target" "$seconds" &
    done
    while [ -n "$(jobs -p)" ]; do
        wait -n || result=1
    done
    [ "$result" -eq 0 ] || die "mend the fault and keep its input in fuzz/regressions/TARGET"
}

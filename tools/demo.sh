# shellcheck shell=bash
# The sample host against the bundled service, under Wine in a prefix of their own: one host alone, two that follow each
# other's sign-in, and what the library does for tokens.

end_demo() {
    [ -z "${SERVICE_PID:-}" ] || kill "$SERVICE_PID" 2>/dev/null || true
    stop_prefix "$DEMO_DIR/wineprefix"
}

# The service configures the prefix's user (proxy, trusted certificate) before it prints its line.
start_service() {
    local keys=$1 log=$DEMO_DIR/service.log
    mkdir -p "$DEMO_DIR/state"
    in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-account-service.exe" --accounts "Z:$QSN_ROOT/service/accounts.json" \
        --keys "Z:$keys" --port 0 --state "Z:$DEMO_DIR/state" --configure-user </dev/null >"$log" 2>&1 8>&- &
    SERVICE_PID=$!
    if ! wait_for_line '^listening on ' "$log" "$SERVICE_PID"; then
        cat "$log" >&2
        die "the account service did not start"
    fi
    say "account service: $(grep -m 1 '^listening on ' "$log" | tr -d '\r')"
}

# wait_for_line PATTERN FILE PID: fails when the process ends without writing such a line, or after 30 seconds.
wait_for_line() {
    local i
    for ((i = 0; i < 300; i++)); do
        ! grep -q "$1" "$2" 2>/dev/null || return 0
        kill -0 "$3" 2>/dev/null || break
        sleep 0.1
    done
    grep -q "$1" "$2" 2>/dev/null
}

# start_host NAME ARGS...: in the background, with its input from the pipe NAME.in; what it says is shown under its name
# and kept in NAME.log.
start_host() {
    local name=$1
    shift
    : >"$DEMO_DIR/$name.log"
    in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-host.exe" "$@" <"$DEMO_DIR/$name.in" 8>&- \
        > >(sed -u 's/\r$//' | tee "$DEMO_DIR/$name.log" | sed -u "s/^/   $name  /") &
    HOST_PID=$!
}

run_two_hosts() {
    local a b result=0
    rm -f "$DEMO_DIR"/{A,B}.in
    mkfifo "$DEMO_DIR/A.in" "$DEMO_DIR/B.in"
    # Read and write, so that neither this shell nor a host waits for the other to open its end.
    exec 5<>"$DEMO_DIR/A.in" 6<>"$DEMO_DIR/B.in"
    start_host A --follow
    a=$HOST_PID
    wait_for_line '^watching' "$DEMO_DIR/A.log" "$a" || result=1
    if [ "$result" -eq 0 ]; then
        start_host B --lead
        b=$HOST_PID
        wait_for_line '^signed in' "$DEMO_DIR/A.log" "$a" || result=1
        echo >&6
        wait "$b" || result=1
        [ "$result" -ne 0 ] || wait "$a" || result=1
    fi
    exec 5>&- 6>&-
    kill "$a" 2>/dev/null || true
    return "$result"
}

# A member token that ends soon is given to a host, which has to get it renewed; then a token is taken from it.
run_token_care() {
    local token
    token=$(in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-account-service.exe" \
        --accounts "Z:$QSN_ROOT/service/accounts.json" --member-token-for 20417 --expires-in 30 </dev/null 8>&- | tr -d '\r')
    [ -n "$token" ] || return 1
    in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-host.exe" --care-for "$token" </dev/null 8>&-
}

run_demo() {
    local keys result=0
    require_packages "${RUN_PACKAGES[@]}"
    configure
    keys=$(cat "$BUILD_DIR/service-key-dir")
    [ -n "$keys" ] || die "the key folder holds only the library's halves: the bundled service cannot answer this build"
    compile --target qsn qsn-account-service qsn-host

    DEMO_DIR=$BUILD_DIR/demo
    trap end_demo EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP
    mkdir -p "$DEMO_DIR"
    fresh_prefix "$DEMO_DIR/wineprefix"
    start_service "$keys"
    say "one host alone"
    in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-host.exe" </dev/null 8>&- || result=$?
    echo
    say "two hosts: B signs in and out, A follows"
    run_two_hosts || result=1
    echo
    say "tokens: one is renewed, one is revoked"
    run_token_care || result=1
    [ "$result" -eq 0 ] || sed 's/^/service: /' "$DEMO_DIR/service.log" >&2
    say "demo ended with $result; the service's own account of it is in $DEMO_DIR/service.log"
    return "$result"
}

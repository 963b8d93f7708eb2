# shellcheck shell=bash
# The sample host against the bundled service, under Wine in a prefix of their own: one host alone, two that share a
# sign-in, and what the library does for tokens.

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

# wait_for_line PATTERN FILE PID: fails if the process ends without writing such a line, or after 30 seconds.
wait_for_line() {
    local i
    for ((i = 0; i < 300; i++)); do
        ! grep -q "$1" "$2" 2>/dev/null || return 0
        kill -0 "$3" 2>/dev/null || break
        sleep 0.1
    done
    grep -q "$1" "$2" 2>/dev/null
}

run_host() { in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-host.exe" "$@" 8>&-; }

# What a host prints, under its name.
show_as() { sed -u "s/\r$//; s/^/   $1  /"; }

# start_watching: a host in the background, with its input from a pipe. Its output also goes to A.log.
start_watching() {
    rm -f "$DEMO_DIR/A.in"
    mkfifo "$DEMO_DIR/A.in"
    # Read and write, so that neither this shell nor the host waits for the other to open its end.
    exec 5<>"$DEMO_DIR/A.in"
    : >"$DEMO_DIR/A.log"
    run_host watch <"$DEMO_DIR/A.in" > >(tee "$DEMO_DIR/A.log" | show_as A) &
    WATCHER_PID=$!
}

# One host watches while another signs in, asks for everything and signs out, one command at a time.
run_two_hosts() {
    local command result=0
    start_watching
    wait_for_line '^watching' "$DEMO_DIR/A.log" "$WATCHER_PID" || result=1
    run_host sign-in --token demo-token-ada </dev/null | show_as B || result=1
    wait_for_line '^signed in as Ada Quill' "$DEMO_DIR/A.log" "$WATCHER_PID" || result=1
    for command in user products quota sign-out; do
        run_host "$command" </dev/null | show_as B || result=1
    done
    wait_for_line '^signed out' "$DEMO_DIR/A.log" "$WATCHER_PID" || result=1
    echo >&5
    [ "$result" -eq 0 ] || kill "$WATCHER_PID" 2>/dev/null || true
    wait "$WATCHER_PID" || result=1
    exec 5>&-
    command=0
    run_host user </dev/null 2>&1 | show_as B || command=$?
    [ "$command" -eq 3 ] || result=1
    return "$result"
}

# A host gets a member token that ends soon, and has to have it renewed. Then a token is taken away from it.
run_token_care() {
    local token
    token=$(in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-account-service.exe" \
        --accounts "Z:$QSN_ROOT/service/accounts.json" --member-token-for 20417 --expires-in 30 </dev/null 8>&- | tr -d '\r')
    [ -n "$token" ] || return 1
    run_host tokens --member-token "$token" </dev/null
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
    run_host session </dev/null || result=$?
    echo
    say "two hosts: B signs in and out, A hears of it"
    run_two_hosts || result=1
    echo
    say "tokens: one is renewed, one is revoked"
    run_token_care || result=1
    [ "$result" -eq 0 ] || sed 's/^/service: /' "$DEMO_DIR/service.log" >&2
    say "demo ended with $result; the service's own account of it is in $DEMO_DIR/service.log"
    return "$result"
}

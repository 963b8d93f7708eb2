# shellcheck shell=bash
# The sample host against the bundled service, both under Wine in a prefix of their own.

end_demo() {
    [ -z "${SERVICE_PID:-}" ] || kill "$SERVICE_PID" 2>/dev/null || true
    stop_prefix "$DEMO_DIR/wineprefix"
}

# The service configures the prefix's user (proxy, trusted certificate) before it prints its line.
start_service() {
    local keys=$1 log=$DEMO_DIR/service.log i
    mkdir -p "$DEMO_DIR/state"
    in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-service.exe" --accounts "Z:$QSN_ROOT/service/accounts.json" \
        --keys "Z:$keys" --port 0 --state "Z:$DEMO_DIR/state" --configure-user </dev/null >"$log" 2>&1 8>&- &
    SERVICE_PID=$!
    for ((i = 0; i < 300; i++)); do
        if grep -q '^listening on ' "$log"; then
            say "account service: $(grep -m 1 '^listening on ' "$log" | tr -d '\r')"
            return
        fi
        kill -0 "$SERVICE_PID" 2>/dev/null || break
        sleep 0.1
    done
    cat "$log" >&2
    die "the account service did not start"
}

run_demo() {
    local keys result=0
    require_packages "${RUN_PACKAGES[@]}"
    configure
    keys=$(cat "$BUILD_DIR/service-key-dir")
    [ -n "$keys" ] || die "the key folder holds only the library's halves: the bundled service cannot answer this build"
    compile --target qsn qsn-service qsn-host

    DEMO_DIR=$BUILD_DIR/demo
    trap end_demo EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP
    mkdir -p "$DEMO_DIR"
    fresh_prefix "$DEMO_DIR/wineprefix"
    start_service "$keys"
    say "running the host"
    in_prefix "$DEMO_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-host.exe" </dev/null 8>&- || result=$?
    [ "$result" -eq 0 ] || sed 's/^/service: /' "$DEMO_DIR/service.log" >&2
    say "host ended with $result; the service's own account of it is in $DEMO_DIR/service.log"
    return "$result"
}

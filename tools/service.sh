# shellcheck shell=bash
# The bundled account service for a host of the developer's, under Wine in a prefix of its own, until Ctrl+C.

# The service restores its user's settings when its input closes. A signal would reach Wine's loader, not the program.
end_service() {
    exec 7>&-
    local i
    for ((i = 0; i < 50; i++)); do
        kill -0 "$SERVICE_PID" 2>/dev/null || break
        sleep 0.1
    done
    stop_prefix "$SERVICE_DIR/wineprefix"
    say "the account service has ended"
}

run_service() {
    local keys
    require_packages "${RUN_PACKAGES[@]}"
    configure
    keys=$(cat "$BUILD_DIR/service-key-dir")
    [ -n "$keys" ] || die "the key folder holds only the library's halves: the bundled service cannot answer this build"
    compile --target qsn-account-service
    # Other commands may use the build folder while the service runs.
    flock -u 8

    SERVICE_DIR=$BUILD_DIR/service-run
    mkdir -p "$SERVICE_DIR/state"
    exec 4>"$SERVICE_DIR/.lock"
    flock -n 4 || die "the service of this build folder is running already"
    fresh_prefix "$SERVICE_DIR/wineprefix" 4>&-
    rm -f "$SERVICE_DIR/input"
    mkfifo "$SERVICE_DIR/input"
    # Read and write, so that opening it does not wait.
    exec 7<>"$SERVICE_DIR/input"
    # The terminal's Ctrl+C is for this shell alone. Wine must not see a terminal, because it would draw on it.
    (
        trap '' INT
        exec setsid "${WINE_ENV[@]}" WINEPREFIX="$SERVICE_DIR/wineprefix" wine "$BUILD_DIR/bin/qsn-account-service.exe" \
            --accounts "Z:$QSN_ROOT/service/accounts.json" --keys "Z:$keys" --state "Z:$SERVICE_DIR/state" \
            --configure-user --exit-with-stdin "$@" <"$SERVICE_DIR/input" \
            > >(trap '' INT && exec sed -u 's/\r$//' 4>&- 7>&- 8>&-) 2>&1 4>&- 7>&- 8>&-
    ) &
    SERVICE_PID=$!
    trap end_service EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP
    say "your host under Wine: WINEPREFIX=$SERVICE_DIR/wineprefix wine HOST.exe"
    say "for other programs the authority's certificate is $SERVICE_DIR/state/ca.pem; Ctrl+C ends the service"
    wait "$SERVICE_PID"
}

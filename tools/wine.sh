# shellcheck shell=bash
# Wine prefixes: always one of our own, quickly made from a template in the cache.

# Nothing of the caller's desktop, proxies or language reaches a program under Wine.
readonly WINE_ENV=(
    env -u DISPLAY -u WAYLAND_DISPLAY -u http_proxy -u https_proxy -u HTTP_PROXY -u HTTPS_PROXY -u no_proxy
    LC_ALL=C.UTF-8 WINEARCH=win64 "WINEDEBUG=${WINEDEBUG:--all}" "WINEDLLOVERRIDES=mscoree,mshtml=;sensapi=n,b"
)

# in_prefix PREFIX COMMAND...
in_prefix() {
    local prefix=$1
    shift
    "${WINE_ENV[@]}" WINEPREFIX="$prefix" "$@"
}

wine_template_name() { echo "wine-template-windows-10-no-debugger-$(dpkg-query -W -f '${Version}' wine64 | tr -c 'A-Za-z0-9.\n' -)"; }

make_wine_template() {
    say "preparing Wine (10 to 20 seconds)"
    in_prefix "$1" wineboot -i </dev/null >/dev/null 2>&1
    # The oldest Windows that the library is for. By default Wine is Windows 7.
    in_prefix "$1" wine winecfg -v win10 </dev/null >/dev/null 2>&1
    # If a thread crashes under Wine's debugger, the program ends with 0, and its caller takes that for success.
    in_prefix "$1" wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /t REG_SZ /d '' \
        /f </dev/null >/dev/null 2>&1
    in_prefix "$1" wineserver -w
}

stop_prefix() {
    [ -d "$1" ] || return 0
    in_prefix "$1" wineserver -k 2>/dev/null || true
    in_prefix "$1" wineserver -w 2>/dev/null || true
}

# fresh_prefix PREFIX: a prefix as Wine first made it, whatever was there before. Hard links share the files that Wine never
# writes with the template.
fresh_prefix() {
    local prefix=$1 name template
    template=$(wine_template_name)
    build_once "$template" make_wine_template
    template=$QSN_CACHE/$template
    stop_prefix "$prefix"
    rm -rf "$prefix"
    cp -al "$template" "$prefix" 2>/dev/null || {
        rm -rf "$prefix"
        cp -a "$template" "$prefix"
    }
    for name in system.reg user.reg userdef.reg .update-timestamp; do
        cp -p --remove-destination "$template/$name" "$prefix/$name"
    done
    for name in users ProgramData windows/temp; do
        rm -rf "${prefix:?}/drive_c/$name"
        cp -a "$template/drive_c/$name" "$prefix/drive_c/$name"
    done
}

# hold_prefix PREFIX HOLDER: keeps the prefix open with the idle program HOLDER. The first program in a prefix starts
# Wine's background services. They keep its output open for as long as they run, so here it is not a pipe.
hold_prefix() {
    local attempt
    in_prefix "$1" setsid wine "$2" </dev/null >/dev/null 2>&1 &
    # Two programs that start a prefix together sometimes disturb each other. Then the second comes too early.
    for attempt in 1 2 3; do
        ! in_prefix "$1" wine cmd /c exit </dev/null >/dev/null 2>&1 || return 0
        say "prefix ${1##*/} did not start at attempt $attempt"
        sleep 1
    done
    return 1
}

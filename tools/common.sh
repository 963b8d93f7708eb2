# shellcheck shell=bash
# What the parts of ./dev share: places, progress lines, locks.

readonly QSN_ROOT QSN_STARTED=$SECONDS
readonly QSN_CACHE=${QSN_CACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/qsn}

say() { printf '[%4ds] %s\n' $((SECONDS - QSN_STARTED)) "$*" >&2; }
die() {
    say "error: $*"
    exit 1
}

# run_logged LOG COMMAND...: keeps the output in LOG and shows its end only if the command fails.
run_logged() {
    local log=$1
    shift
    if ! "$@" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        say "failed: $*"
        return 1
    fi
}

# build_once NAME FUNCTION: makes the folder NAME in the cache by calling FUNCTION with an empty folder to fill and a
# scratch folder. The folder appears whole or not at all: an interrupted run leaves only scratch behind, which the next
# one clears, and a concurrent run waits here for the first one's result. Do not call it in a condition: the shell would
# then go on after an error.
build_once() {
    local name=$1 function=$2
    [ -d "$QSN_CACHE/$name" ] && return
    mkdir -p "$QSN_CACHE"
    (
        exec 9>"$QSN_CACHE/.$name.lock"
        flock 9
        [ -d "$QSN_CACHE/$name" ] && exit 0
        scratch=$QSN_CACHE/.$name.tmp
        rm -rf "$scratch"
        mkdir -p "$scratch/result" "$scratch/work"
        # The lock ends with this shell, not with a compiler or a Wine service that outlives it.
        ("$function" "$scratch/result" "$scratch/work") 9>&-
        mv -T "$scratch/result" "$QSN_CACHE/$name"
        rm -rf "$scratch"
    )
}

# shellcheck shell=bash
# Debian packages by name, installed only if they are missing.

readonly BUILD_PACKAGES=(
    ca-certificates cmake dpkg-dev g++-mingw-w64-x86-64-posix googletest libboost-dev libz-mingw-w64-dev make
    ninja-build openssl perl xz-utils
)
readonly DOCS_PACKAGES=(doxygen graphviz perl)
readonly RUN_PACKAGES=(wine wine64)
# libjsoncpp25 for its licence
readonly PACKAGE_PACKAGES=(jq libjsoncpp25 llvm-14 zip)
# For the tests of the package, of a program with a window, and of pages in a browser. The demo does not need them.
readonly TEST_PACKAGES=(
    chromium chromium-driver clang-14 fonts-liberation fonts-wine imagemagick lld-14 python3 python3-selenium unzip xvfb
)
readonly FUZZ_PACKAGES=(clang-14 cmake dpkg-dev libssl-dev libwine-dev ninja-build)
readonly COVERAGE_PACKAGES=(gcovr)
readonly LINT_PACKAGES=(clang-14 clang-format-14 clang-tidy-14 clang-tools-14 cppcheck python3 shellcheck)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "missing packages must be installed by root (no sudo here): $*"
    fi
}

require_packages() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    say "installing Debian packages: ${missing[*]}"
    local log
    log=$(mktemp)
    run_logged "$log" as_root apt-get -qq -o DPkg::Lock::Timeout=300 update || say "continuing with the package lists at hand"
    run_logged "$log" as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o DPkg::Lock::Timeout=300 \
        install --no-install-recommends "${missing[@]}" || die "the packages could not be installed"
    rm -f "$log"
}

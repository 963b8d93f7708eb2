# shellcheck shell=bash
# The SDK package: qsn-sdk-VERSION-win64.zip.

# setting NAME: a value that cmake/Package.cmake has written down
setting() { sed -n "s/^$1=//p" "$BUILD_DIR/package-settings"; }

package_version() { dpkg-query -W -f '${Version}' "$1"; }

# What is linked into the programs: its name in file names, SPDX licence, Debian source package, version, and the programs.
sdk_components() {
    local boost both="dll service" gcc=gcc-mingw-w64-x86-64-posix-runtime mingw
    mingw=$(package_version mingw-w64-x86-64-dev)
    boost=$(package_version "$(boost_package)")
    printf '%s\t%s\t%s\t%s\t%s\n' \
        openssl Apache-2.0 openssl "$(<"$(setting openssl)/VERSION")" "$both" \
        jsoncpp MIT libjsoncpp "$(<"$(setting jsoncpp)/VERSION")" "$both" \
        libcurl curl curl "$(<"$(setting curl)/VERSION")" dll \
        mingw-w64-runtime ZPL-2.1 mingw-w64 "$mingw" "$both" \
        gcc-runtime 'GPL-3.0-or-later WITH GCC-exception-3.1' gcc-mingw-w64 "$(package_version $gcc)" "$both" \
        winpthreads 'MIT AND BSD-3-Clause' mingw-w64 "$mingw" "$(programs_with __pthread_self_lite)" \
        boost BSL-1.0 "boost${boost%.*}" "$boost" service \
        zlib Zlib libz-mingw-w64 "$(package_version libz-mingw-w64-dev)" "$both"
}

# The package of the Boost headers has a version in its name.
boost_package() { dpkg-query -S /usr/include/boost/version.hpp | cut -d : -f 1; }

# programs_with SYMBOL: the programs that have it, as in the list of components. The DLL's own symbols lie beside it.
programs_with() {
    local found=()
    "$(setting nm)" "$BUILD_DIR/symbols/qsn.dll.debug" | grep -w "$1" >/dev/null && found+=(dll)
    "$(setting nm)" "$(setting service)" | grep -w "$1" >/dev/null && found+=(service)
    echo "${found[*]}"
}

# The texts from the components' own Debian packages, with the licences that those only refer to.
add_licenses() {
    local folder=$1 doc=/usr/share/doc common=/usr/share/common-licenses
    mkdir "$folder"
    cat $doc/openssl/copyright $common/Apache-2.0 >"$folder/openssl.txt"
    cat $doc/libjsoncpp25/copyright >"$folder/jsoncpp.txt"
    cat "$(setting curl)/copyright" >"$folder/libcurl.txt"
    cat $doc/mingw-w64-x86-64-dev/copyright >"$folder/mingw-w64-runtime.txt"
    cat $doc/gcc-mingw-w64-x86-64-posix-runtime/copyright $common/GPL-3 >"$folder/gcc-runtime.txt"
    cat $doc/mingw-w64-x86-64-dev/copyright >"$folder/winpthreads.txt"
    cat $doc/libz-mingw-w64-dev/copyright >"$folder/zlib.txt"
    # The text lists the authors of every part on two megabytes. For a compiled program the common licence is enough.
    awk -v RS= '/^License: BSL-1.0\n *Boost Software License/' "$doc/$(boost_package)/copyright" >"$folder/boost.txt"
    [ -s "$folder/boost.txt" ] || die "the licence of Boost was not found"
}

# add_component_list STAGE TIME
add_component_list() {
    local stage=$1 dll service
    dll=bin/$(basename "$(setting dll)")
    service=bin/$(basename "$(setting service)")
    sdk_components | jq -R -s -S --arg version "$(setting version)" --arg created "$(date -u -d "@$2" +%FT%TZ)" \
        --arg dll "$dll" --arg service "$service" \
        --arg dllSums "$(file_sums "$stage/$dll")" --arg serviceSums "$(file_sums "$stage/$service")" \
        -f "$QSN_ROOT/packaging/spdx.jq" >"$stage/sbom.spdx.json"
}

file_sums() { sha1sum "$1" | cut -c 1-40 && sha256sum "$1" | cut -c 1-64; }

# The time of the last change, so that the same change gives the same package.
package_time() {
    local first_of_zip=315532800
    echo "${SOURCE_DATE_EPOCH:-$(git -C "$QSN_ROOT" log -1 --format=%ct 2>/dev/null || echo $first_of_zip)}"
}

# make_package FOLDER: writes the package there and prints its path.
make_package() {
    local folder=$1 version name stage time
    version=$(setting version)
    grep -q "^## ${version//./\\.}\( \|$\)" "$QSN_ROOT/CHANGELOG.md" || die "CHANGELOG.md has no entry for $version"
    name=qsn-sdk-$version-win64
    stage=$folder/stage/$name
    time=$(package_time)
    rm -rf "$folder/stage" "$folder/$name.zip"
    mkdir -p "$stage"
    run_logged "$folder/install.log" cmake --install "$BUILD_DIR" --prefix "$stage" --component sdk
    "$(setting strip)" --preserve-dates --strip-all "$stage/bin/$(basename "$(setting service)")"
    # The linker writes down where each object file lay.
    "$QSN_ROOT/tools/hide-folders" "$stage/symbols/qsn.pdb" "$BUILD_DIR" "$QSN_ROOT" "$(setting openssl)" "$(setting jsoncpp)" \
        "$(setting curl)"
    llvm-dlltool-14 -m i386:x86-64 -d "$QSN_ROOT/src/qsn.def" -D qsn.dll -l "$stage/lib/qsn.lib"
    [ ! -d "$BUILD_DIR/docs/html" ] || cp -r "$BUILD_DIR/docs/html" "$stage/docs/"
    add_licenses "$stage/licenses"
    add_component_list "$stage" "$time"
    find "$stage" -type f -exec chmod 644 {} + -exec touch -d "@$time" {} +
    # Sorted, and in one time zone, because the format does not record it.
    (cd "$folder/stage" && find "$name" -type f | LC_ALL=C sort | TZ=UTC zip -q -X -@ "$folder/$name.zip")
    rm -rf "$folder/stage"
    echo "$folder/$name.zip"
}

run_package() {
    local package
    require_packages "${PACKAGE_PACKAGES[@]}"
    configure "$@"
    compile --target sdk_parts
    package=$(make_package "$BUILD_DIR")
    say "package: $package"
}

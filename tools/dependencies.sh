# shellcheck shell=bash
# Libraries that Debian has as source only, built once for Windows into the cache. A folder's name carries a hash of
# its recipe and of the compiler, so a change of either builds a new one.

readonly CROSS=x86_64-w64-mingw32
JOBS=$(nproc)
readonly JOBS

# libcrypto goes into the DLL, and libssl only into the account service. The options leave out what neither uses.
readonly OPENSSL_OPTIONS=(
    no-shared no-tests no-dso no-engine no-legacy no-async no-cms no-ct no-ocsp no-ts no-srp no-cmp
    no-autoload-config no-ui-console no-psk no-srtp no-dtls no-nextprotoneg no-comp
    no-idea no-camellia no-seed no-aria no-bf no-cast no-des no-rc2 no-rc4 no-md4 no-mdc2 no-whirlpool no-rmd160
    no-sm2 no-sm3 no-sm4 no-dh no-dsa no-ec
)

# HTTPS through Windows' own TLS and nothing else. The caller resolves the names, so that no thread of libcurl stays behind.
# tests/dll-surface checks that the rest is really left out.
readonly CURL_OPTIONS=(
    --with-schannel --with-zlib --disable-shared --enable-static --disable-threaded-resolver --disable-pthreads
    --disable-ldap --disable-ldaps --disable-rtsp --disable-dict --disable-telnet --disable-tftp --disable-pop3 --disable-imap
    --disable-smtp --disable-gopher --disable-mqtt --disable-ftp --disable-file --disable-smb --disable-manual
    --disable-libcurl-option --disable-cookies --disable-alt-svc --disable-hsts --disable-netrc --disable-progress-meter
    --disable-dateparse --disable-doh --disable-aws --disable-headers-api --disable-websockets --disable-mime
    --disable-form-api --disable-unix-sockets --disable-tls-srp --disable-get-easy-options
    --without-libpsl --without-brotli --without-zstd --without-libidn2 --without-nghttp2 --without-librtmp
)

recipe_hash() {
    { printf '%s\n' "$@"; "$CROSS-g++-posix" --version | head -n 1; } | sha256sum | cut -c 1-12
}

build_openssl() {
    local result=$1 work=$2 source version found
    say "OpenSSL: fetching the source"
    found=$(fetch_source openssl 3.0. "$work")
    read -r source version <<<"$found"
    cd "$source" || return
    say "OpenSSL $version: configuring"
    run_logged "$work/configure.log" ./Configure mingw64 "--cross-compile-prefix=$CROSS-" "${OPENSSL_OPTIONS[@]}"
    say "OpenSSL $version: compiling (2 to 4 minutes)"
    run_logged "$work/build.log" make -j"$JOBS" build_generated libcrypto.a libssl.a
    mkdir "$result/lib"
    cp -r include "$result/include"
    find "$result/include" ! -type d ! -name '*.h' -delete
    cp libcrypto.a libssl.a "$result/lib/"
    "$CROSS-strip" --strip-debug "$result"/lib/*.a
    echo "$version" >"$result/VERSION"
    say "OpenSSL $version: done"
}

# build_library RESULT WORK NAME SOURCE-PACKAGE VERSION UNITS [COMPILER-ARGS...]: a static library lib/libNAME.a. UNITS is a
# pattern of file names below the source's folder src/.
build_library() {
    local result=$1 work=$2 name=$3 source version found
    say "$name: fetching the source"
    found=$(fetch_source "$4" "$5" "$work")
    read -r source version <<<"$found"
    say "$name $version: compiling"
    mkdir "$result/lib" "$work/objects"
    # NDEBUG, because an assertion would end the host's process. An exception can be caught.
    # shellcheck disable=SC2016 # the inner shell expands these
    find "$source/src" -name "$6" -print0 | run_logged "$work/build.log" xargs -0 -P "$JOBS" -I UNIT \
        sh -c '"$@" -o "$0/$(basename UNIT).o"' "$work/objects" "$CROSS-g++-posix" -O2 -DNDEBUG -D_WIN32_WINNT=0x0601 \
        "-ffile-prefix-map=$source/=" -I "$source/include" "${@:7}" -c UNIT
    "$CROSS-ar" rcs "$result/lib/lib$name.a" "$work"/objects/*.o
    cp -r "$source/include" "$result/include"
    echo "$version" >"$result/VERSION"
    say "$name $version: done"
}

build_jsoncpp() { build_library "$1" "$2" jsoncpp libjsoncpp 1.9.5 'json_*.cpp' -std=c++20; }

build_curl() {
    local result=$1 work=$2 source version found
    say "libcurl: fetching the source"
    found=$(fetch_source curl 7.88. "$work")
    read -r source version <<<"$found"
    cd "$source" || return
    say "libcurl $version: configuring and compiling (1 to 3 minutes)"
    # With msvcrt's sscanf, because MinGW's own crashes without memory.
    run_logged "$work/configure.log" ./configure "--host=$CROSS" "CC=$CROSS-gcc-posix" \
        "CFLAGS=-O2 -D_WIN32_WINNT=0x0A00 -D__USE_MINGW_ANSI_STDIO=0 -ffile-prefix-map=$source/=" "${CURL_OPTIONS[@]}"
    run_logged "$work/build.log" make -C lib -j"$JOBS"
    mkdir "$result/lib" "$result/include"
    cp -r include/curl "$result/include/curl"
    find "$result/include" ! -type d ! -name '*.h' -delete
    cp lib/.libs/libcurl.a "$result/lib/"
    # The package's own text, as in the binary packages of this series.
    cp debian/copyright "$result/copyright"
    "$CROSS-strip" --strip-debug "$result"/lib/*.a
    echo "$version" >"$result/VERSION"
    say "libcurl $version: done"
}

# For the benchmarks only.
build_benchmark() {
    build_library "$1" "$2" benchmark benchmark 1.7 '*.cc' -std=c++17 -DBENCHMARK_STATIC_DEFINE -DHAVE_STD_REGEX \
        -DHAVE_STEADY_CLOCK
}

require_benchmark() {
    require_packages "${BUILD_PACKAGES[@]}"
    BENCHMARK_DIR=benchmark-1.7-$(recipe_hash "$(declare -f build_library build_benchmark)")
    build_once "$BENCHMARK_DIR" build_benchmark
    BENCHMARK_DIR=$QSN_CACHE/$BENCHMARK_DIR
}

require_dependencies() {
    OPENSSL_DIR=openssl-3.0-$(recipe_hash "$(declare -f build_openssl)" "${OPENSSL_OPTIONS[@]}")
    JSONCPP_DIR=jsoncpp-1.9.5-$(recipe_hash "$(declare -f build_library build_jsoncpp)")
    CURL_DIR=curl-7.88-$(recipe_hash "$(declare -f build_curl)" "${CURL_OPTIONS[@]}")
    build_once "$OPENSSL_DIR" build_openssl
    build_once "$JSONCPP_DIR" build_jsoncpp
    build_once "$CURL_DIR" build_curl
    OPENSSL_DIR=$QSN_CACHE/$OPENSSL_DIR JSONCPP_DIR=$QSN_CACHE/$JSONCPP_DIR CURL_DIR=$QSN_CACHE/$CURL_DIR
}

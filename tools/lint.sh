# shellcheck shell=bash
# Formatting, static analysis, scripts.

readonly CODE_FOLDERS=(include src service samples tests bench fuzz soak)
readonly CXX_HEADERS=/usr/lib/gcc/$CROSS/12-posix/include/c++
readonly TIDY=(
    clang-tidy-14 -quiet "-extra-arg-before=--target=$CROSS" "-extra-arg=-isystem$CXX_HEADERS"
    "-extra-arg=-isystem$CXX_HEADERS/$CROSS" -extra-arg=-Wno-unknown-attributes -extra-arg=-Wno-unknown-warning-option
    -extra-arg=-Wno-sign-conversion -extra-arg=-Wno-ignored-attributes
)

code_files() {
    local folder folders=()
    for folder in "${CODE_FOLDERS[@]}"; do
        [ -d "$QSN_ROOT/$folder" ] && folders+=("$QSN_ROOT/$folder")
    done
    find "${folders[@]}" -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.c' -o -name '*.cpp' \) | sort
}

# The parts that `dev` sources are checked along with it.
scripts() {
    (cd "$QSN_ROOT" && grep -rl '^#!/usr/bin/env bash' dev .ci tools tests | sort)
}

lint_format() {
    code_files | xargs -r -P "$JOBS" -n 20 clang-format-14 --dry-run --Werror
}

lint_structure() { python3 "$QSN_ROOT/tools/structure.py" "$QSN_ROOT"; }

lint_scripts() {
    (cd "$QSN_ROOT" && scripts | xargs shellcheck --external-sources --check-sourced)
}

# The public headers in the other compiler's dialect. Its system headers are not free, so stand-ins declare the few names
# that qsn.h takes from them. The C++ client needs more: it is compiled with the extensions, but with MinGW's headers.
lint_public_header() {
    local stand_in standard
    stand_in=$(mktemp -d)
    cat >"$stand_in/objbase.h" <<'HEADER'
typedef long HRESULT;
typedef unsigned long ULONG;
typedef struct _GUID { unsigned long Data1; unsigned short Data2; unsigned short Data3; unsigned char Data4[8]; } GUID;
typedef GUID IID;
#define STDMETHODCALLTYPE __stdcall
#define STDAPICALLTYPE __stdcall
#define _HRESULT_TYPEDEF_(code) ((HRESULT)code)
#ifdef __cplusplus
#define EXTERN_C extern "C"
#define REFIID const IID&
#define PURE = 0
#define THIS void
#define THIS_
#define DECLARE_INTERFACE_(name, base) struct __declspec(novtable) name : public base
struct __declspec(uuid("00000000-0000-0000-C000-000000000046")) __declspec(novtable) IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
#else
#define EXTERN_C extern
#define REFIID const IID*
#define PURE
#define THIS INTERFACE* This
#define THIS_ INTERFACE *This,
#define DECLARE_INTERFACE_(name, base)                   \
    typedef struct name { struct name##Vtbl* lpVtbl; } name; \
    typedef struct name##Vtbl name##Vtbl;                \
    struct name##Vtbl
typedef struct IUnknown IUnknown;
typedef unsigned short wchar_t;
#endif
HEADER
    local result=0
    for standard in c11 c++14 c++20; do
        echo '#include <qsn/qsn.h>' | clang-14 --target=x86_64-pc-windows-msvc -std=$standard -ffreestanding \
            -fsyntax-only -Wall -Wextra -Werror -isystem "$stand_in" -I "$QSN_ROOT/include" \
            -x "$([[ $standard == c++* ]] && echo c++ || echo c)" - || result=1
    done
    # This version of the compiler has coroutines in C++20 but does not announce them.
    for standard in c++17 "c++20 -D__cpp_impl_coroutine=201902L"; do
        # shellcheck disable=SC2086
        (cd "$QSN_ROOT/include" && printf '#include <%s>\n' qsn/client.hpp qsn/testing.hpp qsn/client/*.hpp qsn/testing/*.hpp) |
            clang++-14 --target="$CROSS" -std=$standard -fms-extensions -fdelayed-template-parsing -fsyntax-only -Wall \
                -Wextra -Werror -isystem "$CXX_HEADERS" -isystem "$CXX_HEADERS/$CROSS" -I "$QSN_ROOT/include" \
                -x c++ - || result=1
    done
    rm -rf "$stand_in"
    return "$result"
}

# A line "SOURCE HASH" for each of our translation units. The hash covers the unit, every header of ours that it
# included in the last build, the checks and the compiler settings. So an unchanged unit is not looked at again, in any
# checkout.
tidy_units() {
    local environment
    environment=$({
        cat "$QSN_ROOT"/{.clang-tidy,tests/.clang-tidy,cmake/CompilerSettings.cmake,cmake/BuildConstants.h.in}
        printf '%s\n' "${TIDY[@]}" "${OPENSSL_DIR##*/}" "${JSONCPP_DIR##*/}" "${CURL_DIR##*/}"
        clang-tidy-14 --version
    } | sha256sum)
    (cd "$BUILD_DIR" && ninja -t deps) | awk -v root="$QSN_ROOT/" -v build="$BUILD_DIR/" '
        /^[^ ]/ { source = "" }
        /^ / {
            file = substr($0, 5)
            if (file !~ /^\//) file = build file
            if (source == "") source = file
            if (source ~ /\.cpp$/ && index(source, root) == 1 && index(file, root) == 1 && index(file, build) != 1)
                print source "\t" file
        }' | sort -u >"$BUILD_DIR/lint-deps"
    # A source that was deleted after the build is in the list but not in the sums.
    cut -f 2 "$BUILD_DIR/lint-deps" | sort -u | xargs -r -d '\n' sha256sum >"$BUILD_DIR/lint-sums" 2>/dev/null || true
    awk -F '\t' -v environment="$environment" '
        NR == FNR { sum[substr($0, 67)] = substr($0, 1, 64); next }
        { all[$1] = all[$1] " " sum[$2] }
        END { for (source in all) if (source in sum) print source "\t" environment all[source] }
    ' "$BUILD_DIR/lint-sums" "$BUILD_DIR/lint-deps" | while IFS=$'\t' read -r source sums; do
        printf '%s %s\n' "$source" "$(sha256sum <<<"${source#"$QSN_ROOT"/} $sums" | cut -c 1-40)"
    done
}

tidy_one() {
    local source=$1 stamp=$2 output
    if output=$("${TIDY[@]}" -p "$BUILD_DIR" "$source" 2>/dev/null); then
        touch "$stamp"
    else
        printf '%s\n%s\n' "findings in $source:" "$output"
        return 1
    fi
}

lint_tidy() {
    local stamps=$QSN_CACHE/lint source hash pending=() known=0 result=0 i
    mkdir -p "$stamps"
    find "$stamps" -type f -mtime +30 -delete
    while read -r source hash; do
        known=$((known + 1))
        if [ -e "$stamps/$hash" ]; then
            touch "$stamps/$hash"
        else
            pending+=("$source" "$stamps/$hash")
        fi
    done < <(tidy_units | sort)
    # A compiler cache that rewrites paths leaves nothing that can be recognised.
    [ "$known" -gt 0 ] || die "no unit of the build is known: build without CCACHE_BASEDIR"
    say "clang-tidy: $((${#pending[@]} / 2)) of $known units to look at"
    for ((i = 0; i < ${#pending[@]}; i += 2)); do
        while [ "$(jobs -rp | wc -l)" -ge "$JOBS" ]; do
            wait -n || result=1
        done
        tidy_one "${pending[i]}" "${pending[i + 1]}" 8>&- &
    done
    while [ -n "$(jobs -p)" ]; do
        wait -n || result=1
    done
    return "$result"
}

lint_cppcheck() {
    code_files | grep '\.cpp$' | grep -v '/tests/' | xargs -r cppcheck -q -j "$JOBS" --platform=win64 --std=c++20 -D_WIN32 \
        -D_WIN64 --library=windows --enable=warning,performance,portability --inline-suppr --error-exitcode=1 \
        -I "$QSN_ROOT/src" -I "$QSN_ROOT/include" --suppress=missingInclude
}

run_lint() {
    local step failed=()
    require_packages "${LINT_PACKAGES[@]}"
    # With the benchmarks, which nothing else compiles before a change is merged.
    require_benchmark
    configure -DQSN_BENCHMARK_DIR="$BENCHMARK_DIR"
    compile --target all qsn_bench
    for step in format structure scripts public_header cppcheck tidy; do
        say "lint: ${step//_/ }"
        lint_"$step" || failed+=("$step")
    done
    [ ${#failed[@]} -eq 0 ] || die "findings: ${failed[*]}"
    say "no findings"
}

# qsn_options: what every target of ours is compiled and linked with. Dependencies do not use it.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# Line tables make a backtrace readable. The shipped DLL is stripped of them.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1 -DNDEBUG")
set(CMAKE_C_FLAGS_RELEASE "-O2 -g1 -DNDEBUG")

find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE}")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()

add_library(qsn_options INTERFACE)
target_compile_definitions(
    qsn_options
    INTERFACE _WIN32_WINNT=0x0A00
              WINVER=0x0A00
              UNICODE
              _UNICODE
              NOMINMAX
              WIN32_LEAN_AND_MEAN
              # OpenSSL 3.0 with the interface of 1.1
              OPENSSL_API_COMPAT=0x10101000L)
target_compile_options(
    qsn_options
    INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-qual -Wformat=2 -Wundef
              -Wduplicated-cond -Wlogical-op -Wvla -Werror>
              $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual -Wextra-semi -Wredundant-tags>)
# What is shipped must not name folders of the building machine.
target_compile_options(qsn_options INTERFACE "$<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>")
# No DLL of a compiler or a library has to be shipped along, and the same sources give the same bytes.
target_link_options(qsn_options INTERFACE -static -Wl,--fatal-warnings,--no-insert-timestamp)

option(QSN_TRAPS "Let undefined behaviour and misuse of the standard library end the program" OFF)
if(QSN_TRAPS)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    target_compile_options(qsn_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=undefined
                                                 -fsanitize-undefined-trap-on-error>)
endif()

option(QSN_COVERAGE "Count the lines of src/ that run, in files beside the objects" OFF)
if(QSN_COVERAGE)
    # The unit tests, for the code that they make from the templates.
    set(counted qsn qsn_core qsn_unit_tests)
    # With the full names that files have on this machine. Other settings shorten them.
    set(counters --coverage -fprofile-update=atomic)
    foreach(folder IN ITEMS "${PROJECT_SOURCE_DIR}/" "${QSN_OPENSSL_DIR}" "${QSN_JSONCPP_DIR}"
            "${QSN_CURL_DIR}")
        list(APPEND counters "-fprofile-prefix-map=${folder}=${folder}")
    endforeach()
    set(isCounted "$<AND:$<COMPILE_LANGUAGE:CXX>,$<IN_LIST:$<TARGET_PROPERTY:NAME>,${counted}>>")
    target_compile_options(qsn_options INTERFACE "$<${isCounted}:${counters}>")
    target_link_options(qsn_options INTERFACE --coverage)
endif()

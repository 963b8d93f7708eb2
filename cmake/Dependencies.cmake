# ./dev builds OpenSSL, jsoncpp and libcurl into its cache and names the folders here. All headers are system headers, so that
# their warnings are not ours.

set(QSN_OPENSSL_DIR "" CACHE PATH "Folder with include/ and lib/ of OpenSSL 3.0 for MinGW-w64")
set(QSN_JSONCPP_DIR "" CACHE PATH "Folder with include/ and lib/ of jsoncpp 1.9.5 for MinGW-w64")
set(QSN_CURL_DIR "" CACHE PATH "Folder with include/ and lib/ of libcurl 7.88 for MinGW-w64, Schannel beneath it")

function(qsn_import name archive includeDir)
    foreach(path IN ITEMS "${archive}" "${includeDir}")
        if(NOT EXISTS "${path}")
            message(FATAL_ERROR "${path} is missing; ./dev build sets up what the build needs")
        endif()
    endforeach()
    add_library(${name} STATIC IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES IMPORTED_LOCATION "${archive}" INTERFACE_INCLUDE_DIRECTORIES
                                                                              "${includeDir}")
endfunction()

qsn_import(qsn::crypto "${QSN_OPENSSL_DIR}/lib/libcrypto.a" "${QSN_OPENSSL_DIR}/include")
target_link_libraries(qsn::crypto INTERFACE ws2_32 gdi32 crypt32 advapi32)
qsn_import(qsn::ssl "${QSN_OPENSSL_DIR}/lib/libssl.a" "${QSN_OPENSSL_DIR}/include")
target_link_libraries(qsn::ssl INTERFACE qsn::crypto)
qsn_import(qsn::json "${QSN_JSONCPP_DIR}/lib/libjsoncpp.a" "${QSN_JSONCPP_DIR}/include")
qsn_import(qsn::zlib /usr/x86_64-w64-mingw32/lib/libz.a /usr/x86_64-w64-mingw32/include)
# The compiler knows MinGW-w64's own folder already. To name it again would change the search order.
set_property(TARGET qsn::zlib PROPERTY INTERFACE_INCLUDE_DIRECTORIES "")

qsn_import(qsn::curl "${QSN_CURL_DIR}/lib/libcurl.a" "${QSN_CURL_DIR}/include")
target_link_libraries(qsn::curl INTERFACE qsn::zlib ws2_32 crypt32 bcrypt advapi32 secur32)
target_compile_definitions(qsn::curl INTERFACE CURL_STATICLIB)

# Only the headers of Boost are used. They lie among those of Linux, which a Windows program must not see.
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/inc")
file(CREATE_LINK /usr/include/boost "${PROJECT_BINARY_DIR}/inc/boost" SYMBOLIC)
add_library(qsn_boost INTERFACE)
add_library(qsn::boost ALIAS qsn_boost)
target_include_directories(qsn_boost SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/inc")
target_compile_definitions(qsn_boost INTERFACE BOOST_ERROR_CODE_HEADER_ONLY BOOST_ALL_NO_LIB
                                               BOOST_BEAST_USE_STD_STRING_VIEW)
target_link_libraries(qsn_boost INTERFACE ws2_32 mswsock)

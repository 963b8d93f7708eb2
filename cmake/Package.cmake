# The SDK's folders, as `cmake --install ... --component sdk` makes them. tools/package.sh adds what is made from other
# files (import library for MSVC, licences, list of components) and packs it all.

if(NOT TARGET qsn)
    return()
endif()
include(CMakePackageConfigHelpers)

# The service's folder knows the name of its program.
set(programs "")
get_property(targets DIRECTORY service PROPERTY BUILDSYSTEM_TARGETS)
foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        list(APPEND programs ${target})
    endif()
endforeach()
list(GET programs 0 serviceProgram)
get_target_property(QSN_SERVICE_PROGRAM ${serviceProgram} OUTPUT_NAME)
if(NOT QSN_SERVICE_PROGRAM)
    set(QSN_SERVICE_PROGRAM ${serviceProgram})
endif()

# Before 1.0 a minor version may break compatibility.
if(PROJECT_VERSION_MAJOR EQUAL 0)
    set(compatibility SameMinorVersion)
else()
    set(compatibility SameMajorVersion)
endif()
set(generated "${PROJECT_BINARY_DIR}/generated/package")
write_basic_package_version_file("${generated}/QSNConfigVersion.cmake" COMPATIBILITY ${compatibility})

# Private keys leave this machine only if they were made for trial, together with the library's halves.
if(QSN_KEY_DIR)
    set(developmentKeys "")
    set(QSN_KEYS_NOTE "keys-own.md")
else()
    set(developmentKeys "${PROJECT_BINARY_DIR}/keys")
    set(QSN_KEYS_NOTE "keys-development.md")
endif()
file(READ "packaging/${QSN_KEYS_NOTE}" QSN_KEYS_NOTE)
configure_file(packaging/README.md.in "${generated}/README.md" @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS packaging/keys-own.md packaging/keys-development.md)

function(qsn_sdk destination)
    install(FILES ${ARGN} DESTINATION "${destination}" COMPONENT sdk)
endfunction()
install(TARGETS qsn ${programs} RUNTIME DESTINATION bin COMPONENT sdk ARCHIVE DESTINATION lib COMPONENT sdk)
install(DIRECTORY include samples DESTINATION . COMPONENT sdk)
install(DIRECTORY docs DESTINATION . COMPONENT sdk FILES_MATCHING PATTERN "*.md")
qsn_sdk(. "${generated}/README.md" CHANGELOG.md SECURITY.md)
qsn_sdk(cmake cmake/mingw64.cmake)
qsn_sdk(lib/cmake/QSN packaging/QSNConfig.cmake "${generated}/QSNConfigVersion.cmake")
qsn_sdk(service service/accounts.json service/README.md)
qsn_sdk(symbols "${PROJECT_BINARY_DIR}/symbols/qsn.dll.debug" "${PROJECT_BINARY_DIR}/symbols/qsn.pdb")
if(developmentKeys)
    foreach(key IN ITEMS request_private reply_public member_private member_public)
        qsn_sdk(keys "${developmentKeys}/${key}.pem")
    endforeach()
endif()

add_custom_target(sdk_parts DEPENDS qsn ${programs})

# For tools/package.sh
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/package-settings" CONTENT "version=${PROJECT_VERSION}
dll=$<TARGET_FILE:qsn>
service=$<TARGET_FILE:${serviceProgram}>
openssl=${QSN_OPENSSL_DIR}
jsoncpp=${QSN_JSONCPP_DIR}
curl=${QSN_CURL_DIR}
strip=${CMAKE_STRIP}
nm=${CMAKE_NM}
")

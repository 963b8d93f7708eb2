# The constants that a host maker chooses at build time. The code gets them as <qsn/BuildConstants.h>.

set(QSN_SERVICE_HOST "account.quillfern.example" CACHE STRING "Account service and login page")
set(QSN_STAGING_SERVICE_HOST "account-staging.quillfern.example" CACHE STRING "Their staging host")
set(QSN_MEMBER_HOST "member.quillfern.example" CACHE STRING "Member authentication service")
set(QSN_STAGING_MEMBER_HOST "member-staging.quillfern.example" CACHE STRING "Its staging host")
set(QSN_APPLICATION_GUID "5B0C3E64-9D1F-4A27-8E6B-2F7A41C9D035" CACHE STRING "Application GUID in the usage log")

foreach(host IN ITEMS QSN_SERVICE_HOST QSN_STAGING_SERVICE_HOST QSN_MEMBER_HOST QSN_STAGING_MEMBER_HOST)
    set(label "[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?")
    string(LENGTH "${${host}}" length)
    if(NOT "${${host}}" MATCHES "^${label}(\\.${label})*$" OR length GREATER 253)
        message(FATAL_ERROR "${host} is not a host name: \"${${host}}\"")
    endif()
    string(TOLOWER "${${host}}" ${host})
endforeach()

string(REPEAT "[0-9A-F]" 4 hex4)
if(NOT QSN_APPLICATION_GUID MATCHES "^${hex4}${hex4}-${hex4}-${hex4}-${hex4}-${hex4}${hex4}${hex4}$")
    message(FATAL_ERROR "QSN_APPLICATION_GUID must have the form 8-4-4-4-12, upper case, without braces: "
                        "\"${QSN_APPLICATION_GUID}\"")
endif()

configure_file(cmake/BuildConstants.h.in generated/constants/qsn/BuildConstants.h @ONLY)
add_library(qsn_build_constants INTERFACE)
target_include_directories(qsn_build_constants INTERFACE "${PROJECT_BINARY_DIR}/generated/constants")

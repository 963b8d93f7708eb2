# QSN::qsn, the account client library of the SDK that this file is part of, wherever that is.

if(TARGET QSN::qsn)
    return()
endif()

if(NOT WIN32)
    set(QSN_FOUND FALSE)
    set(QSN_NOT_FOUND_MESSAGE "qsn.dll is a library for 64-bit Windows")
    return()
endif()

get_filename_component(qsnRoot "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
# clang and clang-cl link with either one; CMake's MSVC says which.
if(MSVC)
    set(qsnImportLibrary "${qsnRoot}/lib/qsn.lib")
else()
    set(qsnImportLibrary "${qsnRoot}/lib/libqsn.dll.a")
endif()
add_library(QSN::qsn SHARED IMPORTED)
set_target_properties(
    QSN::qsn PROPERTIES IMPORTED_LOCATION "${qsnRoot}/bin/qsn.dll" IMPORTED_IMPLIB "${qsnImportLibrary}"
                        INTERFACE_INCLUDE_DIRECTORIES "${qsnRoot}/include"
                        # What qsn/client/interactive.hpp uses of Windows
                        INTERFACE_LINK_LIBRARIES "bcrypt;ole32;shell32;ws2_32")
unset(qsnImportLibrary)
unset(qsnRoot)

#include "protocol/CurlLibrary.h"

#include <curl/curl.h>

#include <mutex>

#include "Utility/Win32Owners.h"

namespace qsn {
namespace {

SlimLock g_usersLock;  // held while libcurl starts and ends; nothing else may run meanwhile
unsigned g_users = 0;

bool Start() noexcept {
    const std::lock_guard lock(g_usersLock);
    if (g_users == 0 && curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
    ++g_users;
    return true;
}

}  // namespace

CurlLibrary::CurlLibrary() noexcept : m_started(Start()) {}

CurlLibrary::~CurlLibrary() {
    if (!m_started) return;
    const std::lock_guard lock(g_usersLock);
    if (--g_users == 0) curl_global_cleanup();
}

}  // namespace qsn

#include "sso/TokenPrint.h"

#include <openssl/sha.h>

namespace qsn {

// Not the newer interface, which needs memory: the watcher must always be able to remember what it has seen.
TokenPrint::TokenPrint(std::string_view token) noexcept : m_length(token.size()) {
    SHA256_CTX context;
    SHA256_Init(&context);
    SHA256_Update(&context, token.data(), token.size());
    SHA256_Final(m_digest.data(), &context);
}

bool TokenPrint::IsBeginningOf(std::string_view text) const noexcept {
    return text.size() >= m_length && TokenPrint(text.substr(0, m_length)).m_digest == m_digest;
}

}  // namespace qsn

#include "protocol/TransferError.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace qsn {
namespace {

struct CodeRow {
    CURLcode code;
    TransferError error;
};
constexpr std::array kCodes{
    CodeRow{CURLE_OPERATION_TIMEDOUT, TransferError::kTimeout},
    CodeRow{CURLE_COULDNT_RESOLVE_HOST, TransferError::kName},
    CodeRow{CURLE_COULDNT_RESOLVE_PROXY, TransferError::kName},
    CodeRow{CURLE_COULDNT_CONNECT, TransferError::kConnect},
    CodeRow{CURLE_PROXY, TransferError::kConnect},
    CodeRow{CURLE_PEER_FAILED_VERIFICATION, TransferError::kCertificateAuthority},
    CodeRow{CURLE_SSL_CONNECT_ERROR, TransferError::kTls},
    CodeRow{CURLE_WEIRD_SERVER_REPLY, TransferError::kNotHttp},
    CodeRow{CURLE_UNSUPPORTED_PROTOCOL, TransferError::kNotHttp},
    CodeRow{CURLE_WRITE_ERROR, TransferError::kNotHttp},  // a head that the reader refused
};

struct WordRow {
    std::string_view word;
    TransferError error;
};
constexpr std::array kWords{
    WordRow{"SEC_E_CERT_EXPIRED", TransferError::kCertificateDate},
    WordRow{"SEC_E_WRONG_PRINCIPAL", TransferError::kCertificateName},
    WordRow{"SEC_E_UNTRUSTED_ROOT", TransferError::kCertificateAuthority},
    WordRow{"CRYPT_E_REVOKED", TransferError::kCertificateRevoked},
};

}  // namespace

TransferError ErrorOfTransfer(CURLcode code, const char* words) noexcept {
    const std::string_view text(words);
    const auto word =
        std::ranges::find_if(kWords, [&](const WordRow& row) { return text.find(row.word) != text.npos; });
    if (word != kWords.end()) return word->error;
    const auto row = std::ranges::find(kCodes, code, &CodeRow::code);
    return row == kCodes.end() ? TransferError::kConnectionAborted : row->error;
}

bool IsConnectFailure(TransferError error) noexcept {
    return error == TransferError::kName || error == TransferError::kConnect;
}

}  // namespace qsn

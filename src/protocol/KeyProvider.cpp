#include "protocol/KeyProvider.h"

#include <qsn/KeyBlobs.h>

#include <algorithm>
#include <iterator>
#include <span>

namespace qsn {
namespace {

std::span<const unsigned char> BuiltInKey(KeySlot slot) {
    switch (slot) {
        case KeySlot::kRequest: return kRequestKeyBlob;
        case KeySlot::kReply: return kReplyKeyBlob;
    }
    return {};
}

static_assert(std::size(kRequestKeyBlob) <= sizeof(KeyBlob::bytes) &&
              std::size(kReplyKeyBlob) <= sizeof(KeyBlob::bytes));

}  // namespace

ProvidedKey::ProvidedKey(KeySlot slot) noexcept {
    const std::span<const unsigned char> key = BuiltInKey(slot);
    std::ranges::copy(key, m_blob.bytes);
    m_blob.length = static_cast<std::uint32_t>(key.size());
}

ProvidedKey::~ProvidedKey() { SecureZeroMemory(&m_blob, sizeof(m_blob)); }

}  // namespace qsn

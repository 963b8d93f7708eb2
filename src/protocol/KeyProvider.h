#pragma once

#include "Utility/KeyBlobCipher.h"

namespace qsn {

// The keys that the library was built with, by slot.
enum class KeySlot { kRequest = 0, kReply = 2 };

// A key blob, wiped from memory with its owner. Its length is 0 if the slot holds no key.
class ProvidedKey {
public:
    explicit ProvidedKey(KeySlot slot) noexcept;
    ProvidedKey(const ProvidedKey&) = delete;
    ProvidedKey& operator=(const ProvidedKey&) = delete;
    ~ProvidedKey();

    const KeyBlob& Blob() const noexcept { return m_blob; }

private:
    KeyBlob m_blob{};
};

}  // namespace qsn

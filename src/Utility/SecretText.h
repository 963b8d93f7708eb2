#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <utility>

namespace qsn {

// A text that is wiped at its end: a secret should not stay readable in freed memory.
class SecretText {
public:
    SecretText() = default;
    explicit SecretText(std::string_view text) : m_text(text) {}
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    SecretText(SecretText&& other) noexcept : m_text(std::move(other.m_text)) {}
    SecretText& operator=(SecretText&& other) noexcept {
        Wipe();
        m_text = std::move(other.m_text);
        return *this;
    }
    ~SecretText() { Wipe(); }

    const std::string& Text() const noexcept { return m_text; }
    bool IsEmpty() const noexcept { return m_text.empty(); }

private:
    // To the capacity, because a short text that is moved away leaves a copy behind.
    void Wipe() noexcept {
        m_text.resize(m_text.capacity());
        SecureZeroMemory(m_text.data(), m_text.size());
        m_text.clear();
    }

    std::string m_text;
};

}  // namespace qsn

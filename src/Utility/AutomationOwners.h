#pragma once

#include <windows.h>

#include <oleauto.h>

#include <memory>

#include "Utility/Deleter.h"

namespace qsn {

using UniqueBstr = std::unique_ptr<OLECHAR, Deleter<SysFreeString>>;

class UniqueVariant {
public:
    UniqueVariant() noexcept { VariantInit(&m_value); }
    UniqueVariant(const UniqueVariant&) = delete;
    UniqueVariant& operator=(const UniqueVariant&) = delete;
    ~UniqueVariant() { VariantClear(&m_value); }

    const VARIANT& Get() const noexcept { return m_value; }
    VARIANT* Receive() noexcept {
        VariantClear(&m_value);
        return &m_value;
    }

private:
    VARIANT m_value;
};

}  // namespace qsn

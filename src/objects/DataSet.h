#pragma once

#include <qsn/qsn.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "objects/CPVUnknown.h"

namespace qsn {

// IQSNDataSet over whatever a derived class stores. `Interface` is IQSNDataSet or an interface that extends it.
template <class Interface>
class DataSet : public Interface, public CPVUnknown {
public:
    QSN_DELEGATE_IUNKNOWN

    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) override {
        if (!ppv || !IsEqualIID(iid, IID_IQSNDataSet)) return CPVUnknown::NonDelegatingQueryInterface(iid, ppv);
        *ppv = static_cast<IQSNDataSet*>(this);
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetString(int32_t id, char* buffer, uint32_t bufferSize) override {
        if (!buffer) return E_POINTER;
        const std::optional<std::string_view> text = Text(id);
        if (!text || text->size() >= bufferSize) return E_INVALIDARG;
        buffer[text->copy(buffer, text->size())] = '\0';
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStringLength(int32_t id, uint32_t* length) override {
        if (!length) return E_POINTER;
        const std::optional<std::string_view> text = Text(id);
        if (!text) return E_INVALIDARG;
        *length = static_cast<uint32_t>(text->size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetObject5(int32_t, void** output) override { return output ? E_INVALIDARG : E_POINTER; }
    HRESULT STDMETHODCALLTYPE GetObject6(int32_t, void**) override { return E_INVALIDARG; }
    HRESULT STDMETHODCALLTYPE GetObject7(int32_t, void**) override { return E_INVALIDARG; }
    HRESULT STDMETHODCALLTYPE GetInt(int32_t, int32_t* value) override { return value ? E_INVALIDARG : E_POINTER; }
    HRESULT STDMETHODCALLTYPE GetFieldType(int32_t id, int32_t* type) override {
        if (!type) return E_POINTER;
        if (!Text(id)) return E_INVALIDARG;
        *type = QSN_FIELD_TEXT;
        return S_OK;
    }

protected:
    // The text of field `id`. Nothing if that is not a text field.
    virtual std::optional<std::string_view> Text(int32_t id) const = 0;
};

// Storage for records whose fields 1 to `count` are all text.
template <std::size_t count>
class TextFields {
public:
    explicit TextFields(std::array<std::string, count> texts) noexcept : m_texts(std::move(texts)) {}

    std::optional<std::string_view> Find(int32_t id) const {
        if (id < 1 || static_cast<std::size_t>(id) > count) return std::nullopt;
        return m_texts[static_cast<std::size_t>(id) - 1];
    }

private:
    std::array<std::string, count> m_texts;
};

}  // namespace qsn

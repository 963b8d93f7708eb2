/* Result objects as the library hands them out. Part of <qsn/testing.hpp>. */
#pragma once

#include <qsn/client/records.hpp>

#include <cstring>
#include <map>
#include <variant>

namespace qsn::detail {

template <class Interface>
class FakeRecord : public ComObject<Interface> {
public:
    explicit FakeRecord(REFIID iid) noexcept : ComObject<Interface>(iid) {}

    void Set(std::int32_t id, const std::string& text) { m_fields[id] = text; }
    void Set(std::int32_t id, std::uint64_t size) { m_fields[id] = size == 0 ? std::string() : std::to_string(size); }
    void Set(std::int32_t id, std::int32_t number) { m_fields[id] = number; }
    void Set(std::int32_t id, bool flag) { m_fields[id] = std::int32_t{flag}; }

    HRESULT STDMETHODCALLTYPE GetString(std::int32_t id, char* buffer, std::uint32_t bufferSize) override {
        if (!buffer) return E_POINTER;
        const std::string* const text = Find<std::string>(id);
        if (!text || bufferSize <= text->size()) return E_INVALIDARG;
        std::memcpy(buffer, text->c_str(), text->size() + 1);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStringLength(std::int32_t id, std::uint32_t* length) override {
        if (!length) return E_POINTER;
        const std::string* const text = Find<std::string>(id);
        if (!text) return E_INVALIDARG;
        *length = static_cast<std::uint32_t>(text->size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetInt(std::int32_t id, std::int32_t* value) override {
        if (!value) return E_POINTER;
        const std::int32_t* const number = Find<std::int32_t>(id);
        if (!number) return E_INVALIDARG;
        *value = *number;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetFieldType(std::int32_t id, std::int32_t* type) override {
        if (!type) return E_POINTER;
        if (m_fields.count(id) == 0) return E_INVALIDARG;
        *type = Find<std::string>(id) ? QSN_FIELD_TEXT : QSN_FIELD_INTEGER;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetObject5(std::int32_t, void** output) override {
        return output ? E_INVALIDARG : E_POINTER;
    }
    HRESULT STDMETHODCALLTYPE GetObject6(std::int32_t, void**) override { return E_INVALIDARG; }
    HRESULT STDMETHODCALLTYPE GetObject7(std::int32_t, void**) override { return E_INVALIDARG; }

private:
    template <class Type>
    const Type* Find(std::int32_t id) const {
        const auto found = m_fields.find(id);
        return found == m_fields.end() ? nullptr : std::get_if<Type>(&found->second);
    }

    std::map<std::int32_t, std::variant<std::string, std::int32_t>> m_fields;
};

class FakeList final : public ComObject<IQSNList> {
public:
    FakeList() noexcept : ComObject(IID_IQSNList) {}

    FakeRecord<IQSNDataSet>& Add() {
        const auto record = Owned(new FakeRecord<IQSNDataSet>(IID_IQSNDataSet));
        m_records.push_back(record);
        return *record;
    }
    HRESULT STDMETHODCALLTYPE GetItem(std::uint32_t index, void** element) override {
        if (index >= m_records.size()) return E_INVALIDARG;
        return m_records[index]->QueryInterface(IID_IQSNDataSet, element);
    }
    std::uint32_t STDMETHODCALLTYPE GetCount() override { return static_cast<std::uint32_t>(m_records.size()); }

private:
    std::vector<std::shared_ptr<FakeRecord<IQSNDataSet>>> m_records;
};

class FakeUser final : public FakeRecord<IQSNUserInfo> {
public:
    explicit FakeUser(const UserInfo& user) : FakeRecord(IID_IQSNUserInfo) {
        Set(QSN_USER_ID, user.id);
        Set(QSN_USER_NAME, user.name);
        Set(QSN_USER_EMAIL, user.email);
        for (const MenuItem& each : user.menu) {
            auto& record = m_menu->Add();
            record.Set(QSN_MENU_ITEM, each.item);
            record.Set(QSN_MENU_URL, each.url);
        }
    }
    HRESULT STDMETHODCALLTYPE GetUserMenu(IQSNList** menu) override {
        if (!menu) return E_POINTER;
        m_menu->AddRef();
        *menu = m_menu.get();
        return S_OK;
    }

private:
    const std::shared_ptr<FakeList> m_menu = Owned(new FakeList);
};

inline std::shared_ptr<FakeList> FakeProducts(const std::vector<Product>& products) {
    const auto list = Owned(new FakeList);
    for (const Product& each : products) {
        auto& record = list->Add();
        VisitFields(each, [&](std::int32_t id, const auto& member) { record.Set(id, member); });
    }
    return list;
}

inline QSN_GI_QUOTA FakeQuota(const Quota& quota) {
    QSN_GI_QUOTA record = {sizeof(QSN_GI_QUOTA), {}, quota.remaining};
    const std::wstring date = ToWide(quota.resetDateText);
    date.copy(record.resetDate, std::size(record.resetDate) - 1);
    return record;
}

}  // namespace qsn::detail

#pragma once

#include <qsn/qsn.h>

#include <cstddef>
#include <new>
#include <optional>
#include <span>
#include <string_view>

#include "Utility/ComOwners.h"
#include "objects/DataSet.h"
#include "objects/PackedFields.h"

namespace qsn {

// One product of a list, with its fields numbered as in kProductFields. They lie behind the object in the same block of
// memory, because lists are long.
class CQSNProductItem final : public DataSet<IQSNDataSet> {
public:
    // Copies the texts. Throws std::bad_alloc.
    static UniqueCom<CQSNProductItem> Create(std::span<const PackedFields::Field> fields);
    // NOLINTNEXTLINE(misc-new-delete-overloads): its counterpart is the new with room
    static void operator delete(void* memory) noexcept { ::operator delete(memory); }

    HRESULT STDMETHODCALLTYPE GetInt(int32_t id, int32_t* value) override;
    HRESULT STDMETHODCALLTYPE GetFieldType(int32_t id, int32_t* type) override;

private:
    struct Room {
        std::size_t bytes;
    };

    CQSNProductItem() = default;
    static void* operator new(std::size_t size, Room room) { return ::operator new(size + room.bytes); }
    static void operator delete(void* memory, Room) noexcept { ::operator delete(memory); }

    std::optional<std::string_view> Text(int32_t id) const override;
    PackedFields Fields() const noexcept { return PackedFields(reinterpret_cast<const char*>(this + 1)); }
};

}  // namespace qsn

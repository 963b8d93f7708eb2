#include "support/ImportTable.h"

namespace qsn::test {

void WriteImport(ULONGLONG& entry, const void* function) {
    DWORD before = 0;
    VirtualProtect(&entry, sizeof(entry), PAGE_READWRITE, &before);
    entry = reinterpret_cast<ULONGLONG>(function);
    VirtualProtect(&entry, sizeof(entry), before, &before);
}

void ForEachImport(const std::function<void(std::string_view name, ULONGLONG& entry)>& visit,
                   const wchar_t* moduleName) {
    auto* const base = reinterpret_cast<std::byte*>(GetModuleHandleW(moduleName));
    if (!base) return;
    const auto at = [base]<class T>(ULONGLONG offset, T*) { return reinterpret_cast<T*>(base + offset); };
    const auto* const dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
    const auto* const headers = at(static_cast<ULONGLONG>(dos->e_lfanew), static_cast<IMAGE_NT_HEADERS64*>(nullptr));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto* module = at(directory.VirtualAddress, static_cast<IMAGE_IMPORT_DESCRIPTOR*>(nullptr));
    for (; module->Name != 0; ++module) {
        const auto* names = at(module->OriginalFirstThunk, static_cast<IMAGE_THUNK_DATA64*>(nullptr));
        auto* entries = at(module->FirstThunk, static_cast<IMAGE_THUNK_DATA64*>(nullptr));
        for (; names->u1.AddressOfData != 0; ++names, ++entries) {
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) continue;
            auto* const import = at(names->u1.AddressOfData, static_cast<IMAGE_IMPORT_BY_NAME*>(nullptr));
            visit(reinterpret_cast<const char*>(import->Name), entries->u1.Function);
        }
    }
}

}  // namespace qsn::test

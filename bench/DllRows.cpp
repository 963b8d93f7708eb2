#include <windows.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "Rows.h"
#include "Sections.h"

namespace qsn::bench {
namespace {

struct Weight {
    double file = 0;
    double image = 0;
    double relocations = 0;
};

template <class Record>
const Record& At(const std::vector<char>& file, std::size_t offset) {
    return *reinterpret_cast<const Record*>(file.data() + offset);
}

std::size_t Relocations(const std::vector<char>& file, const IMAGE_SECTION_HEADER& section, DWORD size) {
    std::size_t count = 0;
    for (DWORD offset = 0; offset < size;) {
        const auto& block = At<IMAGE_BASE_RELOCATION>(file, section.PointerToRawData + offset);
        if (block.SizeOfBlock == 0) break;
        count += (block.SizeOfBlock - sizeof(block)) / sizeof(WORD);
        offset += block.SizeOfBlock;
    }
    return count;
}

Weight WeightOf(const char* path) {
    std::ifstream input(path, std::ios::binary);
    const std::vector<char> file{std::istreambuf_iterator<char>(input), {}};
    if (file.empty()) throw std::runtime_error(std::string("no ") + path);
    const auto header = static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(file, 0).e_lfanew);
    const auto& nt = At<IMAGE_NT_HEADERS64>(file, header);
    const IMAGE_DATA_DIRECTORY& table = nt.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC];
    Weight weight{static_cast<double>(file.size()), 0, 0};
    for (WORD i = 0; i < nt.FileHeader.NumberOfSections; ++i) {
        const auto& section = At<IMAGE_SECTION_HEADER>(file, header + sizeof(nt) + i * sizeof(IMAGE_SECTION_HEADER));
        weight.image += section.Misc.VirtualSize;
        if (section.VirtualAddress == table.VirtualAddress)
            weight.relocations = static_cast<double>(Relocations(file, section, table.Size));
    }
    return weight;
}

void Load(const char* path) {
    const HMODULE module = LoadLibraryA(path);
    if (!module) throw std::runtime_error(std::string("cannot load ") + path);
    FreeLibrary(module);
}

Pair<Step> Loads() {
    return {[] { Load(QSN_TEST_DLL); }, [] { Load(QSN_REFERENCE_DLL); }};
}

void AddWeight(const char* id, const char* what, const char* beside, Unit unit, double Weight::*part) {
    AddFigures({id, what, beside, "what the linked libraries bring", 1.15}, unit, [part] {
        return Figures{WeightOf(QSN_TEST_DLL).*part, WeightOf(QSN_REFERENCE_DLL).*part};
    });
}

}  // namespace

void AddDllRows() {
    AddWeight("dll-file", "`qsn.dll`", "a DLL with the same parts of libcrypto and jsoncpp", Unit::kBytes,
              &Weight::file);
    AddWeight("dll-sections", "its sections in memory", "the same", Unit::kBytes, &Weight::image);
    AddWeight("dll-relocations", "its relocations", "the same", Unit::kCount, &Weight::relocations);
    AddPair({"dll-load", "load and free, system DLLs in memory already", "the same", "mapping and relocating", 1.15},
            {}, Loads);
}

}  // namespace qsn::bench

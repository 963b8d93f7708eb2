// What the units need of Windows.
#define INITGUID
#include <windows.h>

#include <unknwn.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "Utility/Trace.h"

namespace qsn {

std::atomic<bool> g_traceEnabled = false;
void WriteTraceW(const wchar_t*, ...) {}
void WriteTraceA(const char*, ...) {}

}  // namespace qsn

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Takes one character off the front of `text`. A byte that does not begin one is a character by itself.
char32_t TakeCharacter(std::string_view* text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>((*text)[i]); };
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    const unsigned char first = byte(0);
    const std::size_t more = first < 0x80   ? 0
                             : first < 0xC0 ? 4
                             : first < 0xE0 ? 1
                             : first < 0xF0 ? 2
                             : first < 0xF8 ? 3
                                            : 4;
    char32_t character = more == 0 ? first : first & (0x3Fu >> more);
    std::size_t used = 1;
    while (used <= more && used < text->size() && (byte(used) & 0xC0) == 0x80)
        character = character << 6 | (byte(used++) & 0x3F);
    const bool sound = more < 4 && used == more + 1 && character >= kSmallest[more] && character <= 0x10FFFF &&
                       (character < 0xD800 || character > 0xDFFF);
    text->remove_prefix(sound ? used : 1);
    return sound ? character : kReplacement;
}

}  // namespace

// Like the system's, for UTF-8.
INT WINAPI MultiByteToWideChar(UINT, DWORD, LPCSTR text, INT length, LPWSTR wide, INT capacity) {
    std::string_view rest(text, static_cast<std::size_t>(length));
    std::wstring converted;
    while (!rest.empty()) {
        const char32_t character = TakeCharacter(&rest);
        if (character > 0xFFFF) {
            converted += static_cast<wchar_t>(0xD7C0 + (character >> 10));
            converted += static_cast<wchar_t>(0xDC00 + (character & 0x3FF));
        } else {
            converted += static_cast<wchar_t>(character);
        }
    }
    if (capacity != 0 && static_cast<std::size_t>(capacity) < converted.size()) return 0;
    if (capacity != 0) converted.copy(wide, converted.size());
    return static_cast<INT>(converted.size());
}

// No target converts a wide text to UTF-8.
INT WINAPI WideCharToMultiByte(UINT, DWORD, LPCWSTR, INT, LPSTR, INT, LPCSTR, LPBOOL) { __builtin_trap(); }

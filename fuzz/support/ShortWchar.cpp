// The functions of the C library that std::wstring calls, for characters of two bytes. The library's own take four.
#include <algorithm>
#include <cstddef>
#include <cwchar>

extern "C" {

std::size_t wcslen(const wchar_t* text) {
    std::size_t length = 0;
    while (text[length] != L'\0') ++length;
    return length;
}

wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count) {
    std::copy(from, from + count, to);
    return to;
}

wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count) {
    if (to < from) {
        std::copy(from, from + count, to);
    } else {
        std::copy_backward(from, from + count, to + count);
    }
    return to;
}

wchar_t* wmemset(wchar_t* to, wchar_t value, std::size_t count) {
    std::fill(to, to + count, value);
    return to;
}

int wmemcmp(const wchar_t* a, const wchar_t* b, std::size_t count) {
    const auto [first, second] = std::mismatch(a, a + count, b);
    return first == a + count ? 0 : *first < *second ? -1 : 1;
}

wchar_t* wmemchr(const wchar_t* text, wchar_t value, std::size_t count) {
    const wchar_t* const found = std::find(text, text + count, value);
    return found == text + count ? nullptr : const_cast<wchar_t*>(found);
}

}  // extern "C"

#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

namespace sample {

// Numbered steps on the console, one line each with details below. A step that did not give what it should ends the
// program.
class Transcript {
public:
    void Step(const std::string& title) { std::printf("\n%2d. %s\n", ++m_step, title.c_str()); }
    void Detail(const std::string& label, const std::string& value) {
        std::printf("      %-14s %s\n", label.c_str(), value.c_str());
    }
    void Expect(bool given, const std::string& what) {
        if (!given) throw std::runtime_error(what);
    }

private:
    int m_step = 0;
};

inline std::string Hex(long code) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lx", static_cast<unsigned long>(code));
    return text;
}

}  // namespace sample

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace sample {

// Numbered steps on the console, one line each with details below. A step that did not give what it should ends the
// program.
class Transcript {
public:
    void Step(const std::string& title) { std::printf("\n%2d. %s\n", ++m_step, title.c_str()); }
    void Detail(const std::string& label, const std::string& value) {
        std::printf("      %-14s %s\n", label.c_str(), value.c_str());
    }
    // One line of a table of five columns.
    void Row(const std::vector<std::string>& cells) {
        constexpr int kWidths[] = {18, 9, 12, 10, 10};
        std::string line = "      ";
        for (std::size_t column = 0; column < cells.size() && column < std::size(kWidths); ++column) {
            std::string cell = cells[column];
            cell.resize(std::max<std::size_t>(cell.size() + 1, kWidths[column]), ' ');
            line += cell;
        }
        std::printf("%s\n", line.c_str());
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

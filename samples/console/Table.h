#pragma once

#include <qsn/client.hpp>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

namespace sample {

// One line of at most five columns.
inline void PrintRow(const std::vector<std::string>& cells) {
    constexpr std::size_t kWidths[] = {18, 9, 12, 10, 10};
    std::string line;
    for (std::size_t column = 0; column < cells.size() && column < std::size(kWidths); ++column) {
        std::string cell = cells[column];
        cell.resize(std::max(cell.size() + 1, kWidths[column]), ' ');
        line += cell;
    }
    std::printf("%s\n", line.substr(0, line.find_last_not_of(' ') + 1).c_str());
}

inline void PrintProducts(const std::vector<qsn::Product>& products) {
    PrintRow({"product", "version", "edition", "size", "published"});
    for (const qsn::Product& each : products) {
        const std::string size = each.fileSize == 0 ? "" : std::to_string(each.fileSize >> 20) + " MB";
        PrintRow({each.displayName, each.displayVersion, each.displayVersionType, size, each.publishDateText});
    }
}

}  // namespace sample

#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

namespace qsn::service {

struct ProgramOptions {
    std::filesystem::path accounts;
    std::filesystem::path keys;
    std::filesystem::path state;  // empty: the authority is not written to disk
    std::uint16_t port = 0;
    std::string memberTokenFor;    // a user's identifier: prints a member token of theirs and ends
    std::optional<int> expiresIn;  // seconds
    bool configureUser = false;
    bool exitWithStdin = false;
    bool quiet = false;
    bool help = false;
};

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// `arguments` without the program's name. Throws UsageError.
ProgramOptions ParseOptions(std::span<const std::wstring> arguments);

extern const char kUsage[];

}  // namespace qsn::service

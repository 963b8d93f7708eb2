#pragma once

#include <filesystem>

#include "service/crypto/OpenSslPointers.h"

namespace qsn::service {

// From PEM files. Both throw std::runtime_error that names the file.
PrivateKeyPtr ReadPrivateKey(const std::filesystem::path& file);
PrivateKeyPtr ReadPublicKey(const std::filesystem::path& file);

// RSA-2048.
PrivateKeyPtr MakePrivateKey();

}  // namespace qsn::service

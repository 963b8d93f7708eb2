#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/crypto/OpenSslPointers.h"
#include "service/net/HostNames.h"

namespace qsn::service {

struct LeafTraits {
    bool expired = false;
    bool otherHost = false;
    bool selfSigned = false;
};

// A development authority with a name and key identifiers of its own, and the key pair that its leaf certificates
// share. Making one costs two key generations. Windows and Wine read the trusted roots once in a process, so a
// process with several servers gives them all the same authority.
class CertificateAuthority {
public:
    CertificateAuthority();

    std::vector<std::uint8_t> Der() const;
    std::string Pem() const;

    evp_pkey_st* LeafKey() const { return leafKey_.get(); }
    CertificatePtr MakeLeaf(const HostNames& hosts, LeafTraits traits = {}) const;

private:
    PrivateKeyPtr key_;
    PrivateKeyPtr leafKey_;
    CertificatePtr certificate_;
};

}  // namespace qsn::service

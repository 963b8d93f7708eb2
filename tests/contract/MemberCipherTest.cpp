#include "service/MemberCipher.h"

#include <gtest/gtest.h>

#include "service/Base64.h"

namespace qsn::service {
namespace {

constexpr char kPlain[] = R"({"memberId":7,"refreshToken":"refresh"})";

// Known bytes: a vector or an order that agrees with itself only would pass everything else here.
TEST(MemberCipher, GivesTheProtocolsBytes) {
    const Bytes key = FromHex("000102030405060708090a0b0c0d0e0f").value();
    const auto sealed = FromHex(
                            "7cf80301ef5b3b6878534851054a6c29b014a761b7844a696efc567a5828b4e83e332906ec9b3fc73792bfa50d"
                            "e42f68180162afb2c5d1")
                            .value();
    const MemberCipherKey fixed = std::span(key).first<kMemberKeySize>();
    EXPECT_EQ(DecryptMemberText(fixed, sealed), kPlain);
    EXPECT_EQ(EncryptMemberText(fixed, kPlain), sealed);
}

TEST(ServiceBase64, TakesOnePaddedLineOnly) {
    const struct {
        std::string text;
        std::optional<std::string> bytes;
    } rows[] = {{"", ""},         {"TQ==", "M"}, {"TWE=", "Ma"}, {"TWFu", "Man"},  {"TQ", {}},  {"T===", {}},
                {"TQ==TWFu", {}}, {"TWF-", {}},  {" TWFu", {}},  {"TWFu\r\n", {}}, {"====", {}}};
    for (const auto& row : rows) {
        const auto bytes = FromBase64(row.text);
        EXPECT_EQ(bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt, row.bytes)
            << row.text;
    }
}

}  // namespace
}  // namespace qsn::service

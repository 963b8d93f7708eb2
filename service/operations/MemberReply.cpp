#include "service/operations/MemberReply.h"

#include "service/crypto/Base64.h"
#include "service/crypto/MemberCipher.h"
#include "service/text/JsonText.h"

namespace qsn::service {
namespace {

std::string Seal(const MemberReply& reply) {
    Bytes sealed = EncryptMemberText(std::span(*reply.key).first<kMemberKeySize>(), reply.secret);
    if (reply.spoilTag) sealed.back() ^= 1;
    return ToBase64(sealed);
}

}  // namespace

std::string MemberReply::Write() const {
    Json::Value root;
    root["status"] = status;
    if (result) root["result"] = *result;
    if (!additionalMessage.empty()) root["additionalMessage"] = additionalMessage;
    if (status != kMemberSuccess) return WriteJson(root);
    if (key) {
        root["info"] = Seal(*this);
    } else if (!info.isNull()) {
        root["info"] = info;
    }
    return WriteJson(root);
}

}  // namespace qsn::service

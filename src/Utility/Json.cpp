#include "Utility/Json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cstring>
#include <exception>

// jsoncpp prefers its builder classes, which read and write a slightly different JSON; the service's partners were
// fixed with these.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace qsn {
namespace {

const Json::Value* Find(const Json::Value& object, const char* member) {
    return object.isObject() ? object.find(member, member + std::strlen(member)) : nullptr;
}

}  // namespace

bool ParseJson(std::string_view text, Json::Value* root) {
    try {
        Json::Reader reader;
        return reader.parse(text.data(), text.data() + text.size(), *root, false);
    } catch (const std::exception&) {
        return false;
    }
}

bool WriteJson(const Json::Value& root, std::string* text) {
    try {
        Json::FastWriter writer;
        *text = writer.write(root);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

std::string JsonText(const Json::Value& object, const char* member) {
    try {
        const Json::Value* const value = Find(object, member);
        return value ? value->asString() : std::string();
    } catch (const std::exception&) {
        return {};
    }
}

int JsonInt(const Json::Value& object, const char* member) {
    try {
        const Json::Value* const value = Find(object, member);
        return value ? value->asInt() : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

const Json::Value& JsonMember(const Json::Value& object, const char* member) {
    const Json::Value* const value = Find(object, member);
    return value ? *value : Json::Value::nullSingleton();
}

}  // namespace qsn

#pragma GCC diagnostic pop

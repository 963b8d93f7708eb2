#include "Utility/Json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cstring>
#include <exception>
#include <new>

// jsoncpp prefers its builder classes, but those read and write a slightly different JSON. The service's partners rely
// on that of these.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace qsn {
namespace {

const Json::Value* Find(const Json::Value& object, const char* member) {
    return object.isObject() ? object.find(member, member + std::strlen(member)) : nullptr;
}

}  // namespace

std::optional<Json::Value> ParseJson(std::string_view text) {
    try {
        Json::Value root;
        Json::Reader reader;
        if (!reader.parse(text.data(), text.data() + text.size(), root, false)) return std::nullopt;
        return root;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        // If its own calls of malloc fail, it reports that like a fault of the text.
        if (std::strstr(failure.what(), "Failed to allocate")) throw std::bad_alloc();
        return std::nullopt;
    }
}

Outcome<std::string> WriteJson(const Json::Value& root) {
    try {
        Json::FastWriter writer;
        return {S_OK, writer.write(root)};
    } catch (const std::exception&) {
        return {E_OUTOFMEMORY};
    }
}

std::string JsonText(const Json::Value& object, const char* member) {
    const Json::Value* const value = Find(object, member);
    std::string converted;
    return std::string(value ? JsonTextOf(*value, &converted) : std::string_view());
}

int JsonInt(const Json::Value& object, const char* member) {
    const Json::Value* const value = Find(object, member);
    return value ? JsonIntOf(*value) : 0;
}

const Json::Value& JsonMember(const Json::Value& object, const char* member) {
    const Json::Value* const value = Find(object, member);
    return value ? *value : Json::Value::nullSingleton();
}

// Both ask before they convert. Otherwise a reply with a hundred thousand wrong members would throw as many exceptions.
std::string_view JsonTextOf(const Json::Value& value, std::string* converted) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (value.isString() && value.getString(&begin, &end)) return {begin, end};
    *converted = value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
    return *converted;
}

int JsonIntOf(const Json::Value& value) { return value.isConvertibleTo(Json::intValue) ? value.asInt() : 0; }

Json::Value TakeJsonMember(Json::Value& object, const char* member) {
    Json::Value taken;
    if (object.isObject()) object.removeMember(member, &taken);
    return taken;
}

}  // namespace qsn

#pragma GCC diagnostic pop

#include "service/text/JsonText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

namespace qsn::service {

Json::Value ParseObject(const std::string& text) {
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) return {};
    } catch (const Json::Exception&) {
        return {};
    }
    return root.isObject() ? root : Json::Value{};
}

std::string WriteJson(const Json::Value& value, const char* indentation) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = indentation;
    writer["emitUTF8"] = true;
    return Json::writeString(writer, value);
}

std::string TextOf(const Json::Value& object, const char* member) {
    const Json::Value value = object.isObject() ? object.get(member, Json::nullValue) : Json::nullValue;
    return value.isString() ? value.asString() : std::string{};
}

}  // namespace qsn::service

#include "vxt-service/CJson.h"

#include <memory>

namespace vxt_service {

bool CJson::parse(const std::string& text, Json::Value& out) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder.settings_["rejectDupKeys"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    // strictMode only admits arrays and objects at the top; a bare null is JSON too.
    if (text.find_first_not_of(" \t\r\n") != std::string::npos) {
        std::size_t b = text.find_first_not_of(" \t\r\n");
        std::size_t e = text.find_last_not_of(" \t\r\n");
        if (text.compare(b, e - b + 1, "null") == 0) {
            out = Json::Value();
            return true;
        }
    }
    return reader->parse(text.data(), text.data() + text.size(), &out, &errors);
}

bool CJson::parseObject(const std::string& text, Json::Value& out, std::string& error) {
    if (!parse(text, out)) {
        error = "the body is not valid JSON";
        return false;
    }
    if (!out.isObject()) {
        error = "the body is not a JSON object";
        return false;
    }
    return true;
}

std::string CJson::write(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

bool CJson::getString(const Json::Value& object, const char* key, std::string& out,
                      std::string& error) {
    const Json::Value* v = object.find(key, key + std::char_traits<char>::length(key));
    if (v == nullptr) {
        error = std::string("missing key '") + key + "'";
        return false;
    }
    if (!v->isString()) {
        error = std::string("key '") + key + "' is not a string";
        return false;
    }
    out = v->asString();
    return true;
}

bool CJson::getUInt64(const Json::Value& object, const char* key, std::uint64_t& out,
                      std::string& error) {
    const Json::Value* v = object.find(key, key + std::char_traits<char>::length(key));
    if (v == nullptr) {
        error = std::string("missing key '") + key + "'";
        return false;
    }
    if (!v->isIntegral() || (v->isInt64() && v->asInt64() < 0) || !v->isUInt64()) {
        error = std::string("key '") + key + "' is not an unsigned integer";
        return false;
    }
    out = v->asUInt64();
    return true;
}

bool CJson::getNullableString(const Json::Value& object, const char* key, std::string& out,
                              std::string& error) {
    const Json::Value* v = object.find(key, key + std::char_traits<char>::length(key));
    if (v == nullptr) {
        error = std::string("missing key '") + key + "'";
        return false;
    }
    if (v->isNull()) {
        out.clear();
        return true;
    }
    if (!v->isString()) {
        error = std::string("key '") + key + "' is neither a string nor null";
        return false;
    }
    out = v->asString();
    return true;
}

HttpResponse CJson::error(int status, const std::string& message) {
    Json::Value body;
    body["status"] = status;
    body["error"] = reasonPhrase(status);
    body["message"] = message;
    HttpResponse response;
    response.status = status;
    response.body = write(body);
    return response;
}

HttpResponse CJson::ok(const Json::Value& body, int status) {
    HttpResponse response;
    response.status = status;
    response.body = write(body);
    return response;
}

}  // namespace vxt_service

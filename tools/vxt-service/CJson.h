// JSON helpers for the routes: strict parsing of request bodies, compact writing, typed reads
// that tell a missing key from a mistyped one, and the shape of every error answer.
#ifndef VXT_SERVICE_CJSON_H
#define VXT_SERVICE_CJSON_H

#include <json/json.h>

#include <cstdint>
#include <string>

#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CJson {
public:
    // Parses `text` as one JSON object (nothing but whitespace around it).
    static bool parseObject(const std::string& text, Json::Value& out, std::string& error);
    // Parses any JSON value; false when `text` is not JSON.
    static bool parse(const std::string& text, Json::Value& out);
    static std::string write(const Json::Value& value);

    // Typed member reads: false with `error` set when the key is missing or has another type.
    static bool getString(const Json::Value& object, const char* key, std::string& out,
                          std::string& error);
    static bool getUInt64(const Json::Value& object, const char* key, std::uint64_t& out,
                          std::string& error);
    // A string or null (null gives ""); a missing key is an error.
    static bool getNullableString(const Json::Value& object, const char* key, std::string& out,
                                  std::string& error);

    // {"status": <status>, "error": <reason phrase>, "message": <message>}
    static HttpResponse error(int status, const std::string& message);
    static HttpResponse ok(const Json::Value& body, int status = 200);
};

}  // namespace vxt_service

#endif

#include "platform/porting/string_convert.h"

#include <cstddef>
#include <cstdint>

namespace vx_transfers {
namespace string_convert {

static_assert(sizeof(wchar_t) == 4, "wide strings are expected to hold UTF-32");

namespace {

const std::uint32_t kEscapeBase = 0xDC00;  // lone surrogates U+DC80..U+DCFF carry raw bytes
const std::uint32_t kReplacement = 0xFFFD;

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Decodes one well-formed UTF-8 sequence at `pos`; returns its length, or 0 when the bytes
// there are not one (overlong forms, surrogates and values above U+10FFFF included).
std::size_t decodeOne(const std::string& in, std::size_t pos, std::uint32_t& codePoint) {
    const unsigned char lead = static_cast<unsigned char>(in[pos]);
    std::size_t length = 0;
    std::uint32_t minimum = 0;
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2;
        minimum = 0x80;
        codePoint = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
        minimum = 0x800;
        codePoint = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
        minimum = 0x10000;
        codePoint = lead & 0x07;
    } else {
        return 0;
    }
    if (pos + length > in.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char next = static_cast<unsigned char>(in[pos + i]);
        if (!isContinuation(next)) {
            return 0;
        }
        codePoint = (codePoint << 6) | (next & 0x3F);
    }
    if (codePoint < minimum || codePoint > 0x10FFFF ||
        (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
        return 0;
    }
    return length;
}

void appendUtf8(std::uint32_t codePoint, std::string& out) {
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (codePoint >> 18));
        out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

}  // namespace

void StringToWstring(const std::string& in, std::wstring& out) {
    std::wstring result;
    result.reserve(in.size());
    std::size_t pos = 0;
    while (pos < in.size()) {
        std::uint32_t codePoint = 0;
        const std::size_t length = decodeOne(in, pos, codePoint);
        if (length == 0) {
            codePoint = kEscapeBase + static_cast<unsigned char>(in[pos]);
            pos += 1;
        } else {
            pos += length;
        }
        result += static_cast<wchar_t>(codePoint);
    }
    out.swap(result);
}

void WStringToString(const std::wstring& in, std::string& out) {
    std::string result;
    result.reserve(in.size());
    for (const wchar_t wide : in) {
        const std::uint32_t codePoint = static_cast<std::uint32_t>(wide);
        if (codePoint >= kEscapeBase + 0x80 && codePoint <= kEscapeBase + 0xFF) {
            result += static_cast<char>(codePoint - kEscapeBase);
        } else if (codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
            appendUtf8(kReplacement, result);
        } else {
            appendUtf8(codePoint, result);
        }
    }
    out.swap(result);
}

std::string toNarrow(const std::wstring& in) {
    std::string out;
    WStringToString(in, out);
    return out;
}

}  // namespace string_convert
}  // namespace vx_transfers

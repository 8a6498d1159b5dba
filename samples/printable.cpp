#include "printable.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <system_error>

namespace samples {
namespace {

void appendHex(std::string& text, unsigned char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    text += "\\x";
    text += digits[byte >> 4];
    text += digits[byte & 15];
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/* Bytes of a UTF-8 character by its first one; 0 when no character begins so. */
size_t lengthByFirst(unsigned first) {
    constexpr struct {
        unsigned below;
        size_t length;
    } ranges[] = {{0x80, 1}, {0xC2, 0}, {0xE0, 2}, {0xF0, 3}, {0xF5, 4}, {0x100, 0}};
    for (const auto& range : ranges) {
        if (first < range.below) {
            return range.length;
        }
    }
    return 0;
}

/* Neither longer than needed, nor a surrogate, nor beyond the last character. */
bool canFollow(unsigned first, unsigned second) {
    switch (first) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second < 0xA0;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second < 0x90;
    default:
        return true;
    }
}

/* Bytes of the UTF-8 character that the bytes begin with; 0 when they begin with none. */
size_t characterLength(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    const size_t length = lengthByFirst(first);
    if (length > bytes.size() ||
        !std::ranges::all_of(bytes.substr(0, length).substr(length > 0 ? 1 : 0), isContinuation)) {
        return 0;
    }
    const bool isWhole = length < 2 || canFollow(first, static_cast<unsigned char>(bytes[1]));
    return isWhole ? length : 0;
}

/* The byte that \xNN stands for; nothing when the text begins with no such thing. */
std::optional<unsigned char> byteOfHex(std::string_view text) {
    if (text.size() < 4 || text.substr(0, 2) != "\\x") {
        return std::nullopt;
    }
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(text.data() + 2, text.data() + 4, byte, 16);
    return error == std::errc() && end == text.data() + 4 ? std::optional(byte) : std::nullopt;
}

} // namespace

void appendPrintable(std::string& text, std::string_view bytes) {
    for (const char c : bytes) {
        if (c == '\\') {
            text += "\\\\";
        } else if (c >= ' ' && c <= '~') {
            text += c;
        } else {
            appendHex(text, static_cast<unsigned char>(c));
        }
    }
}

std::string printable(std::string_view bytes) {
    std::string text;
    appendPrintable(text, bytes);
    return text;
}

void appendUtf8(std::string& text, std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t length = characterLength(bytes);
        if (length == 0) {
            appendHex(text, static_cast<unsigned char>(bytes[0]));
        } else {
            text += bytes.substr(0, length);
            text += bytes[0] == '\\' ? "\\" : "";
        }
        bytes.remove_prefix(std::max<size_t>(length, 1));
    }
}

std::string bytesOfUtf8(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        const auto byte = byteOfHex(text);
        bytes += byte ? static_cast<char>(*byte) : text[0];
        const bool isDoubled = !byte && text.starts_with("\\\\");
        text.remove_prefix(byte ? 4 : isDoubled ? 2 : 1);
    }
    return bytes;
}

void appendJsonString(std::string& text, std::string_view bytes) {
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
    text += '"';
    if (std::ranges::all_of(bytes, isPlain)) {
        text += bytes;
    } else {
        std::string utf8;
        appendUtf8(utf8, bytes);
        for (const char c : utf8) {
            if (c == '"' || c == '\\') {
                text += '\\';
                text += c;
            } else if (static_cast<unsigned char>(c) < ' ') {
                constexpr std::string_view digits = "0123456789abcdef";
                text += "\\u00";
                text += digits[static_cast<size_t>(c) >> 4];
                text += digits[static_cast<size_t>(c) & 15];
            } else {
                text += c;
            }
        }
    }
    text += '"';
}

void appendCsvField(std::string& text, std::string_view bytes) {
    const auto isControl = [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\r' && c != '\n') || c == '\x7f';
    };
    const size_t begin = text.size();
    appendUtf8(text, bytes);
    const std::string_view written = std::string_view(text).substr(begin);
    const bool isQuoted = written.find_first_of(",\"\r\n") != std::string_view::npos;
    if (!isQuoted && std::ranges::none_of(written, isControl)) {
        return;
    }
    const std::string field(written);
    text.resize(begin);
    text += isQuoted ? "\"" : "";
    for (const char c : field) {
        if (isControl(c)) {
            appendHex(text, static_cast<unsigned char>(c));
        } else {
            text.append(c == '"' ? 2 : 1, c);
        }
    }
    text += isQuoted ? "\"" : "";
}

void appendLabelValue(std::string& text, std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t length = characterLength(bytes);
        if (length == 0) {
            text += '\\';
            appendHex(text, static_cast<unsigned char>(bytes[0]));
        } else if (bytes[0] == '\n') {
            text += "\\n";
        } else {
            text += bytes[0] == '\\' || bytes[0] == '"' ? "\\" : "";
            text += bytes.substr(0, length);
        }
        bytes.remove_prefix(std::max<size_t>(length, 1));
    }
}

} // namespace samples

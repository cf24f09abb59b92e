#ifndef TUZUTIL_TESTS_SUPPORT_DOTBYTE_MODEL_H
#define TUZUTIL_TESTS_SUPPORT_DOTBYTE_MODEL_H

// What dot-byte streams do, said about whole texts: no buffers, no pieces, no states.

#include <cstddef>
#include <string>
#include <string_view>

namespace support {

struct TUnstuffed {
    std::string data;
    std::size_t taken; // bytes of the wire up to and with the end line
    bool terminated;
};

// Reading ends a line at CR LF only. For lines below 1,023 bytes.
inline TUnstuffed Unstuff(std::string_view wire) {
    std::string data;
    bool lineStart = true;
    for (std::size_t i = 0; i < wire.size(); ++i) {
        if (lineStart && wire.substr(i, 3) == ".\r\n")
            return {data, i + 3, true};
        bool const stuffed = lineStart && wire[i] == '.' && i + 1 < wire.size() && wire[i + 1] != '\n';
        if (!stuffed)
            data += wire[i];
        lineStart = wire[i] == '\n' && i > 0 && wire[i - 1] == '\r';
    }
    return {data, wire.size(), false};
}

// Whether the bytes hold an LF without a CR before it.
inline bool HasBareLineFeed(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\n' && (i == 0 || bytes[i - 1] != '\r'))
            return true;
    }
    return false;
}

// Whether the bytes hold a CR that another byte than LF follows.
inline bool HasBareReturn(std::string_view bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == '\r' && bytes[i + 1] != '\n')
            return true;
    }
    return false;
}

// LF, CR, and CR LF each end a line; all of them become CR LF.
inline std::string WithCrLf(std::string_view body) {
    std::string lines;
    for (std::size_t i = 0; i < body.size(); ++i) {
        bool const endsLine = body[i] == '\r' || body[i] == '\n';
        if (endsLine && !(body[i] == '\n' && i > 0 && body[i - 1] == '\r'))
            lines += "\r\n";
        else if (!endsLine)
            lines += body[i];
    }
    return lines;
}

// What EndBody() adds before the end line.
inline char const *Completion(std::string_view body) {
    if (body.empty() || body.back() == '\n')
        return "";
    return body.back() == '\r' ? "\n" : "\r\n";
}

// Writing ends a line at any LF.
inline std::string Stuff(std::string_view body) {
    std::string wire;
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (body[i] == '.' && (i == 0 || body[i - 1] == '\n'))
            wire += '.';
        wire += body[i];
    }
    return wire;
}

// The bytes of a message that a limit of `lines` body lines lets through, or npos where it ends before.
inline std::size_t CutAt(std::string_view body, std::size_t lines) {
    bool inBody = false;
    std::size_t begin = 0;
    for (std::size_t end; (end = body.find('\n', begin)) != std::string_view::npos; begin = end + 1) {
        if (inBody)
            --lines;
        else
            inBody = end + 1 - begin < 3;
        if (inBody && lines == 0)
            return end + 1;
    }
    return std::string_view::npos;
}

} // namespace support

#endif

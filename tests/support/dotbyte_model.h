#ifndef TUZUTIL_TESTS_SUPPORT_DOTBYTE_MODEL_H
#define TUZUTIL_TESTS_SUPPORT_DOTBYTE_MODEL_H

// A model of the dot-byte streams. It works on whole texts, so it needs no buffers, no pieces and no states.

#include <cstddef>
#include <string>
#include <string_view>

namespace support {

struct TUnstuffed {
    std::string data;
    std::size_t taken; // the number of bytes up to the end of the last line of the body
    bool terminated;
};

// Returns what a reader gets from `wire`. Only CR LF ends a line.
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

// Returns whether the bytes contain an LF without a CR in front of it.
inline bool HasBareLineFeed(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\n' && (i == 0 || bytes[i - 1] != '\r'))
            return true;
    }
    return false;
}

// Returns whether the bytes contain a CR that another byte than LF follows.
inline bool HasBareReturn(std::string_view bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == '\r' && bytes[i + 1] != '\n')
            return true;
    }
    return false;
}

// Replaces each line end by CR LF. A line end is LF, CR, or CR LF.
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

// Returns the bytes that EndBody() writes before the line with a single dot, to end an unfinished last line.
inline char const *Completion(std::string_view body) {
    if (body.empty() || body.back() == '\n')
        return "";
    return body.back() == '\r' ? "\n" : "\r\n";
}

// Returns what a writer makes of `body`. Each LF ends a line.
inline std::string Stuff(std::string_view body) {
    std::string wire;
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (body[i] == '.' && (i == 0 || body[i - 1] == '\n'))
            wire += '.';
        wire += body[i];
    }
    return wire;
}

// Returns how many bytes a message has up to the end of line `lines` of its body. If the body has fewer lines, returns
// npos.
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

// tracejson: trace records as JSON, one object a line, for programs that collect logs.
//
//     NUV_TRACE="json[tracejson](mail.json),al"
//
// The argument is the file's name; lines are added to it. Without one they go to standard error. All that is not UTF-8
// becomes U+FFFD, so that every line is valid.

#include "tuzutil/FILENAME.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TXTMSG.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

namespace {

// How many bytes the UTF-8 character at the beginning of a text has; 0 if there is none.
std::size_t CharacterLength(std::string_view text) {
    auto const byte = [text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    auto const follows = [&byte](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
    if (byte(0) < 0x80)
        return 1;
    if (byte(0) >= 0xC2 && byte(0) <= 0xDF)
        return follows(1) ? 2 : 0;
    if ((byte(0) & 0xF0) == 0xE0) {
        bool const isShortest = byte(0) != 0xE0 || byte(1) >= 0xA0;
        bool const isSurrogate = byte(0) == 0xED && byte(1) >= 0xA0;
        return isShortest && !isSurrogate && follows(1) && follows(2) ? 3 : 0;
    }
    bool const isInRange = (byte(0) == 0xF0 && byte(1) >= 0x90) || (byte(0) > 0xF0 && byte(0) < 0xF4) ||
                           (byte(0) == 0xF4 && byte(1) < 0x90);
    return isInRange && follows(1) && follows(2) && follows(3) ? 4 : 0;
}

std::string Quoted(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        std::size_t const length = CharacterLength(text);
        char const first = text.front();
        if (length == 0) {
            result += "\xEF\xBF\xBD";
        } else if (static_cast<unsigned char>(first) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(first));
            result += escape;
        } else {
            if (first == '"' || first == '\\')
                result += '\\';
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

std::string Quoted(char const *text) {
    return text ? Quoted(std::string_view(text)) : "null";
}

// "2026-07-14T09:05:03.270Z"
std::string Now() {
    auto const now = std::chrono::system_clock::now();
    std::time_t const seconds = std::chrono::system_clock::to_time_t(now);
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm const record = *std::gmtime(&seconds); // records come one at a time
    char text[64];
    std::size_t const length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &record);
    std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(milliseconds));
    return text;
}

class JsonTrace final : public TTrace::Base {
public:
    explicit JsonTrace(char const *name) : Base(joinsLater) {
        if (*name)
            fFile.open(static_cast<char const *>(TFileName(name).FixDelim().QueryNative()),
                       std::ios_base::app | std::ios_base::binary);
        fOut = *name ? &fFile : &std::cerr;
        Join(); // all of it stands
    }
    // Before the members go: from then on no entry arrives.
    ~JsonTrace() override { Unlink(); }

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override {
        std::string const line =
            "{\"time\":\"" + Now() + "\",\"level\":" + Quoted(std::string_view(std::string(1, LevelChar(level)))) +
            ",\"component\":" + Quoted(TTrace::QueryComponentName(category.QueryComponent())) +
            ",\"category\":" + Quoted(category.QueryString()) + ",\"file\":" + Quoted(message.QueryFile()) +
            ",\"line\":" + std::to_string(message.QueryLine()) + ",\"text\":" + Quoted(message.QueryMessage()) + "}\n";
        fOut->clear(); // what was wrong with an earlier record may be over
        *fOut << line << std::flush;
    }

private:
    std::ofstream fFile;
    std::ostream *fOut = nullptr;
};

class JsonTraceFactory : public TTraceFactory {
public:
    JsonTraceFactory() : TTraceFactory("json") {}

    TTrace CreateTrace(char const *argument) override {
        TTrace trace;
        trace.QueryPointer() = TTrace::Pointer(new JsonTrace(argument));
        return trace;
    }
};

JsonTraceFactory fsFactory;

} // namespace

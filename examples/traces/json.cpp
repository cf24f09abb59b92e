// tracejson: writes trace records as JSON, one object on each line, for programs that collect logs.
//
//     NUV_TRACE="json[tracejson](mail.json),al"
//
// The argument is the name of a file, to which the lines are appended. If the last line of the file has no end, because
// the process was killed or the power failed, the first object begins a line of its own. If no name is given, the lines
// are written to standard error. Bytes that are not valid UTF-8 become U+FFFD, because every line must be valid JSON.
//
// A record that cannot be written, for example because the disk is full, is lost. If the file has got the beginning of
// such a record, the next one that can be written begins a line of its own.

#include "tuzutil/FILENAME.h"
#include "tuzutil/TDATETIM.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TXTMSG.h"
#include "tuzutil/UNICODE.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

namespace {

// Returns the text up to its first zero byte as a JSON string. For a null string, returns the JSON value null.
std::string Quoted(TString const &text) {
    if (text.IsNull())
        return "null";
    TString const valid = TUnicode::ToUtf8(text, TUnicode::replace);
    std::string result = "\"";
    for (char const c : std::string_view(valid.c_str())) {
        if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            result += escape;
            continue;
        }
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

// Returns the present time in the form "2026-07-14T09:05:03.270Z".
std::string Now() {
    auto const now = std::chrono::system_clock::now();
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03dZ", static_cast<int>(milliseconds));
    return std::string(TDateTime64(now).QueryString("%Y-%m-%dT%H:%M:%S")) + fraction;
}

// Returns whether a file ends within a line.
bool EndsWithinLine(std::filesystem::path const &name) {
    std::ifstream file(name, std::ios_base::binary);
    return file.seekg(-1, std::ios_base::end) && file.get() != '\n';
}

class JsonTrace : public TTrace::Base {
public:
    explicit JsonTrace(char const *name) : Base(joinsLater) {
        if (!*name)
            return;
        fPath = TFileName(name).FixDelim().NativePath();
        fFile.rdbuf()->pubsetbuf(nullptr, 0); // a buffer would keep a record that failed, and write it again
        Open();
        fOut = &fFile;
    }

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override {
        std::string const line =
            "{\"time\":\"" + Now() + "\",\"level\":" + Quoted(std::string(1, LevelChar(level))) +
            ",\"component\":" + Quoted(TTrace::QueryComponentName(category.QueryComponent())) +
            ",\"category\":" + Quoted(category.QueryString()) + ",\"file\":" + Quoted(message.QueryFile()) +
            ",\"line\":" + std::to_string(message.QueryLine()) + ",\"text\":" + Quoted(message.QueryMessage()) + "}\n";
        // If an earlier record failed, this one may succeed.
        if (fOut != &fFile) {
            fOut->clear();
        } else if (!fFile) {
            fFile.close();
            Open();
        }
        *fOut << line << std::flush;
    }

private:
    void Open() {
        bool const isLineOpen = EndsWithinLine(fPath);
        fFile.clear();
        fFile.open(fPath, std::ios_base::app | std::ios_base::binary);
        if (isLineOpen)
            fFile << '\n' << std::flush;
    }

    std::filesystem::path fPath;
    std::ofstream fFile;
    std::ostream *fOut = &std::cerr;
};

class JsonTraceFactory : public TTraceFactory {
public:
    JsonTraceFactory() : TTraceFactory("json") {}

    TTrace CreateTrace(char const *argument) override { return TTrace::Make<JsonTrace>(argument); }
};

JsonTraceFactory fsFactory;

} // namespace

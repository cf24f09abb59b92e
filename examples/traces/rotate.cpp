// tracerotate: a trace file that is put aside when it has reached a size.
//
//     NUV_TRACE="rotate[tracerotate](mail.log;1048576;5),erwa"
//
// The argument is the file's name, the size in bytes (one mebibyte if it is left out), and how many older files are
// kept (3): mail.log.1 is the newest of them. Records look as in other trace files, with LF behind each line on every
// system, and none is divided between two.

#include "tuzutil/FILENAME.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TXTMSG.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

class RotatingTrace : public TTrace::Base {
public:
    RotatingTrace(std::string const &name, std::uint64_t limit, unsigned kept)
        : Base(joinsLater), fName(name), fLimit(limit), fKept(kept) {
        Open(std::ios_base::app); // what a former run has written counts
    }

    void Write(unsigned long level, TTrace::Category const &, TTextMessage const &message) override {
        std::string const record = Compose(level, message);
        if (fSize != 0 && fSize + record.size() > fLimit)
            Rotate();
        fFile.clear(); // what was wrong with an earlier record may be over
        fFile << record << std::flush;
        fSize += record.size();
    }

private:
    std::string Compose(unsigned long level, TTextMessage const &message) const {
        TString prefix;
        FormatPrefix(prefix, level);
        char const *const source = message.QueryFile();
        std::string const file = source ? source : "????.???";
        char const *const text = message;
        return std::string(prefix) + " [" + file.substr(file.find_last_of("\\/") + 1) + ':' +
               std::to_string(message.QueryLine()) + "] " + (text ? text : "") + '\n';
    }

    void Rotate() {
        fFile.close();
        for (unsigned number = fKept; number > 0; --number) {
            std::remove(Numbered(number).c_str()); // some systems do not rename onto a file
            std::rename(Numbered(number - 1).c_str(), Numbered(number).c_str());
        }
        Open(std::ios_base::app); // empty, unless somebody else keeps the file in its place
    }

    std::string Numbered(unsigned number) const { return number == 0 ? fName : fName + '.' + std::to_string(number); }

    void Open(std::ios_base::openmode mode) {
        fFile.open(fName, mode | std::ios_base::out | std::ios_base::binary);
        fFile.seekp(0, std::ios_base::end);
        auto const size = static_cast<std::streamoff>(fFile.tellp());
        fSize = size > 0 ? static_cast<std::uint64_t>(size) : 0;
    }

    std::string fName;
    std::uint64_t fLimit;
    unsigned fKept;
    std::ofstream fFile;
    std::uint64_t fSize = 0;
};

// The part of a list before its first ";", which the list loses.
std::string TakePart(std::string &list) {
    std::size_t const end = std::min(list.find(';'), list.size());
    std::string part = list.substr(0, end);
    list.erase(0, std::min(end + 1, list.size()));
    return part;
}

std::uint64_t NumberOr(std::string const &digits, std::uint64_t standard) {
    char *end = nullptr;
    std::uint64_t const number = std::strtoull(digits.c_str(), &end, 10);
    return digits.empty() || *end ? standard : number;
}

class RotatingTraceFactory : public TTraceFactory {
public:
    RotatingTraceFactory() : TTraceFactory("rotate") {}

    TTrace CreateTrace(char const *argument) override {
        std::string rest(argument);
        std::string const name = TakePart(rest);
        if (name.empty())
            return TTrace(); // nowhere to trace to
        std::uint64_t const limit = NumberOr(TakePart(rest), 1 << 20);
        auto const kept = static_cast<unsigned>(std::min<std::uint64_t>(NumberOr(TakePart(rest), 3), 999));
        return TTrace::Make<RotatingTrace>(std::string(TFileName(name.c_str()).FixDelim().QueryNative()), limit, kept);
    }
};

RotatingTraceFactory fsFactory;

} // namespace

// tracerotate: writes records to a file. Before the file would exceed a given size, it is renamed, and a new file is
// begun.
//
//     NUV_TRACE="rotate[tracerotate](mail.log;1048576;5),erwa"
//
// The argument is the name of the file, the size in bytes, and the number of older files that are kept. If the size is
// left out, it is one mebibyte. If the number is left out, it is 3. The newest of the older files is mail.log.1. A
// record has the form that it has in other trace files, but its line ends with LF on every system. A record is never
// divided between two files. If the last line of a file has no end, because the process was killed or the power failed,
// the next record begins a line of its own. A record that cannot be written, for example because the disk is full, is
// lost. If the file has got the beginning of such a record, the next one that can be written begins a line of its own.

#include "tuzutil/FILENAME.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TXTMSG.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

// Returns whether a file ends within a line.
bool EndsWithinLine(std::string const &name) {
    std::ifstream file(name, std::ios_base::binary);
    return file.seekg(-1, std::ios_base::end) && file.get() != '\n';
}

class RotatingTrace : public TTrace::Base {
public:
    RotatingTrace(std::string const &name, std::uint64_t limit, unsigned kept)
        : Base(joinsLater), fName(name), fLimit(limit), fKept(kept) {
        fFile.rdbuf()->pubsetbuf(nullptr, 0); // a buffer would keep a record that failed, and write it again
        Open(std::ios_base::app);             // what an earlier run has written counts for the size
    }

    void Write(unsigned long level, TTrace::Category const &, TTextMessage const &message) override {
        std::string const record = Compose(level, message);
        if (!fFile) { // an earlier record failed, but this one may succeed
            fFile.close();
            Open(std::ios_base::app);
        }
        if (fSize != 0 && fSize + record.size() > fLimit)
            Rotate();
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
            std::remove(Numbered(number).c_str()); // on some systems, std::rename() fails if the new name exists
            std::rename(Numbered(number - 1).c_str(), Numbered(number).c_str());
        }
        // If no older file is kept, the file is emptied. Otherwise the file is new now. If renaming has failed, the
        // records are appended to the former file.
        Open(fKept == 0 ? std::ios_base::trunc : std::ios_base::app);
    }

    std::string Numbered(unsigned number) const { return number == 0 ? fName : fName + '.' + std::to_string(number); }

    void Open(std::ios_base::openmode mode) {
        bool const isLineOpen = EndsWithinLine(fName);
        fFile.clear();
        fFile.open(fName, mode | std::ios_base::out | std::ios_base::binary);
        if (isLineOpen && mode == std::ios_base::app)
            fFile << '\n' << std::flush;
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

// Returns the part of the list before its first ";". Removes this part and the ";" from the list.
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
            return TTrace(); // without a name, there is no destination
        std::uint64_t const limit = NumberOr(TakePart(rest), 1 << 20);
        auto const kept = static_cast<unsigned>(std::min<std::uint64_t>(NumberOr(TakePart(rest), 3), 999));
        return TTrace::Make<RotatingTrace>(std::string(TFileName(name.c_str()).FixDelim().QueryNative()), limit, kept);
    }
};

RotatingTraceFactory fsFactory;

} // namespace

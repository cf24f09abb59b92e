#include "Mailbox.h"

#include "MessageSource.h"
#include "Tracing.h"

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/MD5.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <ostream>
#include <streambuf>
#include <utility>

namespace pop3d {

namespace {

namespace fs = std::filesystem;

// Returns the part of a Maildir file name that stays the same when the flags of the message change.
std::string StableName(std::string const &name) {
    auto const info = name.find_last_of(":!;");
    return info != std::string::npos && name.compare(info + 1, 2, "2,") == 0 ? name.substr(0, info) : name;
}

TString HexDigest(std::string const &text) {
    static char const digits[] = "0123456789abcdef";
    CalculateMD5 md5;
    char digest[16];
    md5.Write(text.data(), text.size());
    md5.Done(digest);
    std::string hex;
    for (char const c : digest) {
        hex += digits[static_cast<unsigned char>(c) >> 4];
        hex += digits[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

class CountingBuf : public std::streambuf {
public:
    std::uint64_t QueryCount() const { return fCount; }

protected:
    int_type overflow(int_type c) override {
        ++fCount;
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(char const *, std::streamsize count) override {
        fCount += static_cast<std::uint64_t>(count);
        return count;
    }

private:
    std::uint64_t fCount = 0;
};

} // namespace

bool Mailbox::Exists(std::string const &folder) {
    std::error_code ignored;
    return fs::is_directory(folder, ignored);
}

Mailbox::Mailbox(std::string const &folder, std::uint64_t maximum, std::function<bool()> isWanted)
    : fPath(folder), fMaximum(maximum), fIsWanted(std::move(isWanted)) {
    fs::path const root(folder);
    if (Exists((root / "new").string()) || Exists((root / "cur").string())) {
        AddFolder("new");
        AddFolder("cur");
    } else {
        AddFolder("");
    }
    std::stable_sort(fMessages.begin(), fMessages.end(),
                     [](Message const &a, Message const &b) { return a.name < b.name; });
    AddUids();
}

void Mailbox::AddFolder(std::string const &folder) {
    file::Folder const files(fPath, folder);
    if (!files.IsOpen()) {
        fIsComplete = fIsComplete && !files.HasFailed();
        return;
    }
    std::error_code problem;
    for (fs::directory_iterator entry(fs::path(fPath) / folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        Message message;
        message.folder = folder;
        message.name = entry->path().filename().string();
        if (message.name[0] != '.' && files.Identify(message.name, message.identity))
            fMessages.push_back(message);
    }
    fIsComplete = fIsComplete && !problem;
}

// The UID of a message is the digest of its file name without the flags. If several messages have the same name without
// the flags, only the first has this UID. The UIDs of the others are the digests of their folders and full names.
void Mailbox::AddUids() {
    std::map<std::string, int> seen;
    for (Message &message : fMessages) {
        std::string const name = StableName(message.name);
        bool const isFirst = ++seen[name] == 1;
        message.uid = HexDigest(isFirst ? name : message.folder + "/" + message.name);
    }
}

Mailbox::Message *Mailbox::Find(std::size_t number) {
    if (number == 0 || number > fMessages.size() || fMessages[number - 1].isDeleted)
        return nullptr;
    return &fMessages[number - 1];
}

bool Mailbox::FindSize(Message &message) {
    if (!message.hasSize) {
        CountingBuf counter;
        std::ostream out(&counter);
        if (!Copy(message, out))
            return false;
        message.size = counter.QueryCount();
        message.hasSize = true;
    }
    return true;
}

bool Mailbox::Copy(Message const &message, std::ostream &out) const {
    if (message.identity.size > fMaximum)
        return false;
    MessageSource source(file::Folder(fPath, message.folder), message.name, message.identity);
    if (!source)
        return false;
    TiConcatStream lines(1, 16384, source);
    lines.SetWholeLines(1); // each line is delivered whole, and with CR LF
    std::array<char, 16384> block;
    while (lines.read(block.data(), static_cast<std::streamsize>(block.size())), lines.gcount() > 0) {
        if (!fIsWanted())
            return false;
        out.write(block.data(), lines.gcount());
        if (!out)
            return false;
    }
    out.flush();
    return out.good() && !source.HasFailed();
}

void Mailbox::Reset() {
    for (Message &message : fMessages)
        message.isDeleted = false;
}

bool Mailbox::Commit(unsigned int &removed) {
    bool done = true;
    for (Message const &message : fMessages) {
        if (!message.isDeleted)
            continue;
        if (file::Folder const files(fPath, message.folder);
            files.IsOpen() && files.Remove(message.name, message.identity)) {
            ++removed;
            continue;
        }
        TTracePoint::Write(TTrace::error, TraceCategory::mailbox, "cannot remove %s", message.name);
        done = false;
    }
    return done;
}

} // namespace pop3d

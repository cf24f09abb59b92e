#include "Mailbox.h"

#include "MessageSource.h"
#include "Tracing.h"

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/MD5.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <ostream>
#include <streambuf>

namespace pop3d {

namespace {

namespace fs = std::filesystem;

// The part of a Maildir name that stays when flags change.
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
    return TString(hex.c_str());
}

void AddFolder(std::vector<Mailbox::Message> &messages, fs::path const &folder) {
    std::error_code problem;
    for (fs::directory_iterator entry(folder, problem), end; !problem && entry != end; entry.increment(problem)) {
        std::string const name = entry->path().filename().string();
        std::error_code ignored;
        if (name[0] == '.' || !entry->is_regular_file(ignored))
            continue;
        Mailbox::Message message;
        message.path = entry->path().string();
        message.uid = HexDigest(StableName(name));
        messages.push_back(message);
    }
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

Mailbox::Mailbox(std::string const &folder) {
    fs::path const root(folder);
    if (Exists((root / "new").string()) || Exists((root / "cur").string())) {
        AddFolder(fMessages, root / "new");
        AddFolder(fMessages, root / "cur");
    } else {
        AddFolder(fMessages, root);
    }
    std::sort(fMessages.begin(), fMessages.end(), [](Message const &a, Message const &b) {
        return fs::path(a.path).filename() < fs::path(b.path).filename();
    });
}

Mailbox::Message *Mailbox::Find(std::size_t number) {
    if (number == 0 || number > fMessages.size() || fMessages[number - 1].isDeleted)
        return nullptr;
    return &fMessages[number - 1];
}

std::uint64_t Mailbox::QuerySize(Message &message) {
    if (!message.hasSize) {
        CountingBuf counter;
        std::ostream out(&counter);
        Copy(message, out);
        message.size = counter.QueryCount();
        message.hasSize = true;
    }
    return message.size;
}

bool Mailbox::Copy(Message const &message, std::ostream &out) {
    MessageSource source(message.path);
    if (!source)
        return false;
    TiConcatStream lines(1, 16384, source);
    std::array<char, 16384> block;
    while (lines.read(block.data(), static_cast<std::streamsize>(block.size())), lines.gcount() > 0)
        out.write(block.data(), lines.gcount());
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
        std::error_code problem;
        if (!message.isDeleted)
            continue;
        if (fs::remove(message.path, problem)) {
            ++removed;
            continue;
        }
        TTracePoint::Write(TTrace::error, TraceCategory::mailbox, "Mailbox.cpp", "cannot remove %s: %s",
                           message.path.c_str(), problem.message().c_str());
        done = false;
    }
    return done;
}

} // namespace pop3d

#include "Mailbox.h"

#include "MessageSource.h"
#include "Tracing.h"

#include "tuzutil/MD5.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <streambuf>
#include <system_error>
#include <unordered_set>
#include <utility>

namespace pop3d {

namespace {

namespace fs = std::filesystem;

// Returns the part of a Maildir file name that stays the same when the flags of the message change.
std::string StableName(std::string const &name) {
    auto const info = name.find_last_of(":!;");
    return info != std::string::npos && name.compare(info + 1, 2, "2,") == 0 ? name.substr(0, info) : name;
}

std::string HexDigest(std::string const &text) {
    static char const digits[] = "0123456789abcdef";
    CalculateMD5 md5;
    char digest[16];
    md5.Write(text.data(), static_cast<unsigned long>(text.size()));
    md5.Done(digest);
    std::string hex;
    for (char const c : digest) {
        hex += digits[static_cast<unsigned char>(c) >> 4];
        hex += digits[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

// Maildir names may tell the size of the message with CR LF line ends, as ",W=" before the flags. Returns that size if
// a file of `stored` bytes can have it: each LF may gain a CR, and the last line may gain a line end. Otherwise,
// returns 0.
std::uint64_t SizeInName(std::string const &name, std::uint64_t stored) {
    std::size_t const at = name.find(",W=");
    if (at == std::string::npos)
        return 0;
    char const *const digits = name.data() + at + 3;
    char const *const end = name.data() + name.size();
    std::uint64_t size = 0;
    auto const parsed = std::from_chars(digits, end, size);
    bool const isWhole = parsed.ec == std::errc() && (parsed.ptr == end || std::strchr(",:!;", *parsed.ptr));
    return isWhole && size >= stored && size - stored <= stored + 2 ? size : 0;
}

// Returns whether the folder exists, or may exist because the system cannot say.
bool MayExist(fs::path const &folder) {
    std::error_code problem;
    fs::file_status const status = fs::status(folder, problem);
    bool const isLoop = problem == std::errc::too_many_symbolic_link_levels; // of links, so there is no folder
    return fs::is_directory(status) || (status.type() == fs::file_type::none && !isLoop);
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
    std::vector<Entry> entries;
    if (MayExist(root / "new") || MayExist(root / "cur")) {
        AddFolder("new", entries);
        AddFolder("cur", entries);
    } else {
        AddFolder("", entries);
    }
    std::stable_sort(entries.begin(), entries.end(), [](Entry const &a, Entry const &b) { return a.name < b.name; });
    fMessages.reserve(entries.size());
    for (Entry &entry : entries)
        AddMessage(entry);
}

void Mailbox::AddFolder(std::string const &name, std::vector<Entry> &entries) {
    Folder const &folder = fFolders.emplace_back(fPath, name);
    if (!folder.files.IsOpen()) {
        fIsComplete = fIsComplete && !folder.files.HasFailed();
        return;
    }
    std::vector<std::string> names;
    fIsComplete = folder.files.List(names) && fIsComplete;
    for (std::string &found : names)
        entries.push_back({&folder, std::move(found)});
}

void Mailbox::AddMessage(Entry &entry) {
    if (entry.name[0] == '.')
        return;
    file::Identity identity;
    file::Kind const kind = entry.folder->files.Identify(entry.name, identity);
    fIsComplete = fIsComplete && kind != file::Kind::unknown;
    if (kind != file::Kind::file)
        return;
    Message &message = fMessages.emplace_back();
    message.folder = entry.folder;
    message.name = std::move(entry.name);
    message.identity = identity;
    message.size = SizeInName(message.name, identity.size);
    message.hasSize = message.size != 0 && identity.size <= fMaximum;
}

// The UID of a message is the digest of its file name without the flags. If several messages have the same name without
// the flags, only the first has this UID. The UIDs of the others are the digests of their folders and full names.
void Mailbox::FindUids() {
    if (std::exchange(fHasUids, true))
        return;
    std::unordered_set<std::string> seen;
    for (Message &message : fMessages) {
        std::string const name = StableName(message.name);
        bool const isFirst = seen.insert(name).second;
        message.uid = HexDigest(isFirst ? name : message.folder->name + "/" + message.name);
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
        std::unique_ptr<MessageSource> const source = Open(message, 16384);
        if (!source || !source->CopyTo(out, fIsWanted))
            return false;
        message.size = counter.QueryCount();
        message.hasSize = true;
    }
    return true;
}

std::unique_ptr<MessageSource> Mailbox::Open(Message const &message, std::size_t block) const {
    if (message.identity.size > fMaximum)
        return nullptr;
    auto source = std::make_unique<MessageSource>(message.folder->files, message.name, message.identity, block);
    return source->ReadAhead() ? std::move(source) : nullptr;
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
        if (message.folder->files.Remove(message.name, message.identity)) {
            ++removed;
            continue;
        }
        TTracePoint::Write(TTrace::error, TraceCategory::mailbox, "cannot remove %s", message.name);
        done = false;
    }
    return done;
}

} // namespace pop3d

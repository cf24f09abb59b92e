// Loads libraries, and reads the texts that they hold in a TTextTable. Some of the functions take the system's loader
// lock. The initialisers of a library run under that lock, so the caller of OpenLibrary() must hold no lock for which
// these initialisers may wait.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/native_name.h"
#include "platform/posix/text_table.h"

#include <algorithm>
#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

char const fsProgram[] = "/proc/self/exe";

bool IsProgram(char const *name) noexcept {
    struct stat file, program;
    // No test gets here: the file of the running program can be examined, and no other file system has a file of this
    // number.
    return ::stat(name, &file) == 0 && ::stat(fsProgram, &program) == 0 && file.st_dev == program.st_dev &&
           file.st_ino == program.st_ino;
}

// A pointer to a Library is the loader's handle.
void *HandleOf(platform::Library *library) noexcept {
    return library;
}

// Returns whether the library `name`, which the loader could not load, exists. `text` is what the loader says about the
// failure. If `name` has a directory, the function asks the file system. Otherwise the library does not exist if `text`
// begins with `name`.
bool IsAboutTheLibrary(char const *name, char const *text) noexcept {
    return ::strchr(name, '/') ? ::access(name, F_OK) == 0 : ::strncmp(text, name, ::strlen(name)) != 0;
}

// Tries to open a library, first under one name and then under others. If all attempts fail, the TLoader keeps what the
// system's loader says about the first library that exists. If no library exists, the TLoader keeps what the system's
// loader says about the first name.
class TLoader {
public:
    void Try(char const *name) noexcept {
        if (fLibrary)
            return;
        fLibrary = ::dlopen(IsProgram(name) ? nullptr : name, RTLD_NOW | RTLD_LOCAL);
        char const *const text = fLibrary ? nullptr : ::dlerror();
        if (!text || fWords.isAboutLibrary)
            return;
        fWords.isAboutLibrary = IsAboutTheLibrary(name, text);
        if (fWords.isAboutLibrary || !*fWords.text)
            ::snprintf(fWords.text, sizeof fWords.text, "%s", text);
    }
    void *Result() const noexcept { return fLibrary; }
    platform::TLoaderWords const &Words() const noexcept { return fWords; }

private:
    void *fLibrary = nullptr;
    platform::TLoaderWords fWords;
};

// Returns the error number that best describes why a library could not be loaded. The loader gives the reason only as a
// text.
int ReasonFor(char const *name) noexcept {
    return ::access(name, R_OK) == 0 ? ENOEXEC : errno;
}

// The path of a file in the program's own directory. If this path is unknown or would be too long, `path` is empty.
struct TBesideProgram {
    explicit TBesideProgram(char const *name) noexcept {
        ssize_t const length = ::readlink(fsProgram, path, sizeof path);
        char *const end = path + std::max<ssize_t>(length, 0);
        char *const slash = static_cast<char *>(::memrchr(path, '/', static_cast<std::size_t>(end - path)));
        std::size_t const size = ::strlen(name) + 1;
        if (slash && size < static_cast<std::size_t>(path + sizeof path - slash))
            ::memcpy(slash + 1, name, size);
        else
            path[0] = '\0';
    }

    char path[PATH_MAX];
};

// Writes UTF-8 into a buffer with a terminating zero. A text that does not fit is cut between characters.
class TUtf8Writer {
public:
    TUtf8Writer(char *text, std::uint32_t size) noexcept : fBegin(text), fAt(text), fEnd(text + size - 1) {}

    bool Put(std::uint32_t code) noexcept {
        if (code < 0x80)
            return PutBytes(code, 0, 0);
        if (code < 0x800)
            return PutBytes(0xC0 | code >> 6, code, 1);
        if (code < 0x10000)
            return PutBytes(0xE0 | code >> 12, code, 2);
        return PutBytes(0xF0 | code >> 18, code, 3);
    }
    std::uint32_t Finish() noexcept {
        *fAt = '\0';
        return static_cast<std::uint32_t>(fAt - fBegin);
    }

private:
    bool PutBytes(std::uint32_t lead, std::uint32_t code, int following) noexcept {
        if (fEnd - fAt <= following)
            return false;
        *fAt++ = static_cast<char>(lead);
        while (following-- > 0)
            *fAt++ = static_cast<char>(0x80 | (code >> 6 * following & 0x3F));
        return true;
    }

    char *fBegin;
    char *fAt;
    char *fEnd;
};

using platform::TTextTable;

struct TText {
    std::uint16_t const *begin = nullptr;
    std::uint16_t const *end = nullptr;
};

TText FindText(platform::Library *library, std::uint64_t number) noexcept {
    errno = ENOEXEC;
    auto const *const table =
        library ? static_cast<TTextTable const *>(::dlsym(HandleOf(library), TTextTable::fsSymbol)) : nullptr;
    // No test gets here: there is only one version of libraries of texts so far.
    if (!table || table->version != TTextTable::fsVersion)
        return {};
    errno = ENOENT;
    auto const *const end = table->entries + table->count;
    auto const *const entry =
        std::lower_bound(table->entries, end, number,
                         [](TTextTable::TEntry const &each, std::uint64_t wanted) { return each.number < wanted; });
    if (entry == end || entry->number != number)
        return {};
    std::uint16_t const *const begin = table->characters + entry->first;
    return {begin, begin + entry->length};
}

} // namespace

char const *const platform::nativeLibraryEnding = ".so";

platform::Library *platform::OpenLibrary(char const *name, TLoaderWords *words) noexcept {
    TNoCancel const noCancel; // the thread must not be cancelled within the loader
    TNativeName const given(name ? name : "");
    char const *const slash = ::strrchr(given, '/');
    char const *const last = slash ? slash + 1 : given;
    char withEnding[PATH_MAX + 1];
    if (!*last || ::strlen(given) + sizeof ".dll" > sizeof withEnding) {
        errno = *last ? ENAMETOOLONG : EINVAL;
        return nullptr;
    }
    bool const hasEnding = ::strchr(last, '.') != nullptr;
    ::snprintf(withEnding, sizeof withEnding, "%s.dll", static_cast<char const *>(given));
    char const *const names[] = {hasEnding ? static_cast<char const *>(given) : withEnding,
                                 given}; // the name as given, because the program may have a name without an ending

    TLoader loader;
    for (char const *const each : names) {
        if (!slash) {
            TBesideProgram const beside(each);
            if (*beside.path)
                loader.Try(beside.path);
        }
        loader.Try(each);
    }
    if (!loader.Result()) {
        if (words)
            *words = loader.Words();
        errno = ReasonFor(names[0]);
    }
    return static_cast<Library *>(loader.Result());
}

std::size_t platform::LibraryName(Library *library, char *name, std::size_t size) noexcept {
    char path[PATH_MAX] = "";
    link_map const *map = nullptr;
    // No test gets here: the system knows each library that it has opened.
    bool const isKnown = library && ::dlinfo(HandleOf(library), RTLD_DI_LINKMAP, &map) == 0;
    // No test gets here: the system knows each library that it has opened.
    if (library && !isKnown)
        return 0;
    // The link map of the program has no name.
    // No test gets here: each library that is open has a path.
    if (!::realpath(map && *map->l_name ? map->l_name : fsProgram, path))
        return 0;
    std::size_t const length = std::min(::strlen(path), size - 1);
    ::memcpy(name, path, length);
    name[length] = '\0';
    FromNativeName(name, length);
    return length;
}

std::uint32_t platform::LoadText(Library *library, std::uint64_t number, unsigned short *text,
                                 std::uint32_t size) noexcept {
    TText const found = FindText(library, number);
    auto const length = std::min(static_cast<std::uint32_t>(found.end - found.begin), size - 1);
    std::copy_n(found.begin, length, text);
    text[length] = 0;
    return length;
}

std::uint32_t platform::LoadText(Library *library, std::uint64_t number, char *text, std::uint32_t size) noexcept {
    TText const found = FindText(library, number);
    TUtf8Writer out(text, size);
    for (std::uint16_t const *at = found.begin; at != found.end;) {
        std::uint32_t code = *at++;
        bool const isPair = code >> 10 == 0xD800 >> 10 && at != found.end && *at >> 10 == 0xDC00 >> 10;
        if (isPair)
            code = 0x10000 + ((code & 0x3FF) << 10) + (*at++ & 0x3FFu);
        else if (code >> 11 == 0xD800 >> 11)
            code = '?'; // an unpaired surrogate
        if (!out.Put(code))
            break;
    }
    return out.Finish();
}

bool platform::IsInImage(void const *address) noexcept {
    Dl_info found;
    return ::dladdr(address, &found) != 0;
}

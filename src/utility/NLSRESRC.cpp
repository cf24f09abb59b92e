// TSearchNLSPath and TNLSResourceDll: the search for a language library by a template of paths, and the library itself.
// The settings (the language and the template) belong to the whole process and have no lock. REQUIRES: the program
// changes the settings only while it has one thread.

#include "tuzutil/NLSRESRC.h"

#include "platform/platform.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/loading.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"
#include "utility/languages/program_directory.h"
#include "utility/languages/require_open.h"

#include <array>
#include <cstring>
#include <string_view>

namespace {

TReporter const fsReports(TUtilityTraceCategory::NLSResource, "src/utility/NLSRESRC");

char const *Chars(TString const &text) noexcept {
    return text;
}

// Returns the full name of a library, or of the program if `library` is null. Returns a null string if the system does
// not know the name.
TString LibraryName(platform::Library *library) {
    char name[260 + 1];
    return platform::LibraryName(library, name, sizeof name) ? TString(name) : TString();
}

// Removes the first entry from `entries`, and returns it.
TString TakeEntry(std::string_view &entries) {
    std::size_t const end = std::min(entries.find(';'), entries.size());
    TString entry = TStringAccess::From(entries.substr(0, end));
    entries.remove_prefix(std::min(end + 1, entries.size()));
    return entry;
}

// In bytes. No system opens a file by a longer name.
constexpr std::size_t fsLongestPath = 4096;

// Replaces all occurrences of `mark` in the path by `text`. If the path became too long for any file, returns false.
// The texts may multiply: a template of 1,000 bytes can name a file 500 times.
bool Substitute(TString &path, std::string_view mark, TString const &text) {
    std::string_view const before(Chars(path), path.length());
    std::size_t count = 0;
    for (std::size_t at = before.find(mark); at != before.npos; at = before.find(mark, at + mark.size()))
        ++count;
    if (text.length() && count > fsLongestPath / text.length())
        return false;
    path.change(mark.data(), text);
    return path.length() <= fsLongestPath;
}

// The file names and the languages that one search tries.
class TCandidates {
public:
    TCandidates(TString const &name, TString const &lang) : fProgram(ProgramDirectory(LibraryName(nullptr))) {
        fFiles[0] = TString("") + name;
        if (name.indexOf('.') == 0) {
            if (platform::nativeLibraryEnding)
                fFiles[1] = fFiles[0] + platform::nativeLibraryEnding;
            fFiles[0] += ".dll";
        }
        fLanguages[1] = TString("") + lang;
        if (unsigned int const dot = lang.indexOf('.')) {
            fLanguages[0] = lang;
            fLanguages[0].MakeUnique();
            fLanguages[0][dot] = '\\';
        }
    }

    TString const &File() const noexcept { return fFiles[0]; }

    // Returns the path of the first existing file that the entry denotes, or null if there is no such file.
    TString Find(TString const &entry) const {
        for (TString const &language : fLanguages) {
            for (TString const &file : fFiles) {
                if (!language || !file)
                    continue;
                TString path = Expand(entry, language, file);
                if (path && std::strlen(path) == path.length() && platform::IsFile(path))
                    return path;
            }
        }
        return TString();
    }

private:
    // Returns null if no file can have this path.
    TString Expand(TString const &entry, TString const &language, TString const &file) const {
        TString path(entry);
        if (!Substitute(path, "%E", fProgram) || !Substitute(path, "%L", language) || !Substitute(path, "%N", file))
            return TString();
        path.MakeUnique();
        platform::FromNativeName(path, path.length());
        return path;
    }

    TString fProgram;
    // The second name is null, or has the ending of the system's own libraries.
    std::array<TString, 2> fFiles;
    // The first name is null, or is the language with a backslash in place of its first ".".
    std::array<TString, 2> fLanguages;
};

} // namespace

// Settings

void TSearchNLSPath::SetLang(char const *lang) {
    fsLang = lang ? TString(lang) : fsLang_C;
}

// Returns a string with a buffer of its own, because a caller that writes into the result must not change fsLang.
TString TSearchNLSPath::QueryLang() {
    return fsLang.Copy();
}

void TSearchNLSPath::AddNLSpath(char const *entries) {
    if (entries)
        fsNLSpath = TString(entries) + ";" + fsNLSpath;
}

// Searches

TSearchNLSPath::TSearchNLSPath(TSearchNLSPath const &other)
    : fName(other.fName), fFound(other.fFound ? new TString(*other.fFound) : nullptr) {}

TSearchNLSPath &TSearchNLSPath::operator=(TSearchNLSPath const &other) {
    fName = other.fName;
    if (this != &other)
        fFound.reset(other.fFound ? new TString(*other.fFound) : nullptr);
    return *this;
}

char *TSearchNLSPath::Keep(TString const &path) {
    if (path)
        fFound = std::make_unique<TString>(path);
    return Found();
}

char *TSearchNLSPath::FindFile() {
    if (fFound || FindFile(fsLang))
        return Found();
    if (fsLang == fsLang_C) {
        fsReports.Note("Locale is C, trying locale %s to find file %s", Chars(fsDefaultLocale), fName);
        if (FindFile(fsDefaultLocale))
            return Found();
    }
    if (!FindInPath())
        fsReports.Raise<TAccessError>(TTextMessage("Unable to find file %s", fName));
    return Found();
}

char *TSearchNLSPath::FindFile(TString const &lang) {
    if (fFound)
        return Found();
    TCandidates const candidates(fName, lang);
    std::string_view entries(Chars(fsNLSpath), fsNLSpath.length());
    TString path;
    while (!path && !entries.empty())
        path = candidates.Find(TakeEntry(entries));
    if (path)
        fsReports.Note("Found file %s", path);
    else
        fsReports.Note("Unable to find file %s with LANG %s in path %s", candidates.File(), Chars(lang),
                       Chars(fsNLSpath));
    return Keep(path);
}

// Lets the system's loader look for the library, and keeps the full name of the loaded library. If the library cannot
// be loaded, keeps the full name of the program instead, as NLSRESRC.h says.
char *TSearchNLSPath::FindInPath() {
    if (fFound)
        return Found();
    unsigned int const dot = fName.length() ? fName.lastIndexOf('.') : 0;
    bool const isComplete = dot && ascii_names::IsEqual(fName.subString(dot), TString(".dll"));
    TString const file = isComplete ? fName : TString("") + fName + ".dll";
    TLoading loading;
    platform::Library *const library = platform::OpenLibrary(file);
    loading.Rethrow();
    return Keep(LibraryName(library));
}

TNLSResourceDll::TNLSResourceDll(char const *name) : TDll(TSearchNLSPath(name).FindFile()) {
    RequireOpen(*this, name);
}

#ifndef TUZUTIL_FILENAME_H
#define TUZUTIL_FILENAME_H

// TFileName: the name of a file or directory, as narrow or 16-bit text. Backslashes separate its parts on every system.
//
// Example:
//     TFileName const name("C:\\mail\\inbox.mbx");
//     TFileName const folder = name.QueryPath();          // C:\mail
//     TFileName const other(folder, TFileName("drafts")); // C:\mail\drafts
//     if (name == TFileName(u"c:\\MAIL\\Inbox.mbx"))      // true: letter case and encoding do not count
//         std::ifstream file(name.NativePath());          // what the system calls it
//
// Ownership:  As with TString, copies share one buffer.
// Threads:    The rules of TString (TSTRING.h) apply.
// Failures:   TOutOfMemory if there is no memory. On Linux, FromNative() and the constructor from a path throw
//             TInvalidParameter "Backslash in a native name" if the name contains a backslash. A conversion puts "?" in
//             the place of a character that the other encoding does not have.
// Surprises:
// - An empty folder does not mean the current folder: an empty folder and "inbox" join to "\inbox", which is in the
//   root. QueryPath() returns an empty folder for a name without a delimiter.
// - Only the backslash is a delimiter, and a byte 0x5C counts as a backslash even inside a double-byte character.
//   FixDelim() turns slashes into backslashes.
// - If a name contains a colon at any place, the part before the first colon counts as a drive.
// - Converting an empty name gives one zero character. Converting a null name to 16-bit text gives "(", the first
//   character of "(null)".
// - To make a TagVar or an argument of a message, pass QueryNameLocal(). If a TFileName is passed, two conversions fit,
//   and strict compilers warn.
class TFileName;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TSTRING.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <type_traits>

class TUZUTIL_API TFileName : public TString {
public:
    // The form of a name: `unicode` is 16-bit text, and `local` is narrow text.
    enum Type { unicode = 0, local = 1 };

    static TString const fsDelimLocal;   // one backslash, as narrow text
    static TString const fsDelimUnicode; // one backslash, as 16-bit text

    TFileName() noexcept = default; // null
    // These constructors take a name as it is. A null pointer gives a null name.
    TFileName(TString const &name) noexcept : TString(name) {}
    TFileName(char const *name) : TString(name) {}
    TFileName(unsigned short const *name) : TString(name) {}
    TFileName(char16_t const *name) : TString(name) {}
    // Joins both names with exactly one delimiter between them. The result is 16-bit text if one or both of the names
    // are.
    TFileName(TFileName const &first, TFileName const &second);
    TFileName(TFileName const &other) noexcept = default;
    TFileName &operator=(TFileName const &other) noexcept = default;
    ~TFileName() = default;

    // Converts a path of the standard library. The result is 16-bit text if the system's names are of 16-bit
    // characters. Otherwise the path is converted by the rules of FromNative(), which refuses a backslash.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TFileName(Path const &path);

    // Returns the path that names the same file. The path is empty for a null name and for an empty one.
    template <class Path = std::filesystem::path>
    Path NativePath() const;

    // These functions convert a name from and to the system's form, which is narrow text with slashes on Linux. On
    // Linux, FromNative() throws if the name contains a backslash, because the result would name another file. Use
    // std::filesystem::path for such a name.
    static TFileName FromNative(char const *name);
    TString QueryNative() const;

    Type QueryType() const noexcept { return IsUnicode() ? unicode : local; } // the form of this name
    // These functions return one backslash, as narrow or as 16-bit text.
    static TString const &QueryDelimLocal() noexcept { return fsDelimLocal; }
    static TString const &QueryDelimUnicode() noexcept { return fsDelimUnicode; }
    // Returns 1: a name can begin with a drive on every system.
    static int SupportsDrive() noexcept { return 1; }

    // These functions return the name as narrow or as 16-bit text. A conversion takes the narrow text to be in the
    // encoding of the current locale, or in UTF-8 if the UTF-8 mode is on (UNICODE.h).
    TString QueryNameLocal() const;
    TString QueryNameUnicode() const;
    // Makes a value of the name as narrow text.
    operator TagVar() const { return TagVar(QueryNameLocal()); }

    // These operators compare the names up to their first zero, by the rules of the current locale, and ignore letter
    // case. A narrow and a 16-bit name are compared as 16-bit text. If the narrow name cannot be converted, they are
    // not equal. Two null names are equal.
    bool operator==(TFileName const &other) const noexcept;
    bool operator!=(TFileName const &other) const noexcept { return !(*this == other); }

    int IsDrive() const noexcept;        // whether the name contains a colon
    TFileName QueryDrive() const;        // the part before the first colon; empty if there is none
    int IsDelimAtBegin() const noexcept; // 0 if a drive precedes the delimiter
    int IsDelimAtEnd() const noexcept;   // 1 or 0
    int IsFullPath() const noexcept;     // whether it begins with a delimiter, after the drive if there is one

    TFileName QueryPath() const;      // the part before the last delimiter; empty if there is none
    TFileName QueryName() const;      // the part after the last delimiter; the whole name if there is none
    TFileName QueryFirstName() const; // the part before the first delimiter; the whole name if there is none
    TFileName QueryFirstRest() const; // the part after the first delimiter; null if there is none

    TFileName &FixDelim(); // turns slashes into delimiters

private:
    TString Convert(TString const &format) const;
};

template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int>>
TFileName::TFileName(Path const &path) {
    if constexpr (std::is_same_v<typename Path::value_type, char>)
        *this = FromNative(path.c_str());
    else
        *this = TFileName(path.u16string().c_str());
}

template <class Path>
Path TFileName::NativePath() const {
    if (IsNull() || length() == 0)
        return Path();
    if constexpr (std::is_same_v<typename Path::value_type, char>) {
        TString const name = QueryNative();
        return Path(std::string(static_cast<char const *>(name), name.length()));
    } else {
        TString const name = QueryNameUnicode();
        std::u16string text(name.length() / 2, u'\0');
        std::memcpy(text.data(), static_cast<char const *>(name), text.size() * 2);
        return Path(text);
    }
}

// These operators convert the text to a TFileName, and compare the names as TFileName does.
inline bool operator==(TFileName const &a, TString const &b) noexcept {
    return a == TFileName(b);
}
inline bool operator==(TString const &a, TFileName const &b) noexcept {
    return TFileName(a) == b;
}
inline bool operator==(TFileName const &a, char const *b) {
    return a == TFileName(b);
}
inline bool operator==(char const *a, TFileName const &b) {
    return TFileName(a) == b;
}
inline bool operator!=(TFileName const &a, TString const &b) noexcept {
    return !(a == b);
}
inline bool operator!=(TString const &a, TFileName const &b) noexcept {
    return !(a == b);
}
inline bool operator!=(TFileName const &a, char const *b) {
    return !(a == b);
}
inline bool operator!=(char const *a, TFileName const &b) {
    return !(a == b);
}

#endif

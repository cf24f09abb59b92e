#ifndef TUZUTIL_FILENAME_H
#define TUZUTIL_FILENAME_H

// TFileName: the name of a file or a directory, its parts separated by backslashes on every system; narrow or 16-bit.
//
// Example:
//     TFileName const name("C:\\mail\\inbox.mbx");
//     TFileName const folder = name.QueryPath();          // C:\mail
//     TFileName const other(folder, TFileName("drafts")); // C:\mail\drafts
//     if (name == TFileName(u"c:\\MAIL\\Inbox.mbx"))      // true: letter case and encoding do not count
//         std::ifstream file(name.QueryNative());         // what the system calls it
//
// Ownership:  as TString: copies share one buffer.
// Threads:    as TString: one thread at a time.
// Failures:   TOutOfMemory; TInvalidParameter "Backslash in a native name" from FromNative(), on Linux, where such a
//             name would become that of another file. What has no counterpart in the other encoding becomes "?".
// Surprises:  an empty folder is none: joined with "inbox" it gives "\inbox", in the root, and not "inbox"; so does a
//             QueryPath() of a name without a delimiter. Parts are split at backslashes only; FixDelim() turns slashes
//             into them. A byte 0x5C counts as a delimiter also inside a double-byte character. A colon makes a drive
//             wherever it stands. Converting a nil name gives one zero character, a null name asked for as 16-bit text
//             "(", the first character of "(null)". As a value or an argument of a message, pass QueryNameLocal():
//             both its class and its base offer a conversion, and strict compilers warn.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TFileName : public TString {
public:
    enum Type { unicode = 0, local = 1 };

    static TString const fsDelimLocal; // one backslash, narrow and as 16-bit text
    static TString const fsDelimUnicode;

    TFileName() noexcept = default; // null
    TFileName(TString const &name) noexcept : TString(name) {}
    TFileName(char const *name) : TString(name) {}
    TFileName(unsigned short const *name) : TString(name) {}
    TFileName(char16_t const *name) : TString(name) {}
    // Both names with exactly one delimiter at the seam; 16-bit where one of them is.
    TFileName(TFileName const &first, TFileName const &second);
    TFileName(TFileName const &other) noexcept = default;
    TFileName &operator=(TFileName const &other) noexcept = default;
    ~TFileName() = default;

    // From a name of the system's own, and back; the narrow name where the system has no other. A name of Linux that
    // holds a backslash is refused: it is used as it is, in the system's own functions.
    static TFileName FromNative(char const *name);
    TString QueryNative() const;

    Type QueryType() const noexcept { return IsUnicode() ? unicode : local; }
    static TString const &QueryDelimLocal() noexcept { return fsDelimLocal; }
    static TString const &QueryDelimUnicode() noexcept { return fsDelimUnicode; }
    static int SupportsDrive() noexcept { return 1; }

    // In the encoding asked for, converted by the current locale.
    TString QueryNameLocal() const;
    TString QueryNameUnicode() const;
    operator TagVar() const { return TagVar(QueryNameLocal()); }

    // Ignores letter case, by the current locale; narrow and 16-bit names are compared as 16-bit ones. Null equals
    // null.
    bool operator==(TFileName const &other) const noexcept;
    bool operator!=(TFileName const &other) const noexcept { return !(*this == other); }

    int IsDrive() const noexcept; // contains a colon
    TFileName QueryDrive() const; // before the first colon; empty where there is none
    int IsDelimAtBegin() const noexcept;
    int IsDelimAtEnd() const noexcept;
    int IsFullPath() const noexcept; // begins with a delimiter, behind the drive where there is one

    TFileName QueryPath() const;      // before the last delimiter; empty where there is none
    TFileName QueryName() const;      // behind the last delimiter; all where there is none
    TFileName QueryFirstName() const; // before the first delimiter; all where there is none
    TFileName QueryFirstRest() const; // behind the first delimiter; null where there is none

    TFileName &FixDelim(); // turns slashes into delimiters

private:
    TString Convert(TString const &format) const;
};

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

#ifndef TUZUTIL_NLSRESRC_H
#define TUZUTIL_NLSRESRC_H

// TSearchNLSPath: finds the library that holds a program's texts in the current language; TNLSResourceDll: opens it.
//
// Example:
//     TSearchNLSPath::AddNLSpath("C:\\mail\\texts\\%L\\%N"); // before the program's own directory
//     TSearchNLSPath::SetLang("German");
//     TSearchNLSPath search("msgs");
//     std::cout << search.FindFile() << '\n'; // C:\mail\texts\German\msgs.dll, where there is one
//     TNLSResourceDll texts("msgs");
//     TString const text = texts.loadMessage(17, 0);
//
// Ownership:  a path that was found belongs to the search object: the pointer ends with it.
// Threads:    the settings are for start-up: set them while there is one thread. Searches may then run in any thread,
//             each object in one at a time.
// Failures:   TAccessError, recoverable, ID 1: "Unable to find file NAME" from FindFile(), "Unable to find or open
//             NAME", and what TDll says, from TNLSResourceDll. The other searches answer null, but a static object that
//             could not register itself in a library that FindInPath() loads makes it throw. What was found or not is
//             traced in the category NLSResource, level 16.
// Surprises:  an object that has found a path keeps it, whatever is asked afterwards. Where nothing is found,
//             FindInPath() and so FindFile() answer with the program itself, which opens as a library: give the texts
//             of a program and of its libraries numbers that differ. Directory names with %L or %N in them are expanded
//             again. Never take a language from a stranger unchecked: it becomes part of a path. The library sets the
//             process's locale from the environment when it is loaded, so that decimal points, letter case and the
//             system's texts follow it; the language of messages does not.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TDLL.h"
#include "tuzutil/TSTRING.h"

#include <memory>

class TUZUTIL_API TSearchNLSPath {
public:
    explicit TSearchNLSPath(char const *name) : fName(name) {}
    explicit TSearchNLSPath(TString const &name) : fName(name) {}
    TSearchNLSPath(TSearchNLSPath const &other);
    TSearchNLSPath &operator=(TSearchNLSPath const &other);
    ~TSearchNLSPath() = default;

    static void SetLang(char const *lang); // "C", the built-in texts, for null
    static TString QueryLang();
    // Puts entries, with ";" between them, before those of the template. Nothing for null.
    static void AddNLSpath(char const *entries);

    // In the current language; then in English where that is "C"; then as FindInPath(). Throws where nothing is found.
    char *FindFile();
    // The first entry of the template that names a file: %E is the program's directory, %L the language, %N the name,
    // with ".dll" behind it where it has no ".". A language with a "." is first tried with a backslash for the first
    // one. Null where there is none.
    char *FindFile(TString const &lang);
    // Loads the library of that name, with ".dll" behind it where it does not end so, and answers its full name.
    char *FindInPath();
    operator char *() { return FindFile(); }

    static TString const fsLang_C;
    static TString const fsDefaultLocale; // the language that stands in for "C"
    static TString fsLang;
    static TString fsNLSpath; // the template

private:
    char *Found() const noexcept { return fFound ? static_cast<char *>(*fFound) : nullptr; }
    char *Keep(TString const &path);

    TString fName;
    std::unique_ptr<TString> fFound;
};

class TUZUTIL_API TNLSResourceDll : public TDll {
public:
    explicit TNLSResourceDll(char const *name);
};

#endif

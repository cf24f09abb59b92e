#ifndef TUZUTIL_NLSRESRC_H
#define TUZUTIL_NLSRESRC_H

// TSearchNLSPath: finds the library that holds a program's texts in the current language; TNLSResourceDll: opens it.
//
// Example:
//     TSearchNLSPath::AddNLSpath("C:\\mail\\texts\\%L\\%N"); // before the program's own directory
//     TSearchNLSPath::SetLang("German");
//     TSearchNLSPath search("msgs");
//     std::cout << search.FindFile() << '\n'; // C:\mail\texts\German\msgs.dll, if it exists
//     TNLSResourceDll texts("msgs");
//     TString const text = texts.loadMessage(17, 0);
//
// Ownership:  The search object owns the path that it found: the pointer is valid until the object is destroyed.
// Threads:    Change the settings while there is one thread. Then any thread may search, one at a time for each object.
// Failures:   TAccessError, recoverable, ID 1, see the functions. The results of searches are traced in the category
//             NLSResource at level 16.
// Surprises:
// - Once an object has found a path, every later search returns that path.
// - If nothing is found, FindInPath() and FindFile() return the program itself, which opens as a library. So give the
//   texts of a program other numbers than those of its libraries.
// - Check a language that comes from a stranger before you set it: it becomes part of a path.
// - When it is loaded, the library sets the locale of the process from the environment, which affects decimal points,
//   letter case and the system's texts. The language of messages is independent of it.

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

    static void SetLang(char const *lang); // null means "C", the built-in texts
    static TString QueryLang();
    // Puts entries, separated by ";", before the present entries of the template. Does nothing for null.
    static void AddNLSpath(char const *entries);

    // Searches in the current language (in English if that is "C"), and then as FindInPath() does. Throws "Unable to
    // find file NAME" if nothing is found.
    char *FindFile();
    // Returns the first entry of the template that names a file, or null. In an entry, %E is the program's directory,
    // %L the language, and %N the name, with ".dll" added if it has no ".". A language with a "." is first tried with a
    // backslash in place of the first ".". %L and %N in the names of directories are expanded again.
    char *FindFile(TString const &lang);
    // Loads the library of that name, with ".dll" added unless the name ends in it, and returns its full name, or null.
    // Throws if a static object of that library could not register itself.
    char *FindInPath();
    operator char *() { return FindFile(); }

    static TString const fsLang_C;
    static TString const fsDefaultLocale; // the language to search in if the current one is "C"
    static TString fsLang;
    static TString fsNLSpath; // the template

private:
    char *Found() const noexcept { return fFound ? static_cast<char *>(*fFound) : nullptr; }
    char *Keep(TString const &path);

    TString fName;
    std::unique_ptr<TString> fFound;
};

// Finds and opens a library of texts. The constructor throws "Unable to find or open NAME", and what TDll throws.
class TUZUTIL_API TNLSResourceDll : public TDll {
public:
    explicit TNLSResourceDll(char const *name);
};

#endif

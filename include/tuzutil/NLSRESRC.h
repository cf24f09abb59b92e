#ifndef TUZUTIL_NLSRESRC_H
#define TUZUTIL_NLSRESRC_H

// TSearchNLSPath: finds the library that holds a program's texts in the current language. TNLSResourceDll: finds and
// opens that library.
//
// Example:
//     TSearchNLSPath::AddNLSpath("C:\\mail\\texts\\%L\\%N"); // searched before the program's directory
//     TSearchNLSPath::SetLang("German");
//     TSearchNLSPath search("msgs");
//     std::cout << search.FindFile() << '\n'; // C:\mail\texts\German\msgs.dll, if it exists
//     TNLSResourceDll texts("msgs");
//     TString const text = texts.loadMessage(17, 0);
//
// Ownership:  The search object owns the path that it found: the pointer is valid until the object is destroyed.
// Threads:    Change the settings only while the process has one thread. Afterwards any thread may search, but only one
//             thread at a time may use an object.
// Failures:   The functions throw TAccessError (recoverable, ID 1); their comments give its texts. The results of
//             searches are traced in the category NLSResource at level "in".
// Surprises:
// - Once an object has found a path, every later search returns that path.
// - If nothing is found, FindInPath() and FindFile() without an argument return the file of the program itself.
//   Texts are then looked up in the program. Therefore no text of a program may have the number of a text of a library.
// - Check a language that comes from a stranger before you set it: the language becomes part of a path.
// - When tuzutil itself is loaded, it sets the locale of the process from the environment. The locale affects decimal
//   points, letter case and the texts of the operating system, but not the language of the program's messages.
class TSearchNLSPath;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TDLL.h"
#include "tuzutil/TSTRING.h"

#include <memory>

class TUZUTIL_API TSearchNLSPath {
public:
    // These constructors take the name of the library.
    explicit TSearchNLSPath(char const *name) : fName(name) {}
    explicit TSearchNLSPath(TString const &name) : fName(name) {}
    TSearchNLSPath(TSearchNLSPath const &other);
    TSearchNLSPath &operator=(TSearchNLSPath const &other);
    ~TSearchNLSPath() = default;

    // The language and the template belong to the process.
    static void SetLang(char const *lang); // null means "C", the built-in texts
    static TString QueryLang();            // "C" until SetLang() is called
    // Puts new entries before the present entries of the template. The template is a list of file names, separated by
    // ";". FindFile() says what an entry may contain. Does nothing if `entries` is null.
    static void AddNLSpath(char const *entries);

    // Searches in the current language. If this is "C" and nothing is found, searches in fsDefaultLocale too. If
    // nothing is found at all, calls FindInPath() and returns its result. If that result is null, throws "Unable to
    // find file NAME".
    char *FindFile();
    // Searches in the language `lang`. Returns the path of the first existing file that the template names, or null. In
    // an entry, %E means the program's directory, %L the language, and %N the name. If the name has no ".", the search
    // tries the name with ".dll", and on Linux also the name with ".so". If the language contains a ".", the search
    // begins with the language in which a backslash replaces the first ".". If the program's directory contains %L or
    // %N, or the language contains %N, the search replaces these too.
    char *FindFile(TString const &lang);
    // Loads the library whose name was given to the constructor, and returns the library's full name. Adds ".dll" to
    // the given name unless it ends in ".dll". If the library cannot be loaded, returns the full name of the program,
    // or null if the system does not know the program's name. If a static object of the loaded library threw an
    // exception while tuzutil registered it, this function throws that exception.
    char *FindInPath();
    operator char *() { return FindFile(); } // throws what FindFile() throws

    static TString const fsLang_C;        // "C", the built-in texts
    static TString const fsDefaultLocale; // "English": FindFile() searches in this language if the current one is "C"
    static TString fsLang;                // the current language
    static TString fsNLSpath;             // the template

private:
    char *Found() const noexcept { return fFound ? static_cast<char *>(*fFound) : nullptr; }
    char *Keep(TString const &path);

    TString fName;
    std::unique_ptr<TString> fFound;
};

// Finds and opens a library of texts. The constructor throws what TSearchNLSPath and TDll throw, and "Unable to find or
// open NAME".
class TUZUTIL_API TNLSResourceDll : public TDll {
public:
    explicit TNLSResourceDll(char const *name); // the name of the library, as for TSearchNLSPath
};

#endif

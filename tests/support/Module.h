#ifndef TUZUTIL_TESTS_MODULE_H
#define TUZUTIL_TESTS_MODULE_H

// Loads a library with the functions of the system. A name that contains a slash or a colon is the path of the library.
// Any other name is that of a library of the tests: its file is "NAME.dll" beside the test program. module_posix.cpp
// and module_win32.cpp define the class for each system.

#include <string>

class TModule {
public:
    TModule(std::string const &name, bool unload); // `unload`: whether the destructor unloads the library
    TModule(TModule const &) = delete;
    TModule &operator=(TModule const &) = delete;
    ~TModule();

    static bool IsInMemory(std::string const &name); // whether the process has loaded it, and not unloaded it
    bool IsLoaded() const { return fModule != nullptr; }
    void *Find(char const *function) const; // null if there is no such function, or if the library was not loaded

private:
    void *fModule;
    bool fUnload;
};

#endif

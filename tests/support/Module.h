#ifndef TUZUTIL_TESTS_MODULE_H
#define TUZUTIL_TESTS_MODULE_H

// Loads a library of the tests with the functions of the system. module_posix.cpp and module_win32.cpp define the class
// for each system.

#include <string>

class TModule {
public:
    TModule(std::string const &name, bool unload); // the file is beside the test program
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

#ifndef TUZUTIL_TESTS_MODULE_H
#define TUZUTIL_TESTS_MODULE_H

// A library of the tests, loaded as the system does it. Defined for each system in module_posix.cpp and
// module_win32.cpp.

#include <string>

class TModule {
public:
    TModule(std::string const &name, bool unload); // stands beside the test program; unloaded at the end if wanted
    TModule(TModule const &) = delete;
    TModule &operator=(TModule const &) = delete;
    ~TModule();

    bool IsLoaded() const { return fModule != nullptr; }
    void *Find(char const *function) const; // null if there is none, or no library

private:
    void *fModule;
    bool fUnload;
};

#endif

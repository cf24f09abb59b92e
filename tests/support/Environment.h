#ifndef TUZUTIL_TESTS_ENVIRONMENT_H
#define TUZUTIL_TESTS_ENVIRONMENT_H

// Sets a variable of the environment. The destructor restores the former value.

#include <cstdlib>
#include <optional>
#include <string>

class TEnvironment {
public:
    TEnvironment(char const *name, char const *value) : TEnvironment(name) { Set(value); }
    // Removes the variable from the environment.
    explicit TEnvironment(char const *name) : fName(name) {
        if (char const *const former = std::getenv(name))
            fFormer = former;
        Set(nullptr);
    }
    TEnvironment(TEnvironment const &) = delete;
    TEnvironment &operator=(TEnvironment const &) = delete;
    ~TEnvironment() { Set(fFormer ? fFormer->c_str() : nullptr); }

private:
    void Set(char const *value) {
#if defined(_WIN32)
        _putenv((fName + "=" + (value ? value : "")).c_str());
#else
        if (value)
            ::setenv(fName.c_str(), value, 1);
        else
            ::unsetenv(fName.c_str());
#endif
    }

    std::string fName;
    std::optional<std::string> fFormer;
};

#endif

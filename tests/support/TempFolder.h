#ifndef TUZUTIL_TESTS_TEMPFOLDER_H
#define TUZUTIL_TESTS_TEMPFOLDER_H

// A directory that only this test uses. The destructor removes it. Names have backslashes, as the library uses them.

#include "tuzutil/FILENAME.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

class TTempFolder {
public:
    TTempFolder() {
        std::random_device random;
        do
            fNative = std::filesystem::temp_directory_path() / ("tuzutil_" + std::to_string(random()));
        while (!std::filesystem::create_directory(fNative));
    }
    TTempFolder(TTempFolder const &) = delete;
    TTempFolder &operator=(TTempFolder const &) = delete;
    ~TTempFolder() {
        std::error_code ignored; // Windows cannot remove a library that is loaded
        std::filesystem::remove_all(fNative, ignored);
    }

    std::string Name() const { return FromNative(fNative); }
    std::string Name(std::string const &relative) const { return Name() + "\\" + relative; }

    // Returns a name in the form of the system.
    std::filesystem::path Native(std::string const &relative) const {
        return fNative / static_cast<char const *>(TFileName(relative.c_str()).QueryNative());
    }
    void AddFolder(std::string const &relative) const { std::filesystem::create_directories(Native(relative)); }
    void AddFile(std::string const &relative, std::string const &content = "") const {
        std::filesystem::create_directories(Native(relative).parent_path());
        std::ofstream(Native(relative), std::ios::binary) << content;
    }
    bool HasFolder(std::string const &relative) const { return std::filesystem::is_directory(Native(relative)); }

    static std::string FromNative(std::filesystem::path const &path) {
        return static_cast<char const *>(TFileName::FromNative(path.string().c_str()));
    }

private:
    std::filesystem::path fNative;
};

#endif

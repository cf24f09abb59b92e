// Searches for a language library. The input is a template, a name and a language, with zeros between them. If
// something is found, it must be a file, and a second search must find it again.

#include "tuzutil/FILENAME.h"
#include "tuzutil/NLSRESRC.h"

#include "bounds.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

std::string TakeText(std::string &rest) {
    std::string const text = rest.c_str();
    rest.erase(0, text.size() + 1);
    return text;
}

} // namespace

// A name and the folders that are looked through.
TBounds const fsBounds{16 << 10, 40, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    std::string rest(reinterpret_cast<char const *>(data), size);
    TSearchNLSPath::fsNLSpath = TakeText(rest).c_str();
    TSearchNLSPath search(TakeText(rest).c_str());
    TString const lang(rest.data(), static_cast<unsigned int>(rest.size()), ' ');
    char const *const path = search.FindFile(lang);
    if (!path)
        return 0;
    std::filesystem::path const native = static_cast<char const *>(TFileName(path).QueryNative());
    std::error_code problem;
    if (!std::filesystem::exists(native, problem) || std::filesystem::is_directory(native, problem) ||
        search.FindFile(lang) != path)
        std::abort();
    return 0;
}

// Runs a fuzz target on the files of a folder of seeds, and on the inputs of a corpus. A corpus is a text file with one
// input on each line, in Base64. This program needs no fuzzer and works with any compiler. Therefore seeds and corpus
// are used as a test in every build.
//
// replay FOLDER|CORPUS...

#include "tuzutil/BASE64.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size);

static std::size_t Run(std::string_view bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const *>(bytes.data()), bytes.size());
    return 1;
}

static std::size_t RunFolder(std::filesystem::path const &folder) {
    std::size_t inputs = 0;
    for (auto const &entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        inputs += Run(std::string(std::istreambuf_iterator<char>(in), {}));
    }
    return inputs;
}

static std::size_t RunCorpus(std::filesystem::path const &file) {
    std::size_t inputs = 0;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        inputs += Run(TBase64::DecodeBinary(line).view());
    return inputs;
}

int main(int count, char **arguments) {
    std::size_t inputs = 0;
    for (int i = 1; i < count; ++i)
        inputs += std::filesystem::is_directory(arguments[i]) ? RunFolder(arguments[i]) : RunCorpus(arguments[i]);
    std::cout << inputs << " inputs\n";
    return inputs == 0;
}

// Runs a fuzz target on the files that are named, and on all files of the folders that are named. With it, the seeds
// and the corpus of a target are a test, without a fuzzer and with any compiler.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size);

static void Run(std::filesystem::path const &file) {
    std::ifstream in(file, std::ios::binary);
    std::string const bytes(std::istreambuf_iterator<char>(in), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const *>(bytes.data()), bytes.size());
}

int main(int count, char **arguments) {
    std::size_t inputs = 0;
    for (int i = 1; i < count; ++i) {
        if (!std::filesystem::is_directory(arguments[i])) {
            Run(arguments[i]);
            ++inputs;
            continue;
        }
        for (auto const &entry : std::filesystem::directory_iterator(arguments[i])) {
            Run(entry.path());
            ++inputs;
        }
    }
    std::cout << inputs << " inputs\n";
    return inputs == 0;
}

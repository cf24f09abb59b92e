// Runs a fuzz target on the files of a folder of seeds, and on the inputs of a corpus. A corpus is a text file with one
// input on each line, in Base64. This program needs no fuzzer and works with any compiler. Therefore seeds and corpus
// are used as a test in every build.
//
// Inputs of a corpus are short. To show that time and memory grow no faster than the input, some of them are repeated
// until they are large.
//
// replay [--short] FOLDER|CORPUS...

#include "tuzutil/BASE64.h"

#include "bounds.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size);

static std::vector<std::string> InputsOf(std::filesystem::path const &folderOrCorpus) {
    std::vector<std::string> inputs;
    if (std::filesystem::is_directory(folderOrCorpus)) {
        for (auto const &entry : std::filesystem::directory_iterator(folderOrCorpus)) {
            std::ifstream in(entry.path(), std::ios::binary);
            inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
    } else {
        std::ifstream in(folderOrCorpus);
        for (std::string line; std::getline(in, line);)
            inputs.emplace_back(TBase64::DecodeBinary(line).view());
    }
    return inputs;
}

// Returns how many seconds of the processor the input takes.
static double Run(std::string_view bytes) {
    std::clock_t const begin = std::clock();
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const *>(bytes.data()), bytes.size());
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

// Many targets are controlled by the first byte, so it stays the first one, and the others are repeated.
static std::string Repeated(std::string const &input, std::size_t size) {
    std::string repeated = input;
    while (repeated.size() < size)
        repeated.append(input, 1);
    repeated.resize(size);
    return repeated;
}

// Eight times the size may take eight times as long. If the time grew with the square of the size, it would take 64
// times as long. On Windows, clock() does not tell the time of the processor, so only the bounds of bounds.cpp hold.
static bool GrowsLinearly(std::string const &input) {
    double const small = Run(Repeated(input, fsBounds.large / 8));
    double const large = Run(Repeated(input, fsBounds.large));
#if defined(_WIN32)
    return small >= 0 && large >= 0;
#else
    if (large <= 24 * small + 0.2)
        return true;
    std::cout << "a repeated input takes " << small << " s, and " << large << " s if it is eight times as long\n";
    return false;
#endif
}

// Fails if one of the arguments has no inputs. If the first argument is "--short", no inputs are repeated: under
// valgrind, they would take long, and the time would not grow as it does otherwise.
int main(int count, char **arguments) {
    bool const isShort = count > 1 && std::string_view(arguments[1]) == "--short";
    int const first = isShort ? 2 : 1;
    std::size_t const wanted = 12; // so many inputs are repeated
    for (int i = first; i < count; ++i) {
        std::vector<std::string> const inputs = InputsOf(arguments[i]);
        std::cout << inputs.size() << " inputs in " << arguments[i] << '\n';
        if (inputs.empty())
            return 1;
        for (std::string const &input : inputs)
            Run(input);
        for (std::size_t at = 0; !isShort && at < inputs.size(); at += inputs.size() / wanted + 1) {
            if (inputs[at].size() > 1 && !GrowsLinearly(inputs[at]))
                return 1;
        }
    }
    return count <= first;
}

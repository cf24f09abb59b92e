// encode_file base64|unbase64|md5 FILE: the library's encodings as a filter, for comparison with the system's tools.

#include "tuzutil/BASE64.h"
#include "tuzutil/MD5.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char **argv) {
    if (argc != 3)
        return 2;
    std::string const mode = argv[1];
    std::ifstream file(argv[2], std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(file), {}};
    TString const text(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
    if (mode == "base64") {
        std::cout << TBase64::Encode(text);
    } else if (mode == "unbase64") {
        std::cout << TBase64::Decode(text);
    } else if (mode == "md5") {
        CalculateMD5 md5;
        md5.Write(bytes.data(), static_cast<unsigned long>(bytes.size()));
        char digest[16];
        md5.Done(digest);
        for (char const byte : digest)
            std::cout << "0123456789abcdef"[byte >> 4 & 15] << "0123456789abcdef"[byte & 15];
    } else {
        return 2;
    }
    return std::cout.flush() ? 0 : 1;
}

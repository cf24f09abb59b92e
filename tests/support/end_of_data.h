#ifndef TUZUTIL_TESTS_SUPPORT_END_OF_DATA_H
#define TUZUTIL_TESTS_SUPPORT_END_OF_DATA_H

// Reads the table tests/support/end_of_data.txt of bytes that look like the end of a body.

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace support {

struct TEndOfData {
    std::string name;
    std::string bytes;
    bool ends;
};

inline std::string Unescape(std::string const &text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        switch (text[++i]) {
        case 'r': bytes += '\r'; break;
        case 'n': bytes += '\n'; break;
        case 't': bytes += '\t'; break;
        case '0': bytes += '\0'; break;
        case 'x': bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)), i += 2; break;
        default: bytes += text[i];
        }
    }
    return bytes;
}

inline std::vector<TEndOfData> EndsOfData() {
    std::vector<TEndOfData> table;
    std::ifstream file(TUZUTIL_END_OF_DATA);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::size_t const first = line.find('\t');
        std::size_t const second = line.find('\t', first + 1);
        if (line.empty() || line[0] == '#')
            continue;
        table.push_back({line.substr(0, first), Unescape(line.substr(first + 1, second - first - 1)),
                         line.substr(second + 1) == "ends"});
    }
    EXPECT_GT(table.size(), 20u) << TUZUTIL_END_OF_DATA;
    return table;
}

} // namespace support

#endif

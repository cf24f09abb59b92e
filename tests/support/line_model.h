#ifndef TUZUTIL_TESTS_SUPPORT_LINE_MODEL_H
#define TUZUTIL_TESTS_SUPPORT_LINE_MODEL_H

// A model of the line streams. It works on whole texts.

#include "tuzutil/LINESTRM.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// Splits a text into lines. A line ends after its LF. If a line is longer than the limit, it is split into pieces of
// the size of the limit. The last piece contains the rest and the LF.
inline std::vector<std::string_view> LinePieces(std::string_view text, std::size_t limit) {
    std::vector<std::string_view> pieces;
    while (!text.empty()) {
        std::size_t size = std::min({text.substr(0, limit).find('\n'), limit, text.size()});
        if (size < text.size() && text[size] == '\n')
            ++size;
        pieces.push_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return pieces;
}

// Returns the number of LFs in `text` plus 1.
inline unsigned long LinesAtEnd(std::string_view text) {
    return static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n')) + 1;
}

// Returns the expected results of ReadLine(). Each element has an outcome and a text.
inline std::vector<std::string> LinesRead(std::string_view text, std::size_t limit) {
    std::vector<std::string> lines;
    for (std::size_t end; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1)) {
        std::string_view line = text.substr(0, end);
        bool const hasReturn = !line.empty() && line.back() == '\r';
        line.remove_suffix(hasReturn ? 1 : 0);
        char const *outcome = hasReturn ? "line " : "bareLineFeed ";
        if (line.find('\r') != std::string_view::npos)
            outcome = "bareCarriageReturn ";
        if (line.size() > limit)
            outcome = "tooLong ";
        lines.push_back(outcome + std::string(line.substr(0, limit)));
    }
    lines.push_back("end " + std::string(text.substr(0, limit)));
    return lines;
}

// Calls ReadLine() up to the end, and returns its results in the same form.
template <typename From>
std::vector<std::string> ReadLines(From &from, std::size_t limit) {
    char const *const outcomes[] = {"line ", "tooLong ", "bareLineFeed ", "bareCarriageReturn ", "end "};
    std::vector<std::string> lines;
    std::string line;
    TLineRead read;
    do {
        read = from.ReadLine(line, limit);
        lines.push_back(outcomes[static_cast<int>(read)] + line);
    } while (read != TLineRead::end);
    return lines;
}

} // namespace support

#endif

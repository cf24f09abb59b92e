#ifndef TUZUTIL_TESTS_SUPPORT_LINE_MODEL_H
#define TUZUTIL_TESTS_SUPPORT_LINE_MODEL_H

// What line streams read, said about whole texts.

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace support {

// A line ends behind its LF; one longer than the limit comes in pieces of the limit, the last with the LF.
inline std::vector<std::string_view> LinePieces(std::string_view text, std::size_t limit) {
    std::vector<std::string_view> pieces;
    while (!text.empty()) {
        std::size_t size = std::min({text.find('\n'), limit, text.size()});
        if (size < text.size() && text[size] == '\n')
            ++size;
        pieces.push_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return pieces;
}

// Lines begun in `text`, and the one more that its end counts where it ends with a line.
inline unsigned long LinesAtEnd(std::string_view text) {
    return static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n')) + 1;
}

} // namespace support

#endif

#ifndef TUZUTIL_TESTS_SUPPORT_CONCAT_MODEL_H
#define TUZUTIL_TESTS_SUPPORT_CONCAT_MODEL_H

// A model of the concatenating streams. It works on whole texts, so it needs no buffers and no pieces.

#include <sstream>
#include <string>
#include <vector>

namespace support {

// Returns what a concatenating stream makes of `sources`: complete lines only. If `crLf` is true, LF becomes CR LF, but
// not in empty lines, and not where a CR stands already. REQUIRES: each line is shorter than the buffer of the stream.
inline std::string Concatenated(std::vector<std::string> const &sources, bool crLf) {
    std::string all;
    for (std::string const &source : sources) {
        std::istringstream lines(source);
        for (std::string line; std::getline(lines, line) && !lines.eof();) {
            all += line;
            if (crLf && !line.empty() && line.back() != '\r')
                all += '\r';
            all += '\n';
        }
    }
    return all;
}

// Returns what the stream makes of `sources` if it delivers whole lines: an unfinished last line gets its end, and if
// `crLf` is true, each line ends with CR LF. Lines may have any length.
inline std::string ConcatenatedWhole(std::vector<std::string> const &sources, bool crLf) {
    std::string all;
    for (std::string const &source : sources) {
        std::istringstream lines(source);
        for (std::string line; std::getline(lines, line);)
            all += line + (crLf && !line.ends_with('\r') ? "\r\n" : "\n");
    }
    return all;
}

} // namespace support

#endif

// Tests bytes that look like the end of a body but are not. They are at every offset around the ends of the pieces in
// which a body is read, and the source is split at every place. The library must not take them for the end of the body
// or for a command. Other programs must not mistake the bodies that the library writes.

#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include "support/dotbyte_model.h"
#include "support/end_of_data.h"
#include "support/streams.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>

namespace {

char const fsHead[] = "Subject: x\r\n\r\n"; // after a whole line, the library reads many lines at once
char const fsCommand[] = "RCPT TO:<stranger>\r\n";

std::string ReadBody(std::istream &source, std::size_t run, bool &isWhole) {
    TiDotByteStream in(source);
    std::string body;
    std::string piece(run, '\0');
    while (in.read(piece.data(), static_cast<std::streamsize>(run)) || in.gcount() > 0)
        body.append(piece, 0, static_cast<std::size_t>(in.gcount()));
    isWhole = in.IsTerminated();
    return body;
}

// Reads a body that consists of `head`, `before` bytes, `trick` and a line that a stranger wants to be taken for a
// command. The true end of the body follows. Checks that the reader found the right end and the right text of the body.
void ExpectRead(support::TEndOfData const &trick, std::string const &head, std::size_t before, std::size_t split,
                std::size_t run) {
    std::string const prefix = head + std::string(before, 'x');
    std::string const wire = prefix + trick.bytes + fsCommand + ".\r\nQUIT\r\n";
    support::TSplitSource source(wire, split);
    bool isWhole = false;
    std::string const body = ReadBody(source, run, isWhole);
    std::string const taken = wire.substr(0, trick.ends ? prefix.size() + trick.bytes.size()
                                                        : wire.size() - std::string_view("QUIT\r\n").size());
    ASSERT_TRUE(isWhole) << trick.name;
    ASSERT_EQ(source.Taken(), taken.size()) << trick.name << " after " << before << ", split " << split;
    if (before < 900) // the model does not read lines in pieces
        ASSERT_EQ(body, support::Unstuff(wire).data) << trick.name << ", split " << split;
    else
        ASSERT_EQ(body.find("RCPT") != body.npos, !trick.ends) << trick.name;
}

// Returns where a program sees the end of a body if it takes CR LF and each of the bytes in `ends` for the end of a
// line. This is behind the first line with a single dot.
std::size_t EndOf(std::string_view wire, std::string_view ends) {
    std::string lines;
    for (std::size_t i = 0; i < wire.size(); ++i) {
        bool const isPair = wire.substr(i, 2) == "\r\n";
        lines += isPair || ends.find(wire[i]) != ends.npos ? '\n' : wire[i];
        if (lines == ".\n" || (lines.size() >= 3 && lines.compare(lines.size() - 3, 3, "\n.\n") == 0))
            return i + (isPair ? 2 : 1);
        i += isPair;
    }
    return wire.npos;
}

std::string Written(std::string const &body, std::size_t run, bool usesCrLf) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    if (usesCrLf)
        out.UseCrLf();
    for (std::size_t at = 0; at < body.size(); at += run)
        out << std::string_view(body).substr(at, run);
    EXPECT_EQ(out.EndBody(), 0);
    return sink.str();
}

} // namespace

TEST(Smuggling, NothingElseEndsABodyAtAnySplit) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        for (std::size_t before : {0u, 1u, 5u}) {
            for (std::size_t split = 0; split <= before + trick.bytes.size() + 4; ++split) {
                for (std::size_t run : {1u, 2u, 3u, 64u})
                    ExpectRead(trick, "", before, split, run);
            }
            for (std::size_t run = 1; run < 100; ++run)
                ExpectRead(trick, fsHead, before, support::fsAll, run);
        }
    }
}

TEST(Smuggling, NothingElseEndsABodyAroundTheEdgesOfPieces) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        for (std::size_t edge : {1024u, 2048u, 4096u, 10240u}) {
            for (std::size_t before = edge - 12; before <= edge + 4; ++before) {
                for (std::size_t split : {support::fsAll, std::size_t{1}, std::size_t{1000}}) {
                    ExpectRead(trick, "", before, split, 4096);
                    ExpectRead(trick, fsHead, before, split, 4096);
                }
            }
        }
    }
}

TEST(Smuggling, LinesOfABodyAreNoCommands) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        std::istringstream connection("x" + trick.bytes + fsCommand + ".\r\nQUIT\r\n");
        {
            TiDotByteStream body(connection);
            body.ReadToTermination();
            ASSERT_TRUE(body.IsTerminated());
        }
        TiLineStream commands(&connection);
        std::string line;
        ASSERT_EQ(commands.ReadLine(line, 100), TLineRead::line);
        ASSERT_EQ(line, trick.ends ? "RCPT TO:<stranger>" : "QUIT") << trick.name;
    }
}

// Besides CR LF, the other readers take LF for the end of a line, or CR, or either of them.
TEST(Smuggling, NoOtherReaderIsMisledByWhatIsWrittenWithCrLf) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        std::string const body = "x" + trick.bytes + fsCommand;
        for (std::size_t run = 1; run <= body.size(); ++run) {
            std::string const wire = Written(body, run, true);
            for (char const *ends : {"", "\n", "\r", "\r\n"})
                ASSERT_EQ(EndOf(wire, ends), wire.size()) << trick.name << ", run " << run;
        }
    }
}

TEST(Smuggling, WithoutItReadersThatTakeABareLineFeedAreNotMisledEither) {
    bool isReturnMisleading = false;
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        std::string const body = "x" + trick.bytes + fsCommand;
        for (std::size_t run = 1; run <= body.size(); ++run) {
            std::string const wire = Written(body, run, false);
            ASSERT_EQ(EndOf(wire, ""), wire.size()) << trick.name;
            ASSERT_EQ(EndOf(wire, "\n"), wire.size()) << trick.name;
            isReturnMisleading = isReturnMisleading || EndOf(wire, "\r") != wire.size();
        }
    }
    EXPECT_TRUE(isReturnMisleading); // therefore a relay calls UseCrLf(); this also shows that EndOf() can find a fault
}

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
#include <vector>

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

// Returns a text of `size` bytes, in lines of 64 bytes. The last line may be unfinished.
std::string Lines(std::size_t size) {
    std::string text;
    while (text.size() + 64 <= size)
        text.append(62, 'x').append("\r\n");
    text.resize(size, 'x');
    return text;
}

// Returns texts that precede an attack: none, unfinished lines, and whole lines.
std::vector<std::string> Beginnings() {
    std::vector<std::string> texts;
    for (char const *const text : {"", "x", "xxxxx", fsHead, "Subject: x\r\n\r\nx"})
        texts.emplace_back(text);
    texts.push_back(Lines(640));
    texts.push_back(Lines(643));
    return texts;
}

// A trick, and a line that a stranger wants to be taken for a command. The true end of the body follows.
class TAttack {
public:
    explicit TAttack(support::TEndOfData const &trick)
        : fTrick(trick), fWire(trick.bytes + fsCommand + ".\r\nQUIT\r\n"),
          fTaken(trick.ends ? trick.bytes.size() : fWire.size() - std::string_view("QUIT\r\n").size()),
          fInLine(support::Unstuff("x" + fWire)), fAtLine(support::Unstuff(fWire)) {}

    std::string const &Name() const { return fTrick.name; }
    std::size_t Size() const { return fTrick.bytes.size(); }

    // Reads a body that begins with `before` and ends with the attack. Checks that the reader finds the right end and
    // the right text. REQUIRES: `before` has neither dots nor line ends other than CR LF.
    void ExpectRead(std::string const &before, std::size_t split, std::size_t run) const {
        support::TSplitSource source(before + fWire, split);
        bool isWhole = false;
        std::string const body = ReadBody(source, run, isWhole);
        bool const isInLine = !before.empty() && before.back() != '\n';
        std::string_view const rest = isInLine ? std::string_view(fInLine.data).substr(1) : fAtLine.data;
        // A dot at the beginning of a line may end the body by itself.
        std::size_t const taken = isInLine ? fTaken : fAtLine.taken;
        ASSERT_TRUE(isWhole) << Where(before, split, run);
        ASSERT_EQ(source.Taken(), before.size() + taken) << Where(before, split, run);
        ASSERT_EQ(body.size(), before.size() + rest.size()) << Where(before, split, run);
        ASSERT_TRUE(body.compare(0, before.size(), before) == 0 && body.compare(before.size(), body.npos, rest) == 0)
            << Where(before, split, run);
    }

private:
    std::string Where(std::string const &before, std::size_t split, std::size_t run) const {
        return Name() + " after " + std::to_string(before.size()) + ", split " + std::to_string(split) + ", run " +
               std::to_string(run);
    }

    support::TEndOfData const &fTrick;
    std::string const fWire;
    std::size_t const fTaken; // the bytes of the body, with the end
    support::TUnstuffed const fInLine;
    support::TUnstuffed const fAtLine;
};

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

// A source of pieces of one size is cut within the attack if this size is about that of the bytes before it.
TEST(Smuggling, NothingElseEndsABodyAtAnySplit) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        TAttack const attack(trick);
        for (std::string const &before : Beginnings()) {
            for (std::size_t split = before.size(); split <= before.size() + attack.Size() + 4; ++split) {
                for (std::size_t run : {1u, 2u, 3u, 64u, 4096u})
                    attack.ExpectRead(before, split, run);
            }
            for (std::size_t split = 0; split <= 10; ++split)
                attack.ExpectRead(before, split, 4096);
            for (std::size_t run = 1; run < 100; ++run)
                attack.ExpectRead(before, support::fsAll, run);
        }
    }
}

// The attack is at every offset, so it lies across each place at which the source or the library may divide the body:
// after 1,000 bytes of the source, and after as many bytes as the areas of the library and the program's own have.
TEST(Smuggling, NothingElseEndsABodyAtAnyOffset) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        TAttack const attack(trick);
        for (std::size_t before = 0; before < 4200; ++before) {
            std::string const lines = Lines(before);
            attack.ExpectRead(lines, support::fsAll, 4096);
            attack.ExpectRead(lines, 1000, 4096);
        }
    }
}

TEST(Smuggling, NothingElseEndsABodyAroundTheEdgesOfPieces) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        TAttack const attack(trick);
        for (std::size_t edge : {1023u, 1024u, 2048u, 4096u, 10240u}) {
            for (std::size_t before = edge - attack.Size() - 2; before <= edge + 2; ++before) {
                std::string const lines = Lines(before);
                for (std::size_t split = before; split <= before + attack.Size(); ++split)
                    attack.ExpectRead(lines, split, 4096);
                for (std::size_t run : {100u, 1024u, 20000u})
                    attack.ExpectRead(lines, support::fsAll, run);
                attack.ExpectRead(lines, 1, 4096);
            }
        }
    }
}

// The model does not know lines of more than 1,022 bytes, which are read in pieces.
TEST(Smuggling, NothingElseEndsABodyAfterALongLine) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        for (std::size_t edge : {1023u, 1024u, 2048u, 4096u, 10240u}) {
            for (std::size_t before = edge - 12; before <= edge + 4; ++before) {
                for (std::size_t split : {support::fsAll, std::size_t{1}, before + 1, before + 2, before + 3}) {
                    for (std::string const head : {"", fsHead}) {
                        std::string const rest = trick.bytes + fsCommand + ".\r\nQUIT\r\n";
                        std::string const line = head + std::string(before - head.size(), 'x');
                        support::TSplitSource source(line + rest, split);
                        bool isWhole = false;
                        std::string const body = ReadBody(source, 4096, isWhole);
                        ASSERT_TRUE(isWhole) << trick.name;
                        ASSERT_EQ(source.Rest(), trick.ends ? fsCommand + std::string(".\r\nQUIT\r\n") : "QUIT\r\n")
                            << trick.name << " after " << before << ", split " << split;
                        ASSERT_EQ(body, line + support::Unstuff("x" + rest).data.substr(1))
                            << trick.name << " after " << before << ", split " << split;
                    }
                }
            }
        }
    }
}

TEST(Smuggling, LinesOfABodyAreNoCommands) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        for (std::string const &before : Beginnings()) {
            std::string const wire = before + trick.bytes + fsCommand + ".\r\nQUIT\r\n";
            bool const isAtLine = before.empty() || before.back() == '\n';
            std::string const rest = wire.substr(support::Unstuff(wire).taken);
            std::string const command = rest.substr(0, rest.find("\r\n"));
            ASSERT_TRUE(isAtLine || command == (trick.ends ? "RCPT TO:<stranger>" : "QUIT")) << trick.name;
            for (std::size_t split = 0; split <= before.size() + trick.bytes.size() + 4; ++split) {
                if (split == 10 && before.size() > 10)
                    split = before.size();
                support::TSplitSource connection(wire, split);
                {
                    TiDotByteStream body(connection);
                    body.ReadToTermination();
                    ASSERT_TRUE(body.IsTerminated());
                }
                TiLineStream commands(&connection);
                std::string line;
                ASSERT_EQ(commands.ReadLine(line, 100), TLineRead::line);
                ASSERT_EQ(line, command) << trick.name << ", split " << split;
            }
        }
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

// Around the ends of the areas in which the library writes a body, whatever the program writes at once.
TEST(Smuggling, WhatIsWrittenAroundTheEdgesOfAreasIsReadBack) {
    for (support::TEndOfData const &trick : support::EndsOfData()) {
        for (std::size_t edge : {1023u, 1024u, 2048u, 4096u}) {
            for (std::size_t before = edge - trick.bytes.size() - 2; before <= edge + 2; ++before) {
                std::string const body = Lines(before) + trick.bytes + fsCommand;
                for (bool usesCrLf : {false, true}) {
                    std::string const lines = usesCrLf ? support::WithCrLf(body) : body;
                    std::string const expected = support::Stuff(lines) + ".\r\n";
                    for (std::size_t run : {std::size_t{7}, before + 1, before + 2, before + 3, body.size()})
                        ASSERT_EQ(Written(body, run, usesCrLf), expected)
                            << trick.name << " after " << before << ", run " << run;
                    for (char const *ends : {"", "\n"})
                        ASSERT_EQ(EndOf(expected, ends), expected.size()) << trick.name << " after " << before;
                    std::istringstream source(expected);
                    bool isWhole = false;
                    // Without UseCrLf(), the dots that follow a bare LF stay doubled.
                    ASSERT_EQ(ReadBody(source, 4096, isWhole), usesCrLf ? lines : support::Unstuff(expected).data)
                        << trick.name << " after " << before;
                    ASSERT_TRUE(isWhole) << trick.name;
                }
            }
        }
    }
}

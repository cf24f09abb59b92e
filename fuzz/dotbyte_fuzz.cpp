// Reads any bytes as they come from a connection, and writes any bytes as a body. The results must be those of the
// model.

#include "tuzutil/DOTBYTE.h"

#include "support/dotbyte_model.h"
#include "support/streams.h"

#include "bounds.h"

#include <cstdint>
#include <string_view>

namespace {

void Read(std::string_view wire, std::size_t split) {
    support::TSplitSource source(wire, split);
    TDotByteStreamBuf buffer(source);
    std::string const data = split % 2 ? support::ReadRuns(buffer, split) : support::ReadBytes(buffer);
    support::TUnstuffed const expected = support::Unstuff(wire);
    Require(source.Taken() == expected.taken);
    Require(buffer.IsTerminated() == expected.terminated);
    Require(buffer.SawBareLineFeed() == support::HasBareLineFeed(wire.substr(0, expected.taken)));
    Require(buffer.SawBareCarriageReturn() == support::HasBareReturn(wire.substr(0, expected.taken)));
    Require(data == expected.data);
}

void Write(std::string_view body, std::size_t run) {
    support::TSplitSink sink(run % 5);
    TDotByteStreamBuf buffer(sink);
    support::Write(buffer, body, run + 1);
    Require(buffer.WriteTermination() == 0);
    Require(sink.Text() == support::Stuff(body) + ".\r\n");
}

void WriteWithCrLf(std::string_view body, std::size_t run) {
    support::TSplitSink sink(run % 5);
    TDotByteStreamBuf buffer(sink);
    buffer.UseCrLf();
    support::Write(buffer, body, run + 1);
    Require(buffer.EndBody() == 0);
    std::string const lines = support::WithCrLf(body);
    Require(sink.Text() == support::Stuff(lines) + support::Completion(lines) + ".\r\n");
}

void WriteLimited(std::string_view body, std::size_t lines) {
    support::TSplitSink sink;
    TDotByteStreamBuf buffer(sink, static_cast<unsigned long>(lines));
    std::size_t const end = support::CutAt(body, lines);
    bool cut = false;
    try {
        support::Write(buffer, body, lines + 1);
        Require(buffer.WriteTermination() == 0);
    } catch (TDotByteLinesException const &) {
        cut = true;
    }
    Require(cut == (end != std::string_view::npos));
    Require(sink.Text() == support::Stuff(body.substr(0, end)) + ".\r\n");
}

// Writes a body and the next command, and reads both back. A bare LF ends a line when written, but not when read, so
// such a body is read back as it was only if the writer sends it as CR LF.
void WriteAndRead(std::string_view body, std::size_t run, bool usesCrLf) {
    if (!usesCrLf && support::HasBareLineFeed(body))
        return;
    std::string const next = "QUIT\r\n";
    support::TSplitSink sink(run % 5);
    TDotByteStreamBuf writer(sink);
    if (usesCrLf)
        writer.UseCrLf();
    support::Write(writer, body, run + 1);
    Require(writer.EndBody() == 0);
    std::string const wire = sink.Text() + next;

    std::string const lines = usesCrLf ? support::WithCrLf(body) : std::string(body);
    support::TSplitSource source(wire, run);
    TDotByteStreamBuf reader(source);
    std::string const read = support::ReadRuns(reader, run + 1);
    Require(reader.IsTerminated());
    Require(source.Rest() == next);
    Require(read == lines + support::Completion(lines));
    Require(!usesCrLf || (!reader.SawBareLineFeed() && !reader.SawBareCarriageReturn()));
}

} // namespace

// The bodies of all the readers, writers and models live at the same time.
TBounds const fsBounds{48 << 10, 48, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view const text(reinterpret_cast<char const *>(data) + 1, size - 1);
    Read(text, data[0]);
    Write(text, data[0]);
    WriteWithCrLf(text, data[0]);
    WriteLimited(text, data[0] % 8);
    WriteAndRead(text, data[0], false);
    WriteAndRead(text, data[0], true);
    return 0;
}

// TTraceFileBuf: the stream buffer of a trace file. Each write is passed to the platform at once and in one call. The
// buffer takes no lock, because the trace destination that owns it holds a lock during each write.

#include "utility/destinations/trace_file_stream.h"

#include "tuzutil/FILENAME.h"
#include "tuzutil/TRACESTR.h"

#include <utility>

TTraceFileBuf::TTraceFileBuf(char const *name, Use use) : TTraceFileBuf(name, TFileName(name).NativePath(), use) {}

// The name is copied before the file is opened. If copying threw after the file was opened, nobody would close the
// file.
TTraceFileBuf::TTraceFileBuf(char const *name, std::filesystem::path &&path, Use use) noexcept
    : TTraceFileBuf(platform::OpenTraceFile(name, use, TTraceStreamBase::QueryFileMode()), std::move(path)) {}

TTraceFileBuf::TTraceFileBuf(std::filesystem::path const &name, Use use)
    : TTraceFileBuf(name, std::filesystem::path(name), use) {}

TTraceFileBuf::TTraceFileBuf(std::filesystem::path const &name, std::filesystem::path &&path, Use use) noexcept
    : TTraceFileBuf(platform::OpenNativeTraceFile(name.c_str(), use, TTraceStreamBase::QueryFileMode()),
                    std::move(path)) {}

TTraceFileBuf::TTraceFileBuf(platform::TraceFile *opened, std::filesystem::path &&name) noexcept
    : fFile(opened), fError(opened ? 0 : platform::LastError()), fName(std::move(name)) {}

TTraceFileBuf::~TTraceFileBuf() {
    platform::CloseTraceFile(fFile);
}

void TTraceFileBuf::Append(std::string_view text) noexcept {
    platform::WriteTraceFile(fFile, text.data(), text.size());
}

std::streamsize TTraceFileBuf::xsputn(char const *text, std::streamsize count) {
    return platform::WriteTraceFile(fFile, text, static_cast<std::size_t>(count)) ? count : 0;
}

// No test gets here: the library writes whole records, and gives this stream to nobody.
TTraceFileBuf::int_type TTraceFileBuf::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    char const character = traits_type::to_char_type(c);
    return xsputn(&character, 1) == 1 ? c : traits_type::eof();
}

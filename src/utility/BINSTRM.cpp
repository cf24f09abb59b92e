// TiBinaryStream and ToBinaryStream: numbers and texts, in host or network order, over a stream that the caller owns.
// If the stream needs no sentry, most numbers are copied directly, without a virtual call. A read copies from the get
// area of the stream's buffer if the area has enough bytes. A write copies to the put area if the area has enough room.
// The memory for a text grows while its bytes arrive, because a hostile stream may announce any length. This source has
// no lock, because a stream belongs to one thread.

#include "tuzutil/BINSTRM.h"

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/stream_guard.h"
#include "utility/kernel/string_access.h"

#include <algorithm>
#include <bit>
#include <locale>
#include <tuple>
#include <utility>

static_assert(std::endian::native == std::endian::little, "network order is the reverse of host order");
static_assert(sizeof(float) == 4 && sizeof(double) == 8);

namespace {

constexpr std::uint64_t fsFirstStep = 0x10000; // the most bytes that are allocated before a text begins to arrive

// The library also exports the inline operators. The compiler emits them because the object fsEmitted contains their
// addresses.
template <typename... Numbers>
struct TEmitted {
    std::tuple<TiBinaryStream &(TiBinaryStream::*)(Numbers &)...> read{
        static_cast<TiBinaryStream &(TiBinaryStream::*)(Numbers &)>(&TiBinaryStream::operator>>)...};
    std::tuple<ToBinaryStream &(ToBinaryStream::*)(Numbers)...> write{
        static_cast<ToBinaryStream &(ToBinaryStream::*)(Numbers)>(&ToBinaryStream::operator<<)...};
};
[[gnu::used]] TEmitted<short, unsigned short, int, unsigned int, long, unsigned long, float, double> const fsEmitted;

using TLength = tuzutil::TWireNumber<std::uint32_t>;

constexpr std::size_t fsHeaderSize = 8; // a text's header consists of its length and a reserved 0, of 4 bytes each

// Copies the header and the bytes of a text to the put area, and returns true. If the area has no room for both, or the
// text is longer than TBufferArea::fsMostAtOnce, copies nothing and returns false.
bool PutText(std::streambuf &buffer, TString const &text, bool networkOrder) noexcept {
    std::size_t const length = text.length();
    // No test gets here: a text of more than 1 GiB would have to be written.
    if (length > TBufferArea::fsMostAtOnce || TBufferArea::Room(buffer) < fsHeaderSize + length)
        return false;
    char *const to = TBufferArea::Filled(buffer, fsHeaderSize + length);
    std::uint64_t const header = TLength::Encode(static_cast<std::uint32_t>(length), networkOrder);
    std::memcpy(to, &header, sizeof header);
    char const *const from = text.data(); // not null, even for a null string
    if (length < 8 || length > 16) {
        std::memcpy(to + fsHeaderSize, from, length);
        return true;
    }
    // Many texts have 8 to 16 bytes. Two copies of 8 bytes, which may overlap, cost less than a call of memcpy().
    std::memcpy(to + fsHeaderSize, from, 8);
    std::memcpy(to + length, from + length - 8, 8);
    return true;
}

// Returns the bytes of the text that comes next in the get area. If the area does not contain the whole text, or if the
// text is empty, returns an empty view.
std::string_view HeldText(std::streambuf &buffer, bool networkOrder) noexcept {
    std::string_view const held = TBufferArea::Held(buffer);
    if (held.size() < fsHeaderSize)
        return {};
    std::uint32_t bits;
    std::memcpy(&bits, held.data(), sizeof bits);
    std::size_t const length = TLength::Decode(bits, networkOrder);
    if (length > TBufferArea::fsMostAtOnce || held.size() - fsHeaderSize < length)
        return {};
    return held.substr(fsHeaderSize, length);
}

} // namespace

// Reading

// Does the same as istream::read(), but constructs no sentry if the sentry would have nothing to do.
std::size_t TiBinaryStream::ReadBytes(void *bytes, std::size_t count) {
    auto *const to = static_cast<char *>(bytes);
    auto const wanted = static_cast<std::streamsize>(count);
    if (!IsReadyForInput()) {
        Unformatted().read(to, wanted);
        return static_cast<std::size_t>(fStream->gcount());
    }
    fCount = 0;
    if (!stream_guard::Guard(*fStream, [&] { fCount = fStream->rdbuf()->sgetn(to, wanted); }))
        return 0;
    auto const got = static_cast<std::size_t>(fCount);
    if (got != count)
        fStream->setstate(std::ios_base::eofbit | std::ios_base::failbit);
    return got;
}

// Works like an input function of std::istream: constructs a sentry and, if the stream is ready, runs `extract` on the
// buffer of the stream. A failure sets the state of the stream. If the exception mask of the stream contains that
// state, the failure is also thrown.
template <typename Work>
void TiBinaryStream::Extract(bool keepWhiteSpace, Work extract) {
    std::istream::sentry const ready(*fStream, keepWhiteSpace);
    if (!ready)
        return;
    auto state = std::ios_base::goodbit;
    if (!stream_guard::Guard(*fStream, [&] { state = extract(*fStream->rdbuf()); }))
        return;
    if (state != std::ios_base::goodbit)
        fStream->setstate(state);
}

// Returns the wrapped stream. From then on, TiBinaryStream::gcount() returns the count of the wrapped stream, until a
// function of this class sets fCount to a count of its own.
std::istream &TiBinaryStream::Unformatted() noexcept {
    fCount = fsAskStream;
    return *fStream;
}

TiBinaryStream &TiBinaryStream::operator>>(long double &value) {
    if (IsNetworkOrder()) {
        unsigned char bytes[2 + sizeof(double)] = {}; // the first two bytes have no meaning
        ReadBytes(bytes, sizeof bytes);
        std::uint64_t bits;
        std::memcpy(&bits, bytes + 2, sizeof bits);
        value = tuzutil::TWireNumber<double>::Decode(bits, true);
        return *this;
    }
    double number = static_cast<double>(value); // bytes that do not arrive keep their values
    if (ReadBytes(&number, sizeof number) != 0)
        value = number;
    return *this;
}

TiBinaryStream &TiBinaryStream::operator>>(char &value) {
    *fStream >> value;
    return *this;
}
TiBinaryStream &TiBinaryStream::operator>>(signed char &value) {
    *fStream >> value;
    return *this;
}
TiBinaryStream &TiBinaryStream::operator>>(unsigned char &value) {
    *fStream >> value;
    return *this;
}

TiBinaryStream &TiBinaryStream::ReadWord(char *text, std::size_t size) {
    using Traits = std::istream::traits_type;
    Extract(false, [&](std::streambuf &buffer) {
        auto const width = static_cast<std::size_t>(fStream->width(0));
        std::size_t const room = width != 0 ? std::min(width, size) : size;
        auto const &characters = std::use_facet<std::ctype<char>>(fStream->getloc());
        auto state = std::ios_base::goodbit;
        std::size_t used = 0;
        for (auto c = buffer.sgetc(); used + 1 < room; c = buffer.snextc(), ++used) {
            if (Traits::eq_int_type(c, Traits::eof())) {
                state |= std::ios_base::eofbit;
                break;
            }
            if (characters.is(std::ctype_base::space, Traits::to_char_type(c)))
                break;
            text[used] = Traits::to_char_type(c);
        }
        text[used] = '\0';
        return used == 0 ? state | std::ios_base::failbit : state;
    });
    return *this;
}

TiBinaryStream &TiBinaryStream::operator>>(std::istream &(*manipulator)(std::istream &)) {
    manipulator(*fStream);
    return *this;
}
TiBinaryStream &TiBinaryStream::operator>>(std::ios &(*manipulator)(std::ios &)) {
    manipulator(Ios());
    return *this;
}
TiBinaryStream &TiBinaryStream::operator>>(std::ios_base &(*manipulator)(std::ios_base &)) {
    manipulator(Ios());
    return *this;
}
TiBinaryStream &TiBinaryStream::operator>>(TiBinaryStream &(*manipulator)(TiBinaryStream &)) {
    return manipulator(*this);
}

TiBinaryStream &TiBinaryStream::read(char *bytes, int count) {
    Unformatted().read(bytes, count);
    return *this;
}
TiBinaryStream &TiBinaryStream::read(signed char *bytes, int count) {
    return read(reinterpret_cast<char *>(bytes), count);
}
TiBinaryStream &TiBinaryStream::read(unsigned char *bytes, int count) {
    return read(reinterpret_cast<char *>(bytes), count);
}

int TiBinaryStream::ipfx(int keepWhiteSpace) {
    std::istream::sentry const ready(*fStream, keepWhiteSpace != 0);
    return ready ? 1 : 0;
}

TiBinaryStream &TiBinaryStream::seekg(std::streamoff position) {
    fStream->seekg(std::istream::pos_type(position));
    return *this;
}
TiBinaryStream &TiBinaryStream::seekg(std::streamoff offset, std::ios_base::seekdir from) {
    fStream->seekg(offset, from);
    return *this;
}
std::streamoff TiBinaryStream::tellg() {
    return fStream->tellg();
}

TiBinaryStream &TiBinaryStream::get(char *text, int count, char delimiter) {
    using Traits = std::istream::traits_type;
    fCount = 0;
    if (count > 0)
        *text = '\0';
    Extract(true, [&](std::streambuf &buffer) {
        auto const ended = std::ios_base::eofbit;
        for (auto c = buffer.sgetc(); fCount + 1 < count; c = buffer.snextc()) {
            if (Traits::eq_int_type(c, Traits::eof()))
                return fCount == 0 ? ended | std::ios_base::failbit : ended;
            if (Traits::to_char_type(c) == delimiter)
                break;
            text[fCount++] = Traits::to_char_type(c);
            text[fCount] = '\0';
        }
        return std::ios_base::goodbit;
    });
    return *this;
}

TiBinaryStream &TiBinaryStream::getline(char *text, int count, char delimiter) {
    Unformatted().getline(text, count, delimiter);
    return *this;
}
TiBinaryStream &TiBinaryStream::get(std::streambuf &to, char delimiter) {
    Unformatted().get(to, delimiter);
    return *this;
}
TiBinaryStream &TiBinaryStream::get(char &c) {
    Unformatted().get(c);
    return *this;
}
int TiBinaryStream::get() {
    return Unformatted().get();
}
int TiBinaryStream::peek() {
    return Unformatted().peek();
}
TiBinaryStream &TiBinaryStream::ignore(int count, int delimiter) {
    Unformatted().ignore(count, delimiter);
    return *this;
}
int TiBinaryStream::gcount() const {
    return static_cast<int>(fCount == fsAskStream ? fStream->gcount() : fCount);
}
TiBinaryStream &TiBinaryStream::putback(char c) {
    Unformatted().putback(c);
    return *this;
}
int TiBinaryStream::sync() {
    return Unformatted().sync();
}
TiBinaryStream &TiBinaryStream::operator>>(std::streambuf *to) {
    Unformatted() >> to;
    return *this;
}

// Writing

// Does the same as ostream::write(), but constructs no sentry if the sentry would have nothing to do.
void ToBinaryStream::WriteBytes(void const *bytes, std::size_t count) {
    auto const *const from = static_cast<char const *>(bytes);
    auto const size = static_cast<std::streamsize>(count);
    if (!IsReadyForOutput()) {
        fStream->write(from, size);
        return;
    }
    std::streamsize put = 0;
    if (!stream_guard::Guard(*fStream, [&] { put = fStream->rdbuf()->sputn(from, size); }))
        return;
    if (put != size)
        fStream->setstate(std::ios_base::badbit);
}

ToBinaryStream &ToBinaryStream::operator<<(long double value) {
    return IsNetworkOrder() ? *this << TNetworkLongDouble(value) : *this << static_cast<double>(value);
}

ToBinaryStream &ToBinaryStream::operator<<(char value) {
    return *this << static_cast<unsigned char>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(signed char value) {
    return *this << static_cast<unsigned char>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(unsigned char value) {
    *fStream << value;
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(char const *text) {
    if (text)
        *fStream << text;
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(signed char const *text) {
    return *this << reinterpret_cast<char const *>(text);
}
ToBinaryStream &ToBinaryStream::operator<<(unsigned char const *text) {
    return *this << reinterpret_cast<char const *>(text);
}

ToBinaryStream &ToBinaryStream::operator<<(std::ostream &(*manipulator)(std::ostream &)) {
    manipulator(*fStream);
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(std::ios &(*manipulator)(std::ios &)) {
    manipulator(Ios());
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(std::ios_base &(*manipulator)(std::ios_base &)) {
    manipulator(Ios());
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(ToBinaryStream &(*manipulator)(ToBinaryStream &)) {
    return manipulator(*this);
}

ToBinaryStream &ToBinaryStream::write(char const *bytes, int count) {
    fStream->write(bytes, count);
    return *this;
}
ToBinaryStream &ToBinaryStream::write(signed char const *bytes, int count) {
    return write(reinterpret_cast<char const *>(bytes), count);
}
ToBinaryStream &ToBinaryStream::write(unsigned char const *bytes, int count) {
    return write(reinterpret_cast<char const *>(bytes), count);
}

int ToBinaryStream::opfx() {
    std::ostream::sentry const ready(*fStream);
    return ready ? 1 : 0;
}
void ToBinaryStream::osfx() {
    if ((fStream->flags() & std::ios_base::unitbuf) && fStream->good() && fStream->rdbuf()->pubsync() == -1)
        fStream->setstate(std::ios_base::badbit);
}
ToBinaryStream &ToBinaryStream::flush() {
    fStream->flush();
    return *this;
}
ToBinaryStream &ToBinaryStream::seekp(std::streamoff position) {
    fStream->seekp(std::ostream::pos_type(position));
    return *this;
}
ToBinaryStream &ToBinaryStream::seekp(std::streamoff offset, std::ios_base::seekdir from) {
    fStream->seekp(offset, from);
    return *this;
}
std::streamoff ToBinaryStream::tellp() {
    return fStream->tellp();
}
ToBinaryStream &ToBinaryStream::put(char c) {
    fStream->put(c);
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(void const *pointer) {
    *fStream << pointer;
    return *this;
}
ToBinaryStream &ToBinaryStream::operator<<(std::streambuf *from) {
    *fStream << from;
    return *this;
}

// Text

ToBinaryStream &operator<<(ToBinaryStream &stream, TString const &text) {
    // This function is not inlined: if it were, the usual case would have to save registers.
    struct TInParts {
        [[gnu::noinline]] static ToBinaryStream &Write(ToBinaryStream &to, TString const &whole) {
            if (to.fail())
                return to;
            unsigned long const length = whole.length();
            to << length << 0ul;
            if (length != 0)
                to.WriteBytes(static_cast<char const *>(whole), length);
            return to;
        }
    };
    if (stream.IsReadyForOutput() && PutText(*stream.Ios().rdbuf(), text, stream.IsNetworkOrder() != 0))
        return stream;
    return TInParts::Write(stream, text);
}

TiBinaryStream &operator>>(TiBinaryStream &stream, TString &text) {
    if (stream.IsReadyForInput()) {
        std::streambuf &buffer = *stream.Ios().rdbuf();
        std::string_view const held = HeldText(buffer, stream.IsNetworkOrder() != 0);
        if (!held.empty()) {
            TBufferArea::Advance(buffer, fsHeaderSize);
            stream.fCount = sizeof(std::uint32_t); // this value remains if there is no memory for the text
            TStringAccess::Assign(text, held);
            TBufferArea::Advance(buffer, held.size());
            stream.fCount = static_cast<std::streamsize>(held.size());
            return stream;
        }
    }
    unsigned long announced = 0;
    unsigned long reserved = 0;
    if (stream.fail() || (stream >> announced).fail() || (stream >> reserved).fail() || announced == 0)
        return stream;

    // The room begins with fsFirstStep bytes, and is doubled when it is full. Therefore a text that does not arrive
    // needs little memory, whatever length was announced.
    std::uint64_t const length = announced;
    std::uint64_t room = std::min(length, fsFirstStep);
    std::uint64_t received = 0;
    TString arrived = TStringAccess::Uninitialized(room);
    for (;;) {
        char *const data = arrived;
        received += stream.ReadBytes(data + received, static_cast<std::size_t>(room - received));
        if (received != room || room == length)
            break;
        room = std::min(length, room * 2);
        TStringAccess::Resize(arrived, room);
    }
    stream.fCount = static_cast<std::streamsize>(received);
    if (received != room)
        TStringAccess::Truncate(arrived, static_cast<unsigned int>(received));
    text = std::move(arrived);
    return stream;
}

// TiBinaryStream and ToBinaryStream: numbers and texts, in host or network order, over a stream that the caller owns.
// Most numbers are copied directly from the get area or to the put area of the stream's buffer, without a virtual call,
// if the area has enough bytes or room and the stream needs no sentry. The memory for a text grows while its bytes
// arrive, because a hostile stream may announce any length. This source has no lock, because a stream belongs to one
// thread.

#include "tuzutil/BINSTRM.h"

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/stream_guard.h"
#include "utility/kernel/string_access.h"

#include <algorithm>
#include <bit>
#include <locale>
#include <utility>

static_assert(std::endian::native == std::endian::little, "network order is the reverse of host order");
static_assert(sizeof(float) == 4 && sizeof(double) == 8);

namespace {

constexpr std::uint64_t fsFirstStep = 0x10000; // the most bytes that are allocated for a text before any has arrived

std::uint16_t Reversed(std::uint16_t bits) noexcept {
    return __builtin_bswap16(bits);
}
std::uint32_t Reversed(std::uint32_t bits) noexcept {
    return __builtin_bswap32(bits);
}
std::uint64_t Reversed(std::uint64_t bits) noexcept {
    return __builtin_bswap64(bits);
}

// Converts a number to its bytes in the stream and back, in host or network order.
template <typename Wire>
struct TEncoding {
    using Bits = std::conditional_t<sizeof(Wire) == 2, std::uint16_t,
                                    std::conditional_t<sizeof(Wire) == 4, std::uint32_t, std::uint64_t>>;

    static void Put(unsigned char *to, Wire value, bool networkOrder) noexcept {
        auto bits = std::bit_cast<Bits>(value);
        if (networkOrder)
            bits = Reversed(bits);
        std::memcpy(to, &bits, sizeof bits);
    }
    static Wire Take(unsigned char const *from, bool networkOrder) noexcept {
        Bits bits;
        std::memcpy(&bits, from, sizeof bits);
        return std::bit_cast<Wire>(networkOrder ? Reversed(bits) : bits);
    }
};

// Returns whether the stream is ready and needs none of the work of a sentry, such as flushing a tied stream.
bool NeedsNoSentry(std::istream const &stream) {
    return stream.good() && !stream.tie();
}
bool NeedsNoSentry(std::ostream const &stream) {
    return stream.good() && !stream.tie() && !(stream.flags() & std::ios_base::unitbuf);
}

} // namespace

// Reading

// Works like istream::read(), but makes no sentry if a sentry would have nothing to do.
std::size_t TiBinaryStream::ReadBytes(void *bytes, std::size_t count) {
    auto *const to = static_cast<char *>(bytes);
    auto const wanted = static_cast<std::streamsize>(count);
    if (!NeedsNoSentry(*fStream)) {
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

// Constructs a sentry, then runs `extract` on the stream's buffer, as an input function of the stream would. Failures
// set the stream's state. They are also thrown if the stream's exception mask says so.
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

// Returns the wrapped stream. gcount() then returns the gcount() of that stream, until this class itself counts a read.
std::istream &TiBinaryStream::Unformatted() noexcept {
    fCount = fsAskStream;
    return *fStream;
}

template <typename Wire, typename Value>
TiBinaryStream &TiBinaryStream::ReadNumber(Value &value) {
    bool const network = IsNetworkOrder() != 0;
    unsigned char bytes[sizeof(Wire)] = {};
    std::size_t got = sizeof bytes;
    if (NeedsNoSentry(*fStream) && TBufferArea::Take(*fStream->rdbuf(), bytes, sizeof bytes))
        fCount = sizeof bytes;
    else
        got = ReadBytes(bytes, sizeof bytes);
    if (network || got == sizeof bytes)
        value = static_cast<Value>(TEncoding<Wire>::Take(bytes, network));
    else
        std::memcpy(&value, bytes, got); // the low bytes have arrived; the other bytes keep their values
    return *this;
}

TiBinaryStream &TiBinaryStream::operator>>(short &value) {
    return ReadNumber<std::int16_t>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(unsigned short &value) {
    return ReadNumber<std::uint16_t>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(int &value) {
    return ReadNumber<std::int32_t>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(unsigned int &value) {
    return ReadNumber<std::uint32_t>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(long &value) {
    return ReadNumber<std::int32_t>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(unsigned long &value) {
    return ReadNumber<std::uint32_t>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(float &value) {
    return ReadNumber<float>(value);
}
TiBinaryStream &TiBinaryStream::operator>>(double &value) {
    return ReadNumber<double>(value);
}

TiBinaryStream &TiBinaryStream::operator>>(long double &value) {
    if (IsNetworkOrder()) {
        unsigned char bytes[2 + sizeof(double)] = {}; // the first two are filler
        ReadBytes(bytes, sizeof bytes);
        value = TEncoding<double>::Take(bytes + 2, true);
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

// Works like ostream::write(), but makes no sentry if a sentry would have nothing to do.
void ToBinaryStream::WriteBytes(void const *bytes, std::size_t count) {
    auto const *const from = static_cast<char const *>(bytes);
    auto const size = static_cast<std::streamsize>(count);
    if (!NeedsNoSentry(*fStream)) {
        fStream->write(from, size);
        return;
    }
    std::streamsize put = 0;
    if (!stream_guard::Guard(*fStream, [&] { put = fStream->rdbuf()->sputn(from, size); }))
        return;
    if (put != size)
        fStream->setstate(std::ios_base::badbit);
}

template <typename Wire, typename Value>
ToBinaryStream &ToBinaryStream::WriteNumber(Value value) {
    if constexpr (sizeof(Value) > sizeof(Wire)) {
        if (static_cast<Value>(static_cast<Wire>(value)) != value) {
            fStream->setstate(std::ios_base::failbit);
            return *this;
        }
    }
    unsigned char bytes[sizeof(Wire)];
    TEncoding<Wire>::Put(bytes, static_cast<Wire>(value), IsNetworkOrder() != 0);
    if (!NeedsNoSentry(*fStream) || !TBufferArea::Put(*fStream->rdbuf(), bytes, sizeof bytes))
        WriteBytes(bytes, sizeof bytes);
    return *this;
}

ToBinaryStream &ToBinaryStream::operator<<(short value) {
    return WriteNumber<std::int16_t>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(unsigned short value) {
    return WriteNumber<std::uint16_t>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(int value) {
    return WriteNumber<std::int32_t>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(unsigned int value) {
    return WriteNumber<std::uint32_t>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(long value) {
    return WriteNumber<std::int32_t>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(unsigned long value) {
    return WriteNumber<std::uint32_t>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(float value) {
    return WriteNumber<float>(value);
}
ToBinaryStream &ToBinaryStream::operator<<(double value) {
    return WriteNumber<double>(value);
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
    if (stream.fail())
        return stream;
    unsigned long const length = text.length();
    stream << length << 0ul;
    if (length != 0)
        stream.WriteBytes(static_cast<char const *>(text), length);
    return stream;
}

TiBinaryStream &operator>>(TiBinaryStream &stream, TString &text) {
    unsigned long announced = 0;
    unsigned long reserved = 0;
    if (stream.fail() || (stream >> announced).fail() || (stream >> reserved).fail() || announced == 0)
        return stream;

    // The room begins with fsFirstStep bytes, and is doubled when it is full. So a text that does not arrive costs
    // little memory, however long it is announced to be.
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

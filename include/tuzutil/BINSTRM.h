#ifndef TUZUTIL_BINSTRM_H
#define TUZUTIL_BINSTRM_H

// TiBinaryStream, ToBinaryStream, TBinaryStream: move typed values over a byte stream, in host or network byte order.
//
// Example:
//     std::stringstream bytes;
//     TBinaryStream stream(bytes, 1);                  // 1: network order
//     stream << 0x01020304 << TString("abc");          // 01 02 03 04, 00 00 00 03 00 00 00 00 'a' 'b' 'c'
//     int number = 0;
//     TString text;
//     stream >> number >> text;
//     if (!stream)
//         std::cerr << "too short\n";
//
// Ownership:  The standard stream that an object wraps is borrowed and must outlive the object. The object has no
//             buffer: a copy is a second object on the same stream, with the same byte order.
// Threads:    One thread at a time may use the wrapped stream and the objects on it.
// Failures:   A failure sets the state bits of the wrapped stream. TOutOfMemory is thrown if there is no memory for a
//             TString that is being read. All other exceptions come from the wrapped stream (see its exceptions()).
// Surprises:
// - A long takes 4 bytes on every target. If its value does not fit in 4 bytes, writing it sets the fail bit and writes
//   nothing.
// - A long double takes 8 bytes in host order and 10 bytes in network order.
// - Characters and zero-terminated text are *formatted*: width, fill and skipws apply, and no length is written. Use
//   put, get, read and write for exact bytes, and TString for text that is to be read again.
// - If the TString in the stream is empty, operator>> leaves its target unchanged.
class TBinaryStream;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <istream>
#include <limits>
#include <ostream>
#include <streambuf>
#include <type_traits>

namespace tuzutil {

// Gives access to the get and put areas of any stream buffer, through pointers to its protected members. Take() and
// Put() do for several characters what sbumpc() and sputc() do for a single one, but make no virtual call. If the get
// area has fewer bytes than are wanted, or the put area has less room, they move nothing and return false.
class TStreamArea : private std::streambuf {
public:
    template <typename Bytes>
    static bool Take(std::streambuf &buffer, Bytes &bytes) noexcept {
        char const *const from = (buffer.*&TStreamArea::gptr)();
        if ((buffer.*&TStreamArea::egptr)() - from < static_cast<std::ptrdiff_t>(sizeof bytes))
            return false;
        (buffer.*&TStreamArea::gbump)(static_cast<int>(sizeof bytes));
        std::memcpy(&bytes, from, sizeof bytes);
        return true;
    }
    template <typename Bytes>
    static bool Put(std::streambuf &buffer, Bytes const &bytes) noexcept {
        char *const to = (buffer.*&TStreamArea::pptr)();
        if ((buffer.*&TStreamArea::epptr)() - to < static_cast<std::ptrdiff_t>(sizeof bytes))
            return false;
        // After the bytes are stored, the compiler would have to load the pointer again.
        (buffer.*&TStreamArea::pbump)(static_cast<int>(sizeof bytes));
        std::memcpy(to, &bytes, sizeof bytes);
        return true;
    }
};

// Converts a number between its value and its bytes in a stream.
template <typename Wire>
struct TWireNumber {
    using Bits = std::conditional_t<sizeof(Wire) == 2, std::uint16_t,
                                    std::conditional_t<sizeof(Wire) == 4, std::uint32_t, std::uint64_t>>;

    static Bits Encode(Wire value, bool networkOrder) noexcept {
        Bits bits;
        std::memcpy(&bits, &value, sizeof bits);
        return networkOrder ? Reversed(bits) : bits;
    }
    static Wire Decode(Bits bits, bool networkOrder) noexcept {
        if (networkOrder)
            bits = Reversed(bits);
        Wire value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

private:
    static Bits Reversed(Bits bits) noexcept {
        if constexpr (sizeof bits == 2)
            return __builtin_bswap16(bits);
        else if constexpr (sizeof bits == 4)
            return __builtin_bswap32(bits);
        else
            return __builtin_bswap64(bits);
    }
};

} // namespace tuzutil

// A value that is stored in network byte order, after `filler` zero bytes. Whatever the byte order of a binary stream
// is, the stream reads and writes these stored bytes unchanged. A long that does not fit in 32 bits becomes the nearest
// value that fits.
template <typename Host, typename Wire, std::size_t filler = 0>
class TNetworkValue {
public:
    TNetworkValue() noexcept = default; // 0
    // Stores the value in network byte order.
    explicit TNetworkValue(Host value) noexcept {
        auto const bits = Number::Encode(Convert(value), true);
        std::memcpy(fBytes + filler, &bits, sizeof bits);
    }
    // Returns the stored value in host byte order.
    operator Host() const noexcept {
        typename Number::Bits bits;
        std::memcpy(&bits, fBytes + filler, sizeof bits);
        return static_cast<Host>(Number::Decode(bits, true));
    }

private:
    using Number = tuzutil::TWireNumber<Wire>;

    static Wire Convert(Host value) noexcept {
        if constexpr (std::is_integral_v<Host> && sizeof(Host) > sizeof(Wire)) {
            using Limits = std::numeric_limits<Wire>;
            if (value > static_cast<Host>(Limits::max()))
                return Limits::max();
            if (value < static_cast<Host>(Limits::min()))
                return Limits::min();
        }
        return static_cast<Wire>(value);
    }

    unsigned char fBytes[filler + sizeof(Wire)] = {};
};

// These types store a value in as many bytes as a stream in network order does: 2 for a short, 4 for an int, a long or
// a float, 8 for a double, and 10 for a long double.
using TNetworkShort = TNetworkValue<short, std::int16_t>;
using TNetworkUnsignedShort = TNetworkValue<unsigned short, std::uint16_t>;
using TNetworkInt = TNetworkValue<int, std::int32_t>;
using TNetworkUnsigned = TNetworkValue<unsigned int, std::uint32_t>;
using TNetworkLong = TNetworkValue<long, std::int32_t>;
using TNetworkUnsignedLong = TNetworkValue<unsigned long, std::uint32_t>;
using TNetworkFloat = TNetworkValue<float, float>;
using TNetworkDouble = TNetworkValue<double, double>;
using TNetworkLongDouble = TNetworkValue<long double, double, 2>;

static_assert(sizeof(TNetworkShort) == 2 && sizeof(TNetworkUnsignedShort) == 2);
static_assert(sizeof(TNetworkInt) == 4 && sizeof(TNetworkUnsigned) == 4 && sizeof(TNetworkLong) == 4);
static_assert(sizeof(TNetworkUnsignedLong) == 4 && sizeof(TNetworkFloat) == 4);
static_assert(sizeof(TNetworkDouble) == 8 && sizeof(TNetworkLongDouble) == 10);

// The base of the binary streams. It holds the byte order, and gives access to the state and format of the wrapped
// stream.
class TUZUTIL_API VBinaryStreamBase {
public:
    // Wraps a stream, which must outlive this object. If `networkOrder` is not 0, numbers are in network byte order.
    // Otherwise they are in host byte order.
    explicit VBinaryStreamBase(std::ios &stream, int networkOrder = 0) noexcept
        : fIos(&stream), fOrder(networkOrder ? fsNetwork : 0) {}

    // These functions set the byte order of the values that are read and written from now on.
    void NetworkOrder() noexcept { fOrder |= fsNetwork; }
    void HostOrder() noexcept { fOrder &= ~fsNetwork; }

    // These functions return 1 or 0.
    int IsNetworkOrder() const noexcept { return static_cast<int>(fOrder & fsNetwork); }
    int IsHostOrder() const noexcept { return IsNetworkOrder() ^ 1; }

    // These functions call those of the same name in the wrapped stream. An argument of type `long` is a combination of
    // std::ios_base::fmtflags.
    std::ios_base::fmtflags flags() const { return fIos->flags(); }
    std::ios_base::fmtflags flags(long value) { return fIos->flags(Format(value)); }
    std::ios_base::fmtflags setf(long value) { return fIos->setf(Format(value)); }
    std::ios_base::fmtflags setf(long value, long mask) { return fIos->setf(Format(value), Format(mask)); }
    void unsetf(long mask) { fIos->unsetf(Format(mask)); }
    int width() const { return static_cast<int>(fIos->width()); }
    int width(int value) { return static_cast<int>(fIos->width(value)); }
    std::ostream *tie() const { return fIos->tie(); }
    std::ostream *tie(std::ostream *stream) { return fIos->tie(stream); }
    char fill() const { return fIos->fill(); }
    char fill(char value) { return fIos->fill(value); }
    int precision() const { return static_cast<int>(fIos->precision()); }
    int precision(int value) { return static_cast<int>(fIos->precision(value)); }
    std::ios_base::iostate rdstate() const { return fIos->rdstate(); }
    operator void *() const { return fIos->fail() ? nullptr : const_cast<VBinaryStreamBase *>(this); } // null if fail()
    explicit operator bool() const { return !fIos->fail(); }
    bool operator!() const { return fIos->fail(); }
    bool eof() const { return fIos->eof(); }
    bool fail() const { return fIos->fail(); }
    bool bad() const { return fIos->bad(); }
    bool good() const { return fIos->good(); }
    void clear(int state = 0) { fIos->clear(static_cast<std::ios_base::iostate>(state)); } // sets exactly this state

protected:
    std::ios &Ios() const noexcept { return *fIos; } // the wrapped stream
    // These functions return whether the stream is good() and needs no sentry. Input needs none if no other stream is
    // tied to the stream. Output needs none if, in addition, std::unitbuf is not set.
    bool IsReadyForInput() const { return fIos->good() && !fIos->tie(); }
    bool IsReadyForOutput() const { return IsReadyForInput() && !(fIos->flags() & std::ios_base::unitbuf); }

private:
    static constexpr std::uint32_t fsNetwork = 1;

    static std::ios_base::fmtflags Format(long value) { return static_cast<std::ios_base::fmtflags>(value); }

    std::ios *fIos;
    std::uint32_t fOrder; // bit 0: network order
};

// Reads values from an istream. If the data end within a number, the missing bytes of the number are 0 in network
// order. In host order, and in a TNetworkValue, the missing bytes keep their old values.
class TUZUTIL_API TiBinaryStream : public virtual VBinaryStreamBase {
public:
    // Wraps a stream, which must outlive this object. If `networkOrder` is not 0, numbers are in network byte order.
    // Otherwise they are in host byte order.
    explicit TiBinaryStream(std::istream &stream, int networkOrder = 0) noexcept
        : VBinaryStreamBase(stream, networkOrder), fStream(&stream) {}

    // These operators read a number: a short from 2 bytes, a double from 8 bytes, and every other number from 4 bytes.
    // If a long has more than 4 bytes, a signed value is sign-extended.
    TUZUTIL_INLINE TiBinaryStream &operator>>(short &value) { return ReadNumber<std::int16_t>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(unsigned short &value) { return ReadNumber<std::uint16_t>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(int &value) { return ReadNumber<std::int32_t>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(unsigned int &value) { return ReadNumber<std::uint32_t>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(long &value) { return ReadNumber<std::int32_t>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(unsigned long &value) { return ReadNumber<std::uint32_t>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(float &value) { return ReadNumber<float>(value); }
    TUZUTIL_INLINE TiBinaryStream &operator>>(double &value) { return ReadNumber<double>(value); }
    // Reads a double of 8 bytes. In network order, two more bytes precede it, and are skipped.
    TiBinaryStream &operator>>(long double &value);
    // Reads the bytes unchanged, because they are in network order already.
    template <typename Host, typename Wire, std::size_t filler>
    TiBinaryStream &operator>>(TNetworkValue<Host, Wire, filler> &value) {
        ReadBytes(&value, sizeof value);
        return *this;
    }

    // These functions read formatted input: they skip leading white space if skipws is set.
    TiBinaryStream &operator>>(char &value);
    TiBinaryStream &operator>>(signed char &value);
    TiBinaryStream &operator>>(unsigned char &value);
    // These operators read a word and end it with a zero. If a width is set, the word has at most width() - 1
    // characters. A word that is read into an array also ends at the size of the array. If the target is a pointer and
    // no width is set, nothing limits the length: never read data from strangers in this way.
    template <typename Char, std::size_t size, typename = std::enable_if_t<sizeof(Char) == 1>>
    TiBinaryStream &operator>>(Char (&text)[size]) {
        return ReadWord(reinterpret_cast<char *>(text), size);
    }
    template <typename Pointer,
              typename = std::enable_if_t<std::is_same_v<Pointer, char *> || std::is_same_v<Pointer, signed char *> ||
                                          std::is_same_v<Pointer, unsigned char *>>>
    TiBinaryStream &operator>>(Pointer const &text) {
        return ReadWord(reinterpret_cast<char *>(text), static_cast<std::size_t>(-1));
    }

    // These operators call the manipulator: with this object if the manipulator takes a binary stream, and otherwise
    // with the wrapped stream.
    TiBinaryStream &operator>>(std::istream &(*manipulator)(std::istream &));
    TiBinaryStream &operator>>(std::ios &(*manipulator)(std::ios &));
    TiBinaryStream &operator>>(std::ios_base &(*manipulator)(std::ios_base &));
    TiBinaryStream &operator>>(TiBinaryStream &(*manipulator)(TiBinaryStream &));

    // These functions call those of the same name in the wrapped stream, unless they have a comment of their own.
    TiBinaryStream &read(char *bytes, int count);
    TiBinaryStream &read(signed char *bytes, int count);
    TiBinaryStream &read(unsigned char *bytes, int count);
    // Prepares the stream for input, as a std::istream::sentry does. Returns 1 if the stream is ready for input.
    int ipfx(int keepWhiteSpace = 0);
    TiBinaryStream &seekg(std::streamoff position);
    TiBinaryStream &seekg(std::streamoff offset, std::ios_base::seekdir from);
    std::streamoff tellg();
    // Reads at most `count` - 1 characters and leaves the delimiter in the stream. Unlike std::istream::get(), this
    // function does not fail at an empty line.
    TiBinaryStream &get(char *text, int count, char delimiter = '\n');
    TiBinaryStream &getline(char *text, int count, char delimiter = '\n');
    TiBinaryStream &get(std::streambuf &to, char delimiter = '\n');
    TiBinaryStream &get(char &c);
    int get();
    int peek();
    TiBinaryStream &ignore(int count = 1, int delimiter = -1);
    int gcount() const;
    TiBinaryStream &putback(char c);
    int sync();
    TiBinaryStream &operator>>(std::streambuf *to);

private:
    friend TUZUTIL_API TiBinaryStream &operator>>(TiBinaryStream &stream, TString &text);

    static constexpr std::streamsize fsAskStream = -1;

    // Copies the number from the get area of the stream's buffer if all bytes are there and no sentry is needed.
    template <typename Wire, typename Value>
    TiBinaryStream &ReadNumber(Value &value) {
        using Number = tuzutil::TWireNumber<Wire>;
        bool const network = IsNetworkOrder() != 0;
        typename Number::Bits bits;
        if (IsReadyForInput() && tuzutil::TStreamArea::Take(*Ios().rdbuf(), bits)) {
            fCount = sizeof bits;
            value = static_cast<Value>(Number::Decode(bits, network));
            return *this;
        }
        // This variable is another one, because a variable whose address is passed on has to be kept in memory.
        typename Number::Bits read = 0;
        std::size_t const got = ReadBytes(&read, sizeof read);
        if (network || got == sizeof read)
            value = static_cast<Value>(Number::Decode(read, network));
        else
            std::memcpy(&value, &read, got); // the low bytes have arrived; the other bytes keep their values
        return *this;
    }
    TiBinaryStream &ReadWord(char *text, std::size_t size);
    std::size_t ReadBytes(void *bytes, std::size_t count);
    template <typename Work>
    void Extract(bool keepWhiteSpace, Work extract);
    std::istream &Unformatted() noexcept;

    std::istream *fStream;
    std::streamsize fCount = fsAskStream; // bytes of the last read, or fsAskStream if the wrapped stream counted them
};

// Writes values to an ostream.
class TUZUTIL_API ToBinaryStream : public virtual VBinaryStreamBase {
public:
    // Wraps a stream, which must outlive this object. If `networkOrder` is not 0, numbers are in network byte order.
    // Otherwise they are in host byte order.
    explicit ToBinaryStream(std::ostream &stream, int networkOrder = 0) noexcept
        : VBinaryStreamBase(stream, networkOrder), fStream(&stream) {}

    // These operators write a number: a short as 2 bytes, a double as 8 bytes, and every other number as 4 bytes. If a
    // long does not fit in 4 bytes, the operators set the fail bit and write nothing.
    TUZUTIL_INLINE ToBinaryStream &operator<<(short value) { return WriteNumber<std::int16_t>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(unsigned short value) { return WriteNumber<std::uint16_t>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(int value) { return WriteNumber<std::int32_t>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(unsigned int value) { return WriteNumber<std::uint32_t>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(long value) { return WriteNumber<std::int32_t>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(unsigned long value) { return WriteNumber<std::uint32_t>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(float value) { return WriteNumber<float>(value); }
    TUZUTIL_INLINE ToBinaryStream &operator<<(double value) { return WriteNumber<double>(value); }
    ToBinaryStream &operator<<(long double value); // as a double; in network order, two zero bytes precede it
    // Writes the stored bytes unchanged.
    template <typename Host, typename Wire, std::size_t filler>
    ToBinaryStream &operator<<(TNetworkValue<Host, Wire, filler> const &value) {
        WriteBytes(&value, sizeof value);
        return *this;
    }

    // These functions write formatted output: width and fill apply. A text is written without its terminating zero. A
    // null pointer writes nothing.
    ToBinaryStream &operator<<(char value);
    ToBinaryStream &operator<<(signed char value);
    ToBinaryStream &operator<<(unsigned char value);
    ToBinaryStream &operator<<(char const *text);
    ToBinaryStream &operator<<(signed char const *text);
    ToBinaryStream &operator<<(unsigned char const *text);

    // These operators call the manipulator: with this object if the manipulator takes a binary stream, and otherwise
    // with the wrapped stream.
    ToBinaryStream &operator<<(std::ostream &(*manipulator)(std::ostream &));
    ToBinaryStream &operator<<(std::ios &(*manipulator)(std::ios &));
    ToBinaryStream &operator<<(std::ios_base &(*manipulator)(std::ios_base &));
    ToBinaryStream &operator<<(ToBinaryStream &(*manipulator)(ToBinaryStream &));

    // These functions call those of the same name in the wrapped stream, unless they have a comment of their own.
    ToBinaryStream &write(char const *bytes, int count);
    ToBinaryStream &write(signed char const *bytes, int count);
    ToBinaryStream &write(unsigned char const *bytes, int count);
    int opfx();  // flushes the tied stream; returns 1 if the stream is ready for output
    void osfx(); // flushes the stream if unitbuf is set
    ToBinaryStream &flush();
    ToBinaryStream &seekp(std::streamoff position);
    ToBinaryStream &seekp(std::streamoff offset, std::ios_base::seekdir from);
    std::streamoff tellp();
    ToBinaryStream &put(char c);
    ToBinaryStream &operator<<(void const *pointer);
    ToBinaryStream &operator<<(std::streambuf *from);

private:
    friend TUZUTIL_API ToBinaryStream &operator<<(ToBinaryStream &stream, TString const &text);

    // Copies the number to the put area of the stream's buffer if there is room and no sentry is needed.
    template <typename Wire, typename Value>
    ToBinaryStream &WriteNumber(Value value) {
        if constexpr (sizeof(Value) > sizeof(Wire)) {
            if (static_cast<Value>(static_cast<Wire>(value)) != value) {
                Ios().setstate(std::ios_base::failbit);
                return *this;
            }
        }
        auto const bits = tuzutil::TWireNumber<Wire>::Encode(static_cast<Wire>(value), IsNetworkOrder() != 0);
        if (IsReadyForOutput() && tuzutil::TStreamArea::Put(*Ios().rdbuf(), bits))
            return *this;
        // A variable whose address is passed on has to be kept in memory. So only a copy is passed on.
        auto const written = bits;
        WriteBytes(&written, sizeof written);
        return *this;
    }
    void WriteBytes(void const *bytes, std::size_t count);

    std::ostream *fStream;
};

class TUZUTIL_API TBinaryStream : public TiBinaryStream, public ToBinaryStream {
public:
    // Wraps a stream, which must outlive this object. If `networkOrder` is not 0, numbers are in network byte order.
    // Otherwise they are in host byte order.
    explicit TBinaryStream(std::iostream &stream, int networkOrder = 0) noexcept
        : VBinaryStreamBase(stream, networkOrder), TiBinaryStream(stream, networkOrder),
          ToBinaryStream(stream, networkOrder) {}
};

// Writes the length in bytes and a reserved 0, both as unsigned long, and then the bytes. The string's flags are not
// written.
TUZUTIL_API ToBinaryStream &operator<<(ToBinaryStream &stream, TString const &text);
// Reads a TString. Whatever length the stream announces, the function allocates at most 64 KiB at first, and more only
// as bytes arrive. If the data end early, the text consists of the bytes that arrived. The target then has no flags,
// and shares its buffer with no other string. If the length is 0, or if the length or the reserved 0 cannot be read,
// the target stays unchanged.
TUZUTIL_API TiBinaryStream &operator>>(TiBinaryStream &stream, TString &text);

#endif

#ifndef TUZUTIL_TXTMSG_H
#define TUZUTIL_TXTMSG_H

// TTextMessage: a translatable text with printf conversions and typed arguments, formatted when it is first asked for.
//
// Example:
//     static TTextMessage::StoreID const fsStore(TString("Mail"), ExplicitInit);
//     TTextMessage message(fsStore, 1, 17, "%2$s has %1$d messages", 5, "inbox");
//     std::cout << message.QueryMessage() << '\n';   // the store's text of set 1, number 17; or "inbox has 5 messages"
//
// Ownership:  texts and arguments are copied. A pointer from operator char const * lives as long as the message.
// Threads:    one thread at a time, also for reading: the first request formats.
// Failures:   formats and arguments never throw: a conversion over a value of another kind, over a missing one, or with
//             a bad width prints zero or a null string; a store that throws has no text. Only operator[] throws,
//             TInvalidParameter "Out of Range" (ID 1, recoverable), and copying an argument of a kind that does not
//             exist.
// Formats:    d i o u x X c s S p f F e E g G n, with the flags "-", "+", " ", "#", "0", a width and a precision, of an
//             argument too ("*", "*2$"), and one of h, l, L. S takes a text in 16-bit formats only. n stores nothing:
//             it prints as an unknown conversion does, with "?" as its character. Every other conversion is unknown:
//             its character is literal text and it takes no argument, so that in "%zu %s" and "%lld %s" the %s takes
//             the first argument, the number, and prints "(null)". Write %u and %d: integers have 32 bits.
// Bounds:     widths and precisions count up to 64 Ki. What is received is the format, the arguments' texts, and 32
//             bytes for each argument. The text may have 256 KiB more than 16 times that, up to 16 MiB, or 4 times that
//             if it is more. What comes after that is dropped, and neither formatted nor reported. A 16-bit text that
//             needs more characters than ValidateArgsW() returns keeps its first one.
// Surprises:  once formatted the text stays, whatever SetArgs() does; a copy formats afresh. A text that comes out
//             empty is one zero character. A 16-bit default text comes back from a stream as its bytes, for the form
//             there tells no kind. Where an argument list is passed by pointers, nil ends it like fsEndOfArgs. An
//             unknown conversion prints as the platform's own printf prints it; %p is always 8 upper-case digits, 16
//             where pointers are longer. On Windows the flag "0" fills texts and characters with zeros too.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TSTRING.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

class TMessageFaults;

enum TExplicitInit { ExplicitInit };

class TUZUTIL_API TTextMessage {
public:
    // The name of a message store; empty for a message that belongs to none.
    class TUZUTIL_API StoreID : public TString {
    public:
        StoreID() noexcept = default;
        explicit StoreID(TString const &name, TExplicitInit) noexcept : TString(name) {}

        int IsEqual(StoreID const &other) const noexcept { return isEqual(other); }
    };

    // The values that a rewritten format takes, one after another: 4 bytes for a width, a precision, an integer or a
    // character, 8 for a real, a pointer's bytes for a text or a pointer. Texts are borrowed from the message.
    class TUZUTIL_API CharP {
    public:
        operator char const *() const noexcept { return fBytes; }
        unsigned long QueryLength() const noexcept { return fUsed; }

    private:
        friend class TMessageBlock;

        TString fBytes;
        std::uint32_t fUsed = 0;
    };

    static TagVar const fsEndOfArgs; // ends a list of arguments

    TTextMessage() noexcept = default;

    // A narrow or 16-bit default text, for a store's message behind the store, the set and the number, then the
    // arguments: values; or pointers to values, up to a null pointer or a value of kind nil or end-of-arguments; or an
    // array of such pointers.
    template <typename Char, typename... Arguments, typename = std::enable_if_t<std::is_integral_v<Char>>>
    TTextMessage(Char const *text, Arguments const &...arguments) : fDefaultText(text) {
        SetArgs(arguments...);
    }
    template <typename Char, typename... Arguments, typename = std::enable_if_t<std::is_integral_v<Char>>>
    TTextMessage(StoreID const &store, long set, long number, Char const *text, Arguments const &...arguments)
        : TTextMessage(store, set, number, TString(text)) {
        SetArgs(arguments...);
    }
    // The same with the default text in a string, narrow or 16-bit as its flag says. A StoreID is no such text.
    template <typename Text, typename... Arguments, std::enable_if_t<std::is_same_v<Text, TString>, int> = 0>
    TTextMessage(Text const &text, Arguments const &...arguments) : fDefaultText(text) {
        SetArgs(arguments...);
    }
    template <typename Text, typename First, typename... Arguments,
              std::enable_if_t<std::is_same_v<Text, TString>, int> = 0>
    TTextMessage(StoreID const &store, long set, long number, Text const &text, First const &first,
                 Arguments const &...arguments)
        : TTextMessage(store, set, number, text) {
        SetArgs(first, arguments...);
    }
    TTextMessage(StoreID const &store, long set, long number, TString const &text) noexcept;

    // Copies take all but the formatted text.
    TTextMessage(TTextMessage const &other);
    // The former arguments live on until the destructor: references to them stay good.
    TTextMessage &operator=(TTextMessage const &other);
    ~TTextMessage() = default;

    // Replaces the arguments; the formatted text stays. Any number of values, or of pointers that end as above.
    template <typename... Arguments>
    void SetArgs(Arguments const &...arguments) {
        if constexpr (IsPointerList<Arguments...>())
            SetList({Pointer(arguments)...});
        else
            SetValues(static_cast<TagVar const &>(arguments)...);
    }
    void SetArgs(TagVar const *const *array);
    void SetArgs(TagVar const **array) { SetArgs(const_cast<TagVar const *const *>(array)); }
    void SetArgs(TagVar **array) { SetArgs(const_cast<TagVar const *const *>(array)); }

    // The argument, counted from 0.
    TagVar &operator[](unsigned int index) { return fArguments[CheckedIndex(index)]; }
    TagVar const &operator[](unsigned int index) const { return fArguments[CheckedIndex(index)]; }
    template <typename I, typename = std::enable_if_t<std::is_integral_v<I>>>
    TagVar &operator[](I index) {
        return fArguments[CheckedIndex(Index(index))];
    }
    template <typename I, typename = std::enable_if_t<std::is_integral_v<I>>>
    TagVar const &operator[](I index) const {
        return fArguments[CheckedIndex(Index(index))];
    }

    TString const &QueryMessage() const;
    operator char const *() const { return QueryMessage(); }
    operator TString() const { return QueryMessage(); }
    operator TagVar() const { return TagVar(QueryMessage()); }

    int UserDisplayable() const noexcept { return fStore.length() != 0; } // 1 for a message of a store
    void SetDebugging(char const *file, unsigned long line);

    StoreID const &QueryStoreID() const noexcept { return fStore; }
    long QuerySetID() const noexcept { return fSet; }
    long QueryMessageID() const noexcept { return fNumber; }
    unsigned long QueryNumberArgs() const noexcept { return fCount; }
    TString const &QueryFile() const noexcept { return fFile; }
    unsigned long QueryLine() const noexcept { return fLine; }

    // A narrow or 16-bit format with the arguments' numbers and size modifiers taken out, as the platform's printf
    // takes it, at least 11 characters of zeros behind it unless it has grown; and the values that it uses. Returns the
    // characters that the text may need.
    unsigned long ValidateArgs(TString const &format, TString &out, CharP &block) const;
    unsigned long ValidateArgsW(TString const &format, TString &out, CharP &block) const;

    // The formatted text is not sent, nor where the message was raised. Reading stops where the stream fails, and keeps
    // what came before; an empty text in the stream leaves the message's own.
    ToBinaryStream &WriteToBinaryStream(ToBinaryStream &out) const;
    TiBinaryStream &ReadFromBinaryStream(TiBinaryStream &in);

private:
    friend class TMessageFaults;

    // Whether the first argument begins a list of pointers.
    template <typename First, typename... Rest>
    static constexpr bool IsPointerList() {
        return std::is_convertible_v<First, TagVar const *> && !std::is_integral_v<First>;
    }
    template <typename... None, typename = std::enable_if_t<sizeof...(None) == 0>>
    static constexpr bool IsPointerList(int = 0) {
        return false;
    }
    static TagVar const *Pointer(TagVar const *value) noexcept { return value; }
    // 0 or NULL ends a list; a value among pointers does not compile.
    template <typename I, typename = std::enable_if_t<std::is_integral_v<I>>>
    static TagVar const *Pointer(I) noexcept {
        return nullptr;
    }

    template <typename... Values>
    void SetValues(Values const &...values) {
        TagVar const *const pointers[] = {&values..., nullptr};
        TakeArguments(pointers, sizeof...(values));
    }
    template <std::size_t count>
    void SetList(TagVar const *const (&pointers)[count]) {
        TakeArguments(pointers, CountList(pointers, count));
    }
    template <typename I>
    static unsigned int Index(I index) noexcept {
        return index < I() || static_cast<std::uint64_t>(index) > 0xFFFFFFFFu ? ~0u : static_cast<unsigned int>(index);
    }

    static std::size_t CountList(TagVar const *const *pointers, std::size_t limit) noexcept;
    void TakeArguments(TagVar const *const *pointers, std::size_t count);
    void Reserve(std::uint32_t capacity);
    std::uint32_t CheckedIndex(unsigned int index) const;
    TString StoredText() const noexcept;

    StoreID fStore;
    std::int32_t fSet = 0;
    std::int32_t fNumber = 0;
    TString fDefaultText;
    mutable TString fFormatted; // empty until it is asked for
    std::uint32_t fCount = 0;
    std::uint32_t fCapacity = 0;
    std::unique_ptr<TagVar[]> fArguments;
    TString fFile;
    std::uint32_t fLine = 0;
    std::vector<std::unique_ptr<TagVar[]>> fFormerArguments; // before assignments
};

#endif

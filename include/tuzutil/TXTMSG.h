#ifndef TUZUTIL_TXTMSG_H
#define TUZUTIL_TXTMSG_H

// TTextMessage: a translatable text with printf conversions and typed arguments, formatted on first use.
//
// Example:
//     static TTextMessage::StoreID const fsStore(TString("Mail"), ExplicitInit);
//     TTextMessage message(fsStore, 1, 17, "%2$s has %1$d messages", 5, "inbox");
//     std::cout << message.QueryMessage() << '\n';   // the store's text of set 1, number 17; or "inbox has 5 messages"
//
// Ownership:  Texts and arguments are copied. A pointer from operator char const * is valid until the message is
//             destroyed or changed.
// Threads:    One thread at a time may use a message, even for reading, because the first query makes the text.
// Failures:   Faulty formats and arguments do not throw: the comment of QueryMessage() says what is printed.
//             operator[] throws TInvalidParameter "Out of Range" (ID 1, recoverable). Copying an argument of an unknown
//             kind throws TInvalidRequest "unknown type". A lack of memory throws TOutOfMemory or std::bad_alloc.
// Surprises:
// - SetArgs() does not change a text that has been made. A copy of the message makes its own text.
// - An empty text becomes a text of one zero character.
// - In a list of pointers to arguments, a value of kind nil ends the list as fsEndOfArgs does.
// - A 16-bit default text is read back from a stream as narrow bytes, because a stream does not store flags.
// - The length of an integer follows from the argument: "%d" prints 64-bit integers whole.
class TTextMessage;

#include "tuzutil/EXPORT.h"
#include "tuzutil/FORMAT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TSTRING.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

class TMessageFaults;
class TTracePoint;

// Marks the construction of a StoreID from a text, so that no text becomes a StoreID by mistake.
enum TExplicitInit { ExplicitInit };

class TUZUTIL_API TTextMessage {
public:
    // The name of a message store; empty for a message without a store.
    class TUZUTIL_API StoreID : public TString {
    public:
        StoreID() noexcept = default;
        explicit StoreID(TString const &name, TExplicitInit) noexcept : TString(name) {} // takes the name

        int IsEqual(StoreID const &other) const noexcept { return isEqual(other); } // 1 or 0
    };

    // The values that a rewritten format takes, one after another, see ValidateArgs(). A width, a precision, an integer
    // or a character has 4 bytes. A real or a 64-bit integer has 8 bytes. A text or a pointer has the size of a
    // pointer. Texts are borrowed from the message.
    class TUZUTIL_API CharP {
    public:
        operator char const *() const noexcept { return fBytes; }    // the first byte
        unsigned long QueryLength() const noexcept { return fUsed; } // bytes

    private:
        friend class TMessageBlock;

        TString fBytes;
        std::uint32_t fUsed = 0;
    };

    static TagVar const fsEndOfArgs; // ends a list of arguments

    TTextMessage() noexcept {} // without a store, a text and arguments

    // If the message has a store, these constructors take the store, the set and the number first. Then they take a
    // narrow or 16-bit default text, and then the arguments. The arguments are either values, or pointers to values, or
    // an array of such pointers. A list of pointers ends at a null pointer, or at a value of kind nil or endOfArgs.
    template <typename Char, typename... Arguments, typename = std::enable_if_t<std::is_integral_v<Char>>>
    TTextMessage(Char const *text, Arguments const &...arguments) : fDefaultText(text) {
        SetArgs(arguments...);
    }
    template <typename Char, typename... Arguments, typename = std::enable_if_t<std::is_integral_v<Char>>>
    TTextMessage(StoreID const &store, long set, long number, Char const *text, Arguments const &...arguments)
        : TTextMessage(store, set, number, TString(text)) {
        SetArgs(arguments...);
    }
    // These constructors take the default text as a TString, which is 16-bit if its Unicode flag is set. The type must
    // be TString itself, not StoreID.
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

    // Makes a message of a literal format, which the compiler checks against the arguments, see FORMAT.h.
    template <typename... Arguments>
    static TTextMessage Make(TFormatOf<Arguments...> format, Arguments const &...arguments) {
        TTextMessage message(format.QueryText());
        message.SetValues(arguments...);
        return message;
    }

    // A copy has everything except the text that was made.
    TTextMessage(TTextMessage const &other);
    // An assignment keeps the former arguments until the message is destroyed. So references to the former arguments
    // remain valid.
    TTextMessage &operator=(TTextMessage const &other);
    ~TTextMessage();

    // Replaces the arguments, but not a text that has been made. Takes the arguments in the same forms as the
    // constructors.
    template <typename... Arguments>
    void SetArgs(Arguments const &...arguments) {
        if constexpr (IsPointerList<Arguments...>())
            SetList({Pointer(arguments)...});
        else
            SetValues(arguments...);
    }
    // These functions take an array of pointers to values. The list ends as in a constructor.
    void SetArgs(TagVar const *const *array);
    void SetArgs(TagVar const **array) { SetArgs(const_cast<TagVar const *const *>(array)); }
    void SetArgs(TagVar **array) { SetArgs(const_cast<TagVar const *const *>(array)); }

    // These operators return the argument with this index, counted from 0.
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

    // Returns the text, which the first call makes.
    //
    // Formats. The conversions are d i o u x X c s S p f F e E g G a A n. Each may have the flags "-", "+", " ", "#",
    // "0", a width, a precision, and one of h, l, L. The conversions of integers may also have ll, j, z or t, which
    // extend 32-bit integers to 64 bits. If the argument is a text or missing, a conversion with ll, j, z or t counts
    // as unknown (see below). A width or precision may be an argument ("*", "*2$"). "%S" takes a text only in 16-bit
    // formats. "%n" takes its argument and stores nothing. It is printed as an unknown conversion (see below), with "?"
    // instead of "n". "%p" prints 8 upper-case hexadecimal digits, or 16 if pointers have 64 bits. On Windows, the flag
    // "0" also fills texts and characters with zeros.
    //
    // Every other conversion is unknown. An unknown conversion takes no argument, and is printed as the system's own
    // printf prints it. Therefore, in "%hhd %s", the %s takes the first argument, the number, and prints "(null)".
    //
    // Faults. A conversion prints "?" for an argument of the kind TagVar::unshown, which has no value, and for a 64-bit
    // integer that the conversion does not take. With ll, j, z or t, a conversion also prints "?" for an argument that
    // is neither an integer nor a text. Otherwise, if the argument of a conversion is missing or of a kind that it does
    // not take, it prints zero or a null string. A width or precision is 0 if its argument is missing or is not a
    // 32-bit integer. If a store throws, the message behaves as if the store did not have the text.
    //
    // Limits. A width or precision above 64 Ki counts as 64 Ki. The size of the input is that of the format and of the
    // texts of the arguments, plus 32 bytes for each argument. The text may have 16 times this size plus 256 KiB.
    // However, the text never exceeds 16 MiB, or 4 times this size if that is more than 16 MiB. The rest of the text is
    // dropped without a report. If a 16-bit text has more characters than the number that ValidateArgsW() returns for
    // its format, it keeps only its first character.
    TString const &QueryMessage() const;
    // These operators return the result of QueryMessage().
    operator char const *() const { return QueryMessage(); }
    operator TString() const { return QueryMessage(); }
    operator TagVar() const { return TagVar(QueryMessage()); }

    // Messages cannot be compared: compare their texts. Without these declarations, the compiler would convert the
    // messages to pointers and compare addresses.
    template <typename Message>
    friend std::enable_if_t<std::is_same_v<Message, TTextMessage>> operator==(Message const &,
                                                                              Message const &) = delete;
    template <typename Message>
    friend std::enable_if_t<std::is_same_v<Message, TTextMessage>> operator!=(Message const &,
                                                                              Message const &) = delete;

    int UserDisplayable() const noexcept { return fStore.length() != 0; } // 1 for a message of a store
    // Sets the source file and the line that trace entries name. A line has 32 bits.
    void SetDebugging(char const *file, unsigned long line);

    StoreID const &QueryStoreID() const noexcept { return fStore; }   // empty for a message without a store
    long QuerySetID() const noexcept { return fSet; }                 // 0 for a message without a store
    long QueryMessageID() const noexcept { return fNumber; }          // 0 for a message without a store
    unsigned long QueryNumberArgs() const noexcept { return fCount; } // the number of arguments
    TString const &QueryFile() const noexcept { return fFile; }       // null until SetDebugging() is called
    unsigned long QueryLine() const noexcept { return fLine; }        // 0 until SetDebugging() is called

    // These functions rewrite a narrow or 16-bit format for the system's printf, and store the new format in `out`. The
    // new format has no numbers of arguments, and has other size modifiers. The functions store the values that the new
    // format takes in `block`. They return the number of characters that the text may need. Zero characters follow the
    // new format in `out`. If the new format is N characters longer than the old one, and N is from 1 to 11, the number
    // of zero characters is 11 - N. Otherwise it is at least 11.
    unsigned long ValidateArgs(TString const &format, TString &out, CharP &block) const;
    unsigned long ValidateArgsW(TString const &format, TString &out, CharP &block) const;

    // These functions write and read the message (docs/formats.md). The formatted text is not written, and the source
    // file and the line are written as an empty text and 0. If the stream fails, reading stops, and the parts that were
    // read before remain. If a text in the stream is empty, the message keeps the text that it had in this place.
    ToBinaryStream &WriteToBinaryStream(ToBinaryStream &out) const;
    TiBinaryStream &ReadFromBinaryStream(TiBinaryStream &in);

private:
    friend class TMessageFaults;
    friend class TTracePoint;

    // Returns whether the first argument begins a list of pointers.
    template <typename First, typename... Rest>
    static constexpr bool IsPointerList() {
        return std::is_convertible_v<First, TagVar const *> && !std::is_integral_v<First>;
    }
    template <typename... None, typename = std::enable_if_t<sizeof...(None) == 0>>
    static constexpr bool IsPointerList(int = 0) {
        return false;
    }
    static TagVar const *Pointer(TagVar const *value) noexcept { return value; }
    // An integer among pointers, such as 0 or NULL, ends the list, whatever its value is. A value of another type does
    // not compile.
    template <typename I, typename = std::enable_if_t<std::is_integral_v<I>>>
    static TagVar const *Pointer(I) noexcept {
        return nullptr;
    }

    // The new arguments are made before the old ones are destroyed, because the new ones may be copies of the old ones.
    template <typename... Values>
    void SetValues(Values const &...values) {
        if constexpr (sizeof...(Values) == 0) {
            TakeOver(nullptr, 0);
        } else {
            TagVar fresh[] = {Argument(values)...};
            TakeOver(fresh, sizeof...(values));
        }
    }
    template <typename T>
    static TagVar Argument(T const &value) {
        if constexpr (std::is_arithmetic_v<T>)
            return TagVar(value);
        else if constexpr (std::is_same_v<T, TString> || std::is_same_v<std::decay_t<T>, char *> ||
                           std::is_same_v<std::decay_t<T const &>, char const *>)
            return TagVar::Keep(value);
        else
            return TagVar::Keep(static_cast<TagVar const &>(value));
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
    void MoveArguments(TagVar *values, std::size_t count); // REQUIRES: none is of kind nil or endOfArgs
    void TakeOver(TagVar *values, std::size_t count);
    TagVar *NewArray(std::size_t count);
    void DropArguments() noexcept;
    void RetireArguments();
    void ShowArguments() const;
    void Reserve(std::uint32_t capacity);
    TagVar *Slots() const noexcept { return reinterpret_cast<TagVar *>(fSlots); }
    std::uint32_t CheckedIndex(unsigned int index) const;
    TString StoredText() const noexcept;

    StoreID fStore;
    std::int32_t fSet = 0;
    std::int32_t fNumber = 0;
    TString fDefaultText;
    mutable TString fFormatted; // empty until the first query
    std::uint32_t fCount = 0;
    std::uint32_t fCapacity = 0;
    TagVar *fArguments = nullptr; // in fSlots, or an array on the heap of fCapacity values
    TString fFile;
    std::uint32_t fLine = 0;
    // If fAreShown is set, references to the arguments, or pointers to their texts, may exist outside the message. An
    // assignment then keeps the arguments: fSlots keeps the first fRetired of its values.
    mutable bool fAreShown = false;
    std::uint8_t fRetired = 0;
    std::vector<std::unique_ptr<TagVar[]>> fFormerArguments;
    // Up to fsSlots arguments need no memory of their own. No object is built in a place that is not used.
    static constexpr std::size_t fsSlots = 8;
    alignas(TagVar) mutable unsigned char fSlots[fsSlots * sizeof(TagVar)];
};

#endif

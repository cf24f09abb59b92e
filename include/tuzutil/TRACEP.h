#ifndef TUZUTIL_TRACEP_H
#define TUZUTIL_TRACEP_H

// TTracePoint: writes a trace entry if a destination may accept it. TTraceExit: writes an entry at the end of a scope.
//
// Example:
//     int Fetch(int number) {
//         TTracePoint::Write(TTrace::functionEntry, fsSession, "Fetch(%d)", number);
//         TTraceExit exit(fsSession);
//         exit.SetFormatMsg("Fetch, rc=%d");
//         exit.SetArgs(TagVar(0));
//         exit.SetDebugging("src/session.cpp", __LINE__);
//         exit.SetRC(17);
//         return 17;
//     } // "Fetch, rc=17" at level "ex"
//
// Ownership:  The names of source files are borrowed and must be static. Formats and arguments are copied.
// Threads:    Any thread may call TTracePoint::Write(). A TTraceExit belongs to one thread. A thread that is cancelled
//             while it writes an entry finishes the entry first.
// Failures:   TTracePoint::Write() never throws. A value that cannot be made is shown as "?". SetRC() and operator[]
//             throw TInvalidParameter "Out of Range" if the message does not have that argument.
// Surprises:
// - If no destination may accept the entry, TTracePoint::Write() costs at most three loads and two tests. Its arguments
//   are evaluated even then.
// - If the first text has no "%" and another text follows it, the first text is the name of a source file, as in
//   Write(level, category, "src/session.cpp", "no mail"). Under C++20, this text must look like a file name, or the
//   format after it must be a literal: otherwise the call does not compile. The compiler checks a text in this way only
//   if the text is a literal or a constexpr array.
class TTracePoint;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

// The place of a trace point: the name of the source file, which is a static text, and the line of the call.
struct TTracePlace {
    // The line is that of the call, unless another one is given.
    constexpr TTracePlace(char const *fileName, unsigned long lineNumber = __builtin_LINE()) noexcept
        : file(fileName), line(lineNumber) {}

    char const *file;   // may be null
    unsigned long line; // from 1 on
};

// The source file and the line of a call. A function gets it as a parameter with a default argument, which consists of
// __builtin_FILE() and __builtin_LINE(). The compiler replaces these two by the place of the call.
struct TTraceCaller {
    char const *file;   // may be null
    unsigned long line; // from 1 on
};

// The first text of a trace point. If it is a literal format, the entry has the place of the call. Otherwise it names a
// place (a file, perhaps with a line), and the argument after it is the format.
template <typename... Arguments>
class TTraceText {
    template <typename First = int, typename...>
    struct TFirst {
        static constexpr bool isText = std::is_convertible_v<First const &, char const *>;
        static constexpr bool isLiteral = std::is_array_v<First>;
    };

public:
    // mayTakeFormat is true if the first argument may be a format, because it converts to text.
    static constexpr bool mayTakeFormat = TFirst<Arguments...>::isText;

    // Takes a literal. If the literal has no conversion, and the first argument is a text, the literal is the name of a
    // file. Otherwise it is the format. Under C++20, the compiler checks the literal.
    template <std::size_t size>
    TUZUTIL_CONSTEVAL TTraceText(char const (&text)[size], TTraceCaller caller = {__builtin_FILE(), __builtin_LINE()})
        : fFormat(text), fPlace(caller.file, caller.line) {
        if (TUZUTIL_CHECKS_FORMATS && __builtin_constant_p(text[0])) {
            if (!mayTakeFormat || tuzutil::HasConversion(text))
                tuzutil::TFormatCheck<Arguments...>(text).Check();
            else if (!TFirst<Arguments...>::isLiteral && !LooksLikeFile(text))
                tuzutil::format_error::AFileNameStandsBeforeAFormat();
        }
    }
    // These constructors take a place. They exist only if the first argument may be a format. A pointer or a writable
    // array is the name of a file, and the line is that of the call.
    template <typename Pointer, std::enable_if_t<mayTakeFormat && std::is_pointer_v<Pointer> &&
                                                     std::is_convertible_v<Pointer, char const *>,
                                                 bool> = true>
    constexpr TTraceText(Pointer const &file, TTraceCaller caller = {__builtin_FILE(), __builtin_LINE()}) noexcept
        : fFormat(nullptr), fPlace(file, caller.line) {}
    template <std::size_t size, std::enable_if_t<mayTakeFormat && size != 0, bool> = true>
    constexpr TTraceText(char (&file)[size], TTraceCaller caller = {__builtin_FILE(), __builtin_LINE()}) noexcept
        : fFormat(nullptr), fPlace(file, caller.line) {}
    template <typename Text, std::enable_if_t<mayTakeFormat && std::is_same_v<Text, char const[]>, bool> = true>
    constexpr TTraceText(Text &file, TTraceCaller caller = {__builtin_FILE(), __builtin_LINE()}) noexcept
        : fFormat(nullptr), fPlace(file, caller.line) {} // an array whose size the compiler does not know
    template <typename Null, std::enable_if_t<mayTakeFormat && std::is_null_pointer_v<Null>, bool> = true>
    constexpr TTraceText(Null, TTraceCaller caller = {__builtin_FILE(), __builtin_LINE()}) noexcept
        : fFormat(nullptr), fPlace(nullptr, caller.line) {} // no file
    template <bool takesFormat = mayTakeFormat, std::enable_if_t<takesFormat, bool> = true>
    constexpr TTraceText(char const *file, unsigned long line) noexcept : fFormat(nullptr), fPlace(file, line) {}
    template <bool takesFormat = mayTakeFormat, std::enable_if_t<takesFormat, bool> = true>
    constexpr TTraceText(TTracePlace const &place) noexcept : fFormat(nullptr), fPlace(place) {}

    // Returns the literal, which may also be the name of a file. Returns null if a place was given, not a literal.
    constexpr char const *QueryFormat() const noexcept { return fFormat; }
    constexpr TTracePlace const &QueryPlace() const noexcept { return fPlace; } // the source file and the line

private:
    // Returns whether a text looks like the name of a file. It does if it has one of the extensions below. It also does
    // if it contains a dot or a delimiter, has no blank, and does not end with a dot. A sentence such as "Login
    // failed." has a blank or ends with a dot.
    static constexpr bool LooksLikeFile(std::string_view text) noexcept {
        std::size_t const dot = text.rfind('.');
        if (dot != text.npos) {
            for (std::string_view const extension : {"c", "cc", "cpp", "cxx", "C", "h", "hh", "hpp", "hxx", "inl",
                                                     "ipp", "tpp", "ixx", "cppm", "y", "l", "rc"}) {
                if (text.substr(dot + 1) == extension)
                    return true;
            }
        }
        return text.find(' ') == text.npos && dot + 1 != text.size() && text.find_first_of("./\\") != text.npos;
    }

    char const *fFormat;
    TTracePlace fPlace;
};

// The type of a parameter that takes the text of a trace point. The compiler then deduces the types of the arguments
// from the arguments alone.
template <typename... Arguments>
using TTraceTextOf = TTraceText<typename tuzutil::TSame<Arguments>::type...>;

#if defined(__cpp_lib_format)
// A literal format of std::format with the place of the call.
template <typename... Arguments>
class TTraceFormat {
public:
    // Takes a literal, which the compiler checks against the arguments.
    template <std::size_t size>
    consteval TTraceFormat(char const (&text)[size], TTraceCaller caller = {__builtin_FILE(), __builtin_LINE()})
        : fFormat(text), fPlace(caller.file, caller.line) {}

    constexpr std::string_view QueryFormat() const noexcept { return fFormat.get(); } // the literal
    constexpr TTracePlace const &QueryPlace() const noexcept { return fPlace; }       // the source file and the line

private:
    std::format_string<Arguments...> fFormat;
    TTracePlace fPlace;
};

// The type of a parameter that takes a format of std::format. The compiler then deduces the types of the arguments from
// the arguments alone.
template <typename... Arguments>
using TTraceFormatOf = TTraceFormat<typename tuzutil::TSame<Arguments>::type...>;
#endif

class TUZUTIL_API TTracePoint {
public:
    // Writes an entry with a format and its arguments. An argument may be anything that a TagVar can be made from. The
    // entry has the source file and the line of the call. `text` may also be a TTracePlace, or the name of a file, to
    // which the line of the call is added. Then the format is the first of the arguments, and is not checked.
    template <typename... Arguments>
    static void Write(std::uint32_t level, TTrace::Category const &category, TTraceTextOf<Arguments...> text,
                      Arguments const &...arguments) noexcept {
        if (__builtin_expect(IsWanted(level, category), 0))
            Sort<Arguments...>(level, category, text.QueryPlace().file, text.QueryPlace().line, text.QueryFormat(),
                               arguments...);
    }

#if defined(__cpp_lib_format)
    // Writes an entry with a literal format of std::format, which the compiler checks. If a formatter throws, the
    // format itself becomes the text. This function exists only if the standard library has std::format.
    template <typename... Arguments>
    static void Format(std::uint32_t level, TTrace::Category const &category,
                       TTraceFormatOf<Arguments const &...> format, Arguments const &...arguments) noexcept {
        if (__builtin_expect(IsWanted(level, category), 0))
            CollectFormatted<Arguments...>(level, category, format.QueryPlace(), format.QueryFormat(), arguments...);
    }
#endif

private:
    // Tests the levels first. Usually this test fails, and then the component of the category is not read.
    static bool IsWanted(std::uint32_t level, TTrace::Category const &category) noexcept {
        return __builtin_expect((TTrace::Base::fsRuntimeLevel & level) != 0, 0) &&
               (TTrace::Base::fsRuntimeComponent & category.QueryComponent()) != 0;
    }

    // While a THold exists, its thread is not cancelled. Otherwise Take() would catch and drop the exception that
    // unwinds a cancelled thread.
    class TUZUTIL_API THold {
    public:
        THold() noexcept;
        THold(THold const &) = delete;
        THold &operator=(THold const &) = delete;
        ~THold();

    private:
        int fHeld;
    };

    // How an argument is passed to a function that is not inlined: a number, an enum or a pointer by its value. If such
    // a function took the address of a variable, the compiler could not keep the variable in a register, not even where
    // nothing is traced.
    template <typename T>
    using TPassed = std::conditional_t<std::is_scalar_v<T>, std::remove_cv_t<T>, T const &>;

    // Finds the format, and passes the entry on. The first argument is the format in two cases: if `format` is null,
    // and if `format` has no conversion and the first argument is a text. In the second case, `format` is the name of a
    // file.
    template <typename... Arguments>
    __attribute__((noinline, cold)) static void Sort(std::uint32_t level, TTrace::Category const &category,
                                                     char const *file, unsigned long line, char const *format,
                                                     TPassed<Arguments>... arguments) noexcept {
        if constexpr (TTraceText<Arguments...>::mayTakeFormat) {
            if (!format || !tuzutil::HasConversion(format))
                return Collect(level, category, TTracePlace(format ? format : file, line), arguments...);
        }
        Collect(level, category, TTracePlace(file, line), format, arguments...);
    }

    template <typename... Arguments>
    static void Collect(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                        Arguments const &...arguments) noexcept {
        if constexpr ((IsSafe<Arguments>() && ...)) {
            TagVar values[] = {Take(arguments)..., TagVar(TagVar::endOfArgs)};
            WriteValues(level, category, place, format, values, sizeof...(arguments));
        } else {
            THold const hold;
            TagVar values[] = {Take(arguments)..., TagVar(TagVar::endOfArgs)};
            WriteValues(level, category, place, format, values, sizeof...(arguments));
        }
    }

#if defined(__cpp_lib_format)
    template <typename... Arguments>
    __attribute__((noinline, cold)) static void CollectFormatted(std::uint32_t level, TTrace::Category const &category,
                                                                 TTracePlace place, std::string_view format,
                                                                 TPassed<Arguments>... arguments) noexcept {
        THold const hold;
        std::string text;
        try {
            text = std::vformat(format, std::make_format_args(arguments...));
        } catch (...) {
            return Collect(level, category, place, "%s", format);
        }
        Collect(level, category, place, "%s", text);
    }
#endif

    // IsLent() returns whether an argument of this type is a text that the entry borrows. Borrowing is enough, because
    // no value of an argument is needed after the call. IsSafe() returns whether making a value from an argument of
    // this type throws nothing, and runs no code outside this library.
    template <typename T>
    static constexpr bool IsLent() {
        using Decayed = std::decay_t<T const &>;
        return std::is_same_v<Decayed, char const *> || std::is_same_v<Decayed, char *> || std::is_same_v<T, TString>;
    }
    template <typename T>
    static constexpr bool IsSafe() {
        return IsLent<T>() || (std::is_arithmetic_v<T> && std::is_nothrow_constructible_v<TagVar, T const &>);
    }

    // Makes the value of an argument. If that throws, the entry shows "?" in the place of this value.
    template <typename T>
    static TagVar Take(T const &argument) noexcept {
        if constexpr (IsLent<T>()) {
            return TagVar::Lend(argument);
        } else if constexpr (std::is_nothrow_constructible_v<TagVar, T const &>) {
            return TagVar(argument);
        } else {
            try {
                return TagVar(argument);
            } catch (...) {
                return TagVar(TagVar::unshown);
            }
        }
    }

    // Makes the message and writes the entry. Takes the values over.
    static void WriteOut(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                         TagVar *values, unsigned long count);
    // Does the same as WriteOut(), but the values may borrow their texts. If the entry cannot be built, it is lost, and
    // the traced work continues.
    static void WriteValues(std::uint32_t level, TTrace::Category const &category, TTracePlace place,
                            char const *format, TagVar *values, unsigned long count) noexcept;
};

// Writes a trace entry at the end of a scope, at the level TTrace::functionExit. The entry can have the result of the
// function.
class TUZUTIL_API TTraceExit {
public:
    explicit TTraceExit(TTrace::Category const &category); // without a message
    // Copies share the message until one of them calls SetFormatMsg(): a value that is set through one copy appears in
    // the entries of both.
    TTraceExit(TTraceExit const &) = default;
    TTraceExit &operator=(TTraceExit const &) = default;
    ~TTraceExit();

    // Gives this object a new message without arguments. Without a message, nothing is written.
    void SetFormatMsg(char const *format);

    // Sets the arguments of the message, in every form that TTextMessage::SetArgs() takes. Does nothing without a
    // message.
    template <typename... Arguments>
    void SetArgs(Arguments const &...arguments) {
        if (TTextMessage *const message = Message())
            message->SetArgs(arguments...);
    }

    void SetRC(TagVar const &value); // sets argument 0
    // Returns the argument with this index, counted from 0. Without a message, returns a value that nobody reads.
    TagVar &operator[](unsigned int index);
    // Sets the source file and the line that the entry names. Does nothing without a message.
    void SetDebugging(char const *file, unsigned long line);

private:
    // If SetFormatMsg() replaces a message, the former message exists as long as the new one, because references to its
    // arguments may be in use.
    struct TMessage {
        TMessage(char const *format, std::shared_ptr<TMessage> earlier) : text(format), previous(std::move(earlier)) {}
        TMessage(TMessage const &) = delete;
        TMessage &operator=(TMessage const &) = delete;
        ~TMessage();

        TTextMessage text;
        std::shared_ptr<TMessage> previous;
    };

    TTextMessage *Message() const noexcept { return fMessage ? &fMessage->text : nullptr; }

    TTrace::Category fCategory;
    std::shared_ptr<TMessage> fMessage;
    TagVar fNoArgument; // operator[] returns it if there is no message
};

// A table of handles that is always empty, because Add() adds nothing. The class exists so that programs that use it
// compile.
class TUZUTIL_API TTraceObjects {
public:
    TTraceObjects() = default;
    explicit TTraceObjects(unsigned int capacity) : fCapacity(capacity) {} // has no effect

    unsigned int Add(char const *configuration, int, char *); // adds nothing; returns 0xFFFFFFFF
    TTrace operator[](unsigned int index) const;              // a handle without a destination if there is no entry
    void Remove(unsigned int index);                          // does nothing, because there is no entry

private:
    [[maybe_unused]] std::uint32_t fCapacity = 0;
    std::vector<TTrace> fEntries;
};

#endif

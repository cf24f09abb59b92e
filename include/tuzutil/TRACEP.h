#ifndef TUZUTIL_TRACEP_H
#define TUZUTIL_TRACEP_H

// TTracePoint: writes a trace entry if a destination may accept it. TTraceExit: writes an entry at the end of a scope.
//
// Example:
//     int Fetch(int number) {
//         TTracePoint::Write(TTrace::functionEntry, fsSession, "src/session.cpp", "Fetch(%d)", number);
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
// Failures:   TTracePoint::Write() never throws. SetRC() and operator[] throw TInvalidParameter "Out of Range" if the
//             message does not have that argument.
// Surprises:
// - If no destination may accept the entry, TTracePoint::Write() costs two loads, two tests and a branch. Its arguments
//   are evaluated all the same.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

// The place of a trace point: a static text, and the line of the call.
struct TTracePlace {
    TTracePlace(char const *fileName, unsigned long lineNumber = __builtin_LINE()) noexcept
        : file(fileName), line(lineNumber) {}

    char const *file;
    unsigned long line;
};

class TUZUTIL_API TTracePoint {
public:
    // Writes an entry with a format and its arguments. An argument may be anything that a TagVar can be made from.
    template <typename... Arguments>
    static void Write(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                      Arguments const &...arguments) noexcept {
        if (__builtin_expect(TTrace::IsGlobalTracing(level, category.QueryComponent()), 0))
            Collect(level, category, place, format, arguments...);
    }

private:
    // While a THold exists, its thread is not cancelled. Otherwise Collect() would drop the exception that unwinds the
    // thread.
    class TUZUTIL_API THold {
    public:
        THold() noexcept;
        THold(THold const &) = delete;
        THold &operator=(THold const &) = delete;
        ~THold();

    private:
        int fHeld;
    };

    template <typename... Arguments>
    __attribute__((noinline, cold)) static void Collect(std::uint32_t level, TTrace::Category const &category,
                                                        TTracePlace place, char const *format,
                                                        Arguments const &...arguments) noexcept {
        THold const hold;
        try {
            TagVar const values[] = {Take(arguments)..., TagVar(TagVar::endOfArgs)};
            WriteOut(level, category, place, format, values, sizeof...(arguments));
        } catch (...) {
            // If an entry cannot be built, it is lost, and the traced work continues.
        }
    }

    // Makes the value of an argument. If that throws, the entry is written without this value.
    template <typename T>
    static TagVar Take(T const &argument) noexcept {
        if constexpr (std::is_nothrow_constructible_v<TagVar, T const &>) {
            return TagVar(argument);
        } else {
            try {
                return TagVar(argument);
            } catch (...) {
                return TagVar(TagVar::unshown);
            }
        }
    }

    static void WriteOut(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                         TagVar const *values, unsigned long count);
};

class TUZUTIL_API TTraceExit {
public:
    explicit TTraceExit(TTrace::Category const &category); // without a message
    // Copies share the message: a value that is set through one copy appears in the entries of both.
    TTraceExit(TTraceExit const &) = default;
    TTraceExit &operator=(TTraceExit const &) = default;
    ~TTraceExit();

    void SetFormatMsg(char const *format);

    // Sets the arguments of the message, in every form that TTextMessage::SetArgs() takes. Does nothing without a
    // message.
    template <typename... Arguments>
    void SetArgs(Arguments const &...arguments) {
        if (TTextMessage *const message = Message())
            message->SetArgs(arguments...);
    }

    void SetRC(TagVar const &value); // sets argument 0
    TagVar &operator[](unsigned int index);
    void SetDebugging(char const *file, unsigned long line);

private:
    // A message that was replaced exists until the last owner is destroyed, because references to its arguments may be
    // in use.
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

// TTraceObjects: a table of handles that is always empty. It exists for programs that use one.
class TUZUTIL_API TTraceObjects {
public:
    TTraceObjects() = default;
    explicit TTraceObjects(unsigned int capacity) : fCapacity(capacity) {}

    unsigned int Add(char const *configuration, int, char *); // adds nothing; returns 0xFFFFFFFF
    TTrace operator[](unsigned int index) const;              // without a destination if there is no entry
    void Remove(unsigned int index);                          // leaves a handle without a destination there

private:
    [[maybe_unused]] std::uint32_t fCapacity = 0;
    std::vector<TTrace> fEntries;
};

#endif

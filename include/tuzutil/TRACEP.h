#ifndef TUZUTIL_TRACEP_H
#define TUZUTIL_TRACEP_H

// TTracePoint: writes a trace entry where somebody listens; TTraceExit: writes one when a scope ends.
//
// Example:
//     int Fetch(int number) {
//         TTracePoint::Write(TTrace::functionEntry, fsSession, "src/session.cpp", "Fetch(%d)", number);
//         TTraceExit exit(fsSession);
//         exit.SetFormatMsg("Fetch, rc=%d");
//         exit.SetArgs(TagVar(0));
//         exit.SetDebugging("src/session.cpp", __LINE__);
//         ...
//         exit.SetRC(17);
//         return 17;
//     } // "Fetch, rc=17" at level "ex"
//
// Ownership:  texts of source files are borrowed and must be static; formats and arguments are copied.
// Threads:    trace points may be passed by any thread; a TTraceExit belongs to one. A thread that is cancelled while
//             it writes an entry finishes that first.
// Failures:   a trace point never throws. SetRC() and operator[] of a message without that argument throw
//             TInvalidParameter "Out of Range".
// Surprises:  while nobody listens, a trace point is two loads, two tests and a branch, but its arguments are evaluated
//             as in any call.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <memory>
#include <utility>
#include <vector>

// Where a trace point stands: a static text, and the line of the call.
struct TTracePlace {
    TTracePlace(char const *fileName, unsigned long lineNumber = __builtin_LINE()) noexcept
        : file(fileName), line(lineNumber) {}

    char const *file;
    unsigned long line;
};

class TUZUTIL_API TTracePoint {
public:
    // Writes an entry with the format's arguments, each anything that a TagVar can be made from.
    template <typename... Arguments>
    static void Write(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                      Arguments const &...arguments) noexcept {
        if (__builtin_expect(TTrace::IsGlobalTracing(level, category.QueryComponent()), 0))
            Collect(level, category, place, format, arguments...);
    }

private:
    // While it stands this thread is not cancelled: what unwinds it must not be dropped.
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
            TagVar const values[] = {TagVar(arguments)..., TagVar(TagVar::endOfArgs)};
            WriteOut(level, category, place, format, values, sizeof...(arguments));
        } catch (...) {
            // An entry that cannot be built is lost; the work that it tells of goes on.
        }
    }

    static void WriteOut(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                         TagVar const *values, unsigned long count);
};

class TUZUTIL_API TTraceExit {
public:
    explicit TTraceExit(TTrace::Category const &category); // no message yet
    // Copies share the message: a value set through one shows in the entries of both.
    TTraceExit(TTraceExit const &) = default;
    TTraceExit &operator=(TTraceExit const &) = default;
    ~TTraceExit();

    void SetFormatMsg(char const *format);

    // The arguments of the message, in every form that TTextMessage::SetArgs() takes; nothing without a message.
    template <typename... Arguments>
    void SetArgs(Arguments const &...arguments) {
        if (TTextMessage *const message = Message())
            message->SetArgs(arguments...);
    }

    void SetRC(TagVar const &value); // argument 0
    TagVar &operator[](unsigned int index);
    void SetDebugging(char const *file, unsigned long line);

private:
    // A message that was set earlier stays until the last owner goes: references to its arguments may be held.
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
    TagVar fNoArgument; // what operator[] answers without a message
};

// TTraceObjects: a table of handles that nothing can be added to; kept for programs that hold one.
class TUZUTIL_API TTraceObjects {
public:
    TTraceObjects() = default;
    explicit TTraceObjects(unsigned int capacity) : fCapacity(capacity) {}

    unsigned int Add(char const *configuration, int, char *); // always 0xFFFFFFFF
    TTrace operator[](unsigned int index) const;              // without destination where there is no entry
    void Remove(unsigned int index);                          // the index stays occupied, by a handle without one

private:
    [[maybe_unused]] std::uint32_t fCapacity = 0;
    std::vector<TTrace> fEntries;
};

#endif

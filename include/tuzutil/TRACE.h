#ifndef TUZUTIL_TRACE_H
#define TUZUTIL_TRACE_H

// TTrace: categories and levels of diagnostic tracing, and the two words that say whether anybody listens.
//
// Example:
//     static TTrace::Category const fsSession(8, "Session"); // component "Protocol", category "Session"
//     ...
//     if (TTrace::IsGlobalTracing(TTrace::warning, fsSession.QueryComponent()))
//         ...                                                // build the entry
//
// Ownership:  a category is a value; categories used for tracing are static objects.
// Threads:    the two global words may be read and written by any thread; a reader may see a change late.
// Failures:   none.
// Surprises:  a level is one bit, a component is one bit: masks combine them.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <atomic>
#include <cstdint>

// A 32-bit word that a trace point reads without a lock: a plain load, yet no data race.
class TTraceWord {
public:
    constexpr TTraceWord(std::uint32_t value = 0) noexcept : fValue(value) {}
    TTraceWord(TTraceWord const &) = delete;
    TTraceWord &operator=(TTraceWord const &) = delete;
    operator std::uint32_t() const noexcept { return fValue.load(std::memory_order_relaxed); }
    std::uint32_t operator=(std::uint32_t value) noexcept {
        fValue.store(value, std::memory_order_relaxed);
        return value;
    }

private:
    std::atomic<std::uint32_t> fValue;
};

class TUZUTIL_API TTrace {
public:
    // Levels with a fixed use.
    enum Level : std::uint32_t {
        error = 0x4,
        warning = 0x8,
        exception = 0x400,
        functionEntry = 0x1000,
        functionExit = 0x2000
    };

    class TUZUTIL_API Category {
    public:
        Category(unsigned long component, TString const &name);
        Category(unsigned long component, char const *name);
        Category(Category const &) = default;
        Category &operator=(Category const &) = default;
        ~Category() = default;

        unsigned long QueryComponent() const noexcept { return fComponent; } // one bit
        TString const &QueryString() const noexcept { return fName; }
        int operator<(Category const &other) const noexcept; // by component, then by name
        int operator==(Category const &other) const noexcept;
        int IsEqual(Category const &other) const noexcept { return *this == other; }

    private:
        std::uint32_t fComponent;
        TString fName;
    };

    // What all open destinations together listen to; both words are 0 while there is none.
    class TUZUTIL_API Base {
    public:
        static TTraceWord fsRuntimeLevel;
        static TTraceWord fsRuntimeComponent;

        static int IsGlobalTracing(unsigned long level, unsigned long component) noexcept {
            return (fsRuntimeLevel & level) != 0 && (fsRuntimeComponent & component) != 0;
        }

    private:
        Base() = delete;
    };

    static int IsGlobalTracing(unsigned long level, unsigned long component) noexcept {
        return Base::IsGlobalTracing(level, component);
    }
};

// The library's own categories, all of component "Utility" (bit 1).
class TUZUTIL_API TUtilityTraceCategory {
public:
    static TTrace::Category const TagVar;
    static TTrace::Category const NLSResource;
    static TTrace::Category const Message;
    static TTrace::Category const Trace;
    static TTrace::Category const Queue;
    static TTrace::Category const Utility;
    static TTrace::Category const String;
    static TTrace::Category const Factory;
    static TTrace::Category const CrtMsg; // its name is "CRTmsg"
    static TTrace::Category const MemStream;
    static TTrace::Category const OleStream;
    static TTrace::Category const Directory;

private:
    TUtilityTraceCategory() = delete;
};

#endif

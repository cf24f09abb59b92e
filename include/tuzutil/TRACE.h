#ifndef TUZUTIL_TRACE_H
#define TUZUTIL_TRACE_H

// TTrace: diagnostic tracing: levels, categories, destinations, and the two words that say whether anybody listens.
//
// Example:
//     class TCounter final : public TTrace::Base { // a destination: records go where Write() puts them
//     public:
//         TCounter() : Base(joinsLater) { Join(); } // when all of it stands
//         ~TCounter() override { Unlink(); }        // before its members go
//         void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { ++count; }
//         int count = 0;
//     };
//     static TTrace::Category const fsSession(8, "Session"); // component "Protocol", category "Session"
//     TTrace trace;
//     trace.QueryPointer() = TTrace::Pointer(new TCounter);  // levels "np", all components, all categories
//     TTracePoint::Write(TTrace::error, fsSession, "src/session.cpp", "%d bytes lost", 17);
//
// Ownership:  handles share their destination by counted references; the last one deletes it. Categories used for
//             tracing are static objects, which outlive all that traces by them. A build without NDEBUG traces others
//             at level "wa". One that is destroyed leaves the registry.
// Threads:    destinations may come, go and be changed while entries are written. All of that, and every Write(), runs
//             under the trace lock (fsMutex, recursive), for which a fork waits as well; the two global words are read
//             without it, and a reader may see a change late. A handle, and a SaveState, belong to one thread at a
//             time.
// Failures:   a mask of levels or components that 32 bits cannot hold, where one is set, throws TInvalidParameter "Mask
//             beyond 32 bits" and changes nothing; where one is asked for, its upper bits stand for nothing. The sign
//             of an int, as in ~0 or 1 << 31, is no upper bit. An exception out of a destination's Write() is dropped.
// Surprises:  a level is one bit, a component is one bit, masks combine them. UsesDefault() answers 1 where the
//             category has an entry of its own. A Write() must not load a library or write an entry of its own. Entries
//             reach a destination from its base's constructor to its base's destructor, also where the members of a
//             subclass do not stand yet or have gone: a subclass gives its base `joinsLater`, calls Join() when all of
//             it stands, and Unlink() in its destructor. The default level of a destination counts from then on.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TSTRING.h"

#include <atomic>
#include <cstdint>

class TMutexSemaphore;
class TTextMessage;
class TTraceSet;
class TTraceSetKnown;
class TTraceSetKnownCursor;

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
    // Levels that have a fixed use; the other bits belong to the components that use them.
    enum Level : std::uint32_t {
        severe = 0x2,
        error = 0x4,
        warning = 0x8,
        information = 0x10,
        exception = 0x400,
        functionEntry = 0x1000,
        functionExit = 0x2000,
        trap = 0x100000
    };

    class TUZUTIL_API Category {
    public:
        // Joins the registry. A component beyond 32 bits is none: nobody listens to such a category.
        Category(unsigned long component, TString const &name);
        Category(unsigned long component, char const *name);
        // Copies do not join, and have a text of their own: a category is used by many threads, a string by one.
        Category(Category const &other);
        Category &operator=(Category const &other);
        ~Category(); // leaves the registry

        unsigned long QueryComponent() const noexcept { return fComponent; } // one bit
        TString const &QueryString() const noexcept { return fName; }
        int operator<(Category const &other) const noexcept; // by component, then by name
        int operator==(Category const &other) const noexcept;
        int IsEqual(Category const &other) const noexcept { return *this == other; }

    private:
        std::uint32_t fComponent;
        TString fName;
    };

    // A destination. Counted; use through Pointer.
    class TUZUTIL_API Base : public TRefCounted {
    public:
        ~Base() override;
        Base(Base const &) = delete;
        Base &operator=(Base const &) = delete;

        // "Pure": takes one entry that this destination accepts. Runs under the trace lock.
        virtual void Write(unsigned long level, Category const &category, TTextMessage const &message);
        virtual void Change(); // after each change of the settings

        unsigned long QueryLevel() const noexcept { return fLevel; }
        void SetLevel(unsigned long level); // ignored once stopped, as SetComponent()
        unsigned long QueryComponent() const noexcept { return fComponent; }
        void SetComponent(unsigned long component);
        int QueryDefaultTracing() const noexcept { return Int(fDefaultTracing); } // for categories without an entry
        void SetDefaultTracing(int on);
        int QueryDisplayPrefix() const noexcept { return Int(fDisplayPrefix); } // 1: the long prefix of a record
        void SetDisplayPrefix(int longForm) noexcept;                           // the one setter without Change()
        unsigned long QueryCountSaveState() const noexcept { return fCountSaveState; }
        int QueryDisableRestore() const noexcept { return Int(fDisableRestore); }
        void SetDisableRestore(int disable);
        void StopTracing(); // for good

        // Joins the chain at its head: entries reach the destination from here on. Nothing where it has joined before.
        void Join();

        int StillTracing() const noexcept { return !fStopped; }

        int IsTracing(unsigned long level, unsigned long component) const noexcept {
            return (fLevel & level) != 0 && (fComponent & component) != 0;
        }
        int IsTracing(unsigned long level, unsigned long component, Category const &category) const;

        void AddCategory(Category const &category, int on);
        void RemoveCategory(Category const &category);
        int QueryCategory(Category const &category) const; // the entry's flag, or the default
        int UsesDefault(Category const &category) const;   // 1 where there is an entry, 0 where there is none

        // What a record begins with: the letter of its level; behind date, time and thread where the prefix is long.
        void FormatPrefix(TString &prefix, unsigned long level) const;
        static char LevelChar(unsigned long level) noexcept; // '?' for all but a single bit with a letter of its own

        static void WriteEntry(unsigned long level, Category const &category, TTextMessage const &message);
        static void SetGlobalTracing(); // makes the global words what the destinations listen to
        static void SetGlobalLevel(unsigned long level);
        static void SetGlobalComponent(unsigned long component);
        static unsigned long QueryGlobalLevel() noexcept { return fsRuntimeLevel; }
        static unsigned long QueryGlobalComponent() noexcept { return fsRuntimeComponent; }
        static int IsGlobalTracing(unsigned long level, unsigned long component) noexcept {
            return (fsRuntimeLevel & level) != 0 && (fsRuntimeComponent & component) != 0;
        }
        // The same, and some destination accepts the entry.
        static int IsGlobalTracing(unsigned long level, unsigned long component, Category const &category);

        static void Register(Category const &category);
        static TTraceSetKnownCursor *ListClasses();               // at the first; the caller deletes it
        static Category const *FindCategory(TString const &name); // whatever the case and the component; null if none
        static TString QueryComponentName(unsigned long mask);    // of the lowest bit; nil for 0 and beyond 32 bits
        static unsigned long QueryComponentFromName(TString const &name); // "1" to "32" are bits 0 to 31; 0 if none

        static Base *fsAnchor; // the newest destination
        static TMutexSemaphore &fsMutex;
        static TTraceWord fsRuntimeLevel; // what all destinations together listen to; 0 while there is none
        static TTraceWord fsRuntimeComponent;
        static TTraceSetKnown fsKnownCategories;

    protected:
        // These join at once, while the subclass is not there yet.
        Base();
        Base(unsigned long level, unsigned long component);
        // These leave that to Join(): to the end of the subclass's constructor, or to whoever makes the destination.
        enum Joining { joinsLater };
        explicit Base(Joining);
        Base(Joining, unsigned long level, unsigned long component);

        void Unlink() noexcept; // leaves the chain; may be called again

    private:
        friend class TTrace;
        class Walk;

        static bool IsHeard(unsigned long level, unsigned long component, Category const &category);
        static int Int(TTraceWord const &word) noexcept { return static_cast<int>(static_cast<std::uint32_t>(word)); }

        TTraceWord fDisplayPrefix{1};
        Base *fNext = nullptr;
        TTraceWord fLevel;
        TTraceWord fComponent;
        TTraceWord fDefaultTracing{1};
        TTraceWord fDisableRestore{0};
        TTraceWord fStopped{0};
        std::atomic<TTraceSet *> fCategories{nullptr};
        std::atomic<std::uint32_t> fCountSaveState{0};
    };

    using Pointer = TReference<Base>;

    // Remembers the settings of a handle's destination and puts them back when it ends.
    class TUZUTIL_API SaveState {
    public:
        explicit SaveState(TTrace &trace);
        SaveState(TTrace &trace, unsigned long level, Category const &category); // only this level, this one also on
        SaveState(SaveState const &) = default;
        SaveState &operator=(SaveState const &) = default;
        ~SaveState();

    private:
        Pointer fDestination;
        std::uint32_t fLevel = 0;
        std::uint32_t fComponent = 0;
        std::int32_t fDefaultTracing = 0;
        TTraceSet *fCategories = nullptr; // the table itself: what is changed in it meanwhile stays changed
    };

    TTrace() noexcept = default; // no destination
    // Opens the destination that a configuration names: "keyword(argument),levels,components,default,categories", see
    // docs/tracing.md. Null and "" open none. TInvalidRequest: "Unknown level specified", "Invalid default specified".
    TTrace(char const *configuration);
    TTrace(TTrace const &) = default;
    TTrace &operator=(TTrace const &) = default;
    virtual ~TTrace();

    // Applies the part of a configuration behind the destination, "levels,components,default,categories". An empty
    // field leaves its setting; fields before a faulty one are applied. Throws as the constructor does.
    virtual void ParseTraceString(char const *selection);

    // Of the destination. Without one queries answer 0, but for QueryDisableRestore() and UsesDefault(), which answer
    // 1, and nothing is set.
    unsigned long QueryLevel() const noexcept;
    void SetLevel(unsigned long level);
    unsigned long QueryComponent() const noexcept;
    void SetComponent(unsigned long component);
    int QueryDefaultTracing() const noexcept;
    void SetDefaultTracing(int on);
    int QueryDisplayPrefix() const noexcept;
    void SetDisplayPrefix(int longForm) noexcept;
    unsigned long QueryCountSaveState() const noexcept;
    int QueryDisableRestore() const noexcept;
    void SetDisableRestore(int disable);
    void StopTracing();
    int StillTracing() const noexcept;
    int IsTracing(unsigned long level, unsigned long component) const noexcept;
    int IsTracing(unsigned long level, unsigned long component, Category const &category) const;
    void AddCategory(Category const &category, int on);
    void RemoveCategory(Category const &category);
    int QueryCategory(Category const &category) const;
    int UsesDefault(Category const &category) const;
    void FormatPrefix(TString &prefix, unsigned long level) const;

    Pointer &QueryPointer() noexcept { return fDestination; }

    // As in Base.
    static void WriteEntry(unsigned long level, Category const &category, TTextMessage const &message) {
        Base::WriteEntry(level, category, message);
    }
    static void SetGlobalTracing() { Base::SetGlobalTracing(); }
    static void SetGlobalLevel(unsigned long level) { Base::SetGlobalLevel(level); }
    static void SetGlobalComponent(unsigned long component) { Base::SetGlobalComponent(component); }
    static unsigned long QueryGlobalLevel() noexcept { return Base::QueryGlobalLevel(); }
    static unsigned long QueryGlobalComponent() noexcept { return Base::QueryGlobalComponent(); }
    static int IsGlobalTracing(unsigned long level, unsigned long component) noexcept {
        return Base::IsGlobalTracing(level, component);
    }
    static int IsGlobalTracing(unsigned long level, unsigned long component, Category const &category) {
        return Base::IsGlobalTracing(level, component, category);
    }
    static void Register(Category const &category) { Base::Register(category); }
    static TTraceSetKnownCursor *ListClasses() { return Base::ListClasses(); }
    static Category const *FindCategory(TString const &name) { return Base::FindCategory(name); }
    static TString QueryComponentName(unsigned long mask) { return Base::QueryComponentName(mask); }
    static unsigned long QueryComponentFromName(TString const &name) { return Base::QueryComponentFromName(name); }

    static TString QueryExeFileName(); // of the program that runs, with its path, cut to 260 characters
    static void SetExeFileName(TString, TString) noexcept {} // changes nothing; for programs that call it

    static TString &fsExeFileName; // empty until QueryExeFileName() is called

private:
    Pointer fDestination;
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

#ifndef TUZUTIL_TRACE_H
#define TUZUTIL_TRACE_H

// TTrace: diagnostic tracing with levels, categories, destinations, and two words that say whether anybody listens.
//
// Example:
//     class TCounter final : public TTrace::Base { // a destination: records go where Write() puts them
//     public:
//         TCounter() : Base(joinsLater) { Join(); } // after the members are constructed
//         ~TCounter() override { Unlink(); }        // before the members are destroyed
//         void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { ++count; }
//         int count = 0;
//     };
//     static TTrace::Category const fsSession(8, "Session"); // component "Protocol", category "Session"
//     TTrace trace;
//     trace.QueryPointer() = TTrace::Pointer(new TCounter);  // levels "np", all components, all categories
//     TTracePoint::Write(TTrace::error, fsSession, "src/session.cpp", "%d bytes lost", 17);
//
// Ownership:  Handles share their destination; the last one deletes it. Categories are static objects, see Category.
// Threads:    Any thread may trace, and add, change or remove destinations. All of this, and each Write(), runs under
//             the trace lock (fsMutex, recursive), for which a fork waits too. One thread at a time uses a handle or
//             SaveState.
// Failures:   Setters throw TInvalidParameter "Mask beyond 32 bits" if a mask has bits above bit 31, and change
//             nothing. Queries ignore such bits. An exception that leaves a destination's Write() is dropped.
// Surprises:
// - The global words are read without the lock, so a reader may see a change late.
// - The sign of an int, as in ~0 or 1 << 31, does not count as a bit above bit 31.

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

// A 32-bit word that a trace point reads without a lock. The read is a plain load, but no data race.
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

// A level is one bit, and so is a component; a mask combines several.
class TUZUTIL_API TTrace {
public:
    // Levels with a fixed use. The other bits belong to the components that use them.
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

    // REQUIRES: a category used for tracing is a static object that outlives everything that traces with it. A build
    // without NDEBUG traces the use of any other category at level "wa".
    class TUZUTIL_API Category {
    public:
        // Joins the registry. Nobody listens to a category whose component does not fit in 32 bits.
        Category(unsigned long component, TString const &name);
        Category(unsigned long component, char const *name);
        // A copy does not join the registry. It has a text of its own, because many threads use one category, but one
        // thread at a time uses a string.
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

    // A destination. Objects are counted: use them through Pointer.
    //
    // Entries reach a destination from the base's constructor to the base's destructor, also while the members of a
    // subclass do not exist. So a subclass gives its base `joinsLater`, calls Join() when it is complete, and calls
    // Unlink() in its destructor.
    class TUZUTIL_API Base : public TRefCounted {
    public:
        ~Base() override;
        Base(Base const &) = delete;
        Base &operator=(Base const &) = delete;

        // Takes one entry that this destination accepts. Subclasses must override it. It runs under the trace lock.
        // REQUIRES: it neither loads a library nor writes a trace entry.
        virtual void Write(unsigned long level, Category const &category, TTextMessage const &message);
        virtual void Change(); // called after each change of the settings

        unsigned long QueryLevel() const noexcept { return fLevel; }
        void SetLevel(unsigned long level); // ignored after StopTracing(), as is SetComponent()
        unsigned long QueryComponent() const noexcept { return fComponent; }
        void SetComponent(unsigned long component);
        int QueryDefaultTracing() const noexcept { return Int(fDefaultTracing); } // for categories without an entry
        void SetDefaultTracing(int on);
        int QueryDisplayPrefix() const noexcept { return Int(fDisplayPrefix); } // 1: the long prefix of a record
        void SetDisplayPrefix(int longForm) noexcept; // does not call Change(), as all other setters do
        // What the library's destinations show in a record besides: the name of the category after the letter of the
        // level, and in the long prefix the year before the date and the zone after the time. An example with all:
        // "2026/07/14-09:05:03.27+02:00 000000A4 E Session". None of them is shown by default.
        enum PrefixPart : std::uint32_t { categoryPart = 1, yearPart = 2, zonePart = 4 };
        unsigned long QueryPrefixParts() const noexcept { return fPrefixParts; }
        void SetPrefixParts(unsigned long parts) noexcept; // does not call Change()
        unsigned long QueryCountSaveState() const noexcept { return fCountSaveState; }
        int QueryDisableRestore() const noexcept { return Int(fDisableRestore); }
        void SetDisableRestore(int disable);
        void StopTracing(); // for good

        // Joins the chain at its head: from now on entries reach the destination. Does nothing if it has joined before.
        void Join();

        int StillTracing() const noexcept { return !fStopped; }

        int IsTracing(unsigned long level, unsigned long component) const noexcept {
            return (fLevel & level) != 0 && (fComponent & component) != 0;
        }
        int IsTracing(unsigned long level, unsigned long component, Category const &category) const;

        void AddCategory(Category const &category, int on);
        void RemoveCategory(Category const &category);
        int QueryCategory(Category const &category) const; // the entry's flag, or the default
        int UsesDefault(Category const &category) const;   // 1 if there is an entry, 0 if there is none

        // Stores what a record begins with: the letter of its level, after date, time and thread if the prefix is long.
        // The category is not a part of it.
        void FormatPrefix(TString &prefix, unsigned long level) const;
        static char LevelChar(unsigned long level) noexcept; // '?' unless the level is a single bit that has a letter

        static void WriteEntry(unsigned long level, Category const &category, TTextMessage const &message);
        static void SetGlobalTracing(); // sets the global words to what the destinations listen to
        static void SetGlobalLevel(unsigned long level);
        static void SetGlobalComponent(unsigned long component);
        static unsigned long QueryGlobalLevel() noexcept { return fsRuntimeLevel; }
        static unsigned long QueryGlobalComponent() noexcept { return fsRuntimeComponent; }
        static int IsGlobalTracing(unsigned long level, unsigned long component) noexcept {
            return (fsRuntimeLevel & level) != 0 && (fsRuntimeComponent & component) != 0;
        }
        // Also tests whether some destination accepts the entry.
        static int IsGlobalTracing(unsigned long level, unsigned long component, Category const &category);

        static void Register(Category const &category);
        static TTraceSetKnownCursor *ListClasses(); // at the first category; the caller deletes the cursor
        static Category const *FindCategory(TString const &name); // ignores case and component; null if there is none
        static TString QueryComponentName(unsigned long mask);    // of the lowest bit; nil for 0 and beyond 32 bits
        static unsigned long QueryComponentFromName(TString const &name); // "1" to "32" are bits 0 to 31; 0: unknown
        // Gives a component a name, which trace configurations then understand beside its own. REQUIRES: `mask` is one
        // bit other than bit 0, which is this library's; `name` lives as long as the process. Other masks are ignored.
        static void NameComponent(unsigned long mask, char const *name) noexcept;

        static Base *fsAnchor; // the newest destination
        static TMutexSemaphore &fsMutex;
        static TTraceWord fsRuntimeLevel; // what all destinations together listen to; 0 while there is none
        static TTraceWord fsRuntimeComponent;
        static TTraceSetKnown fsKnownCategories;

    protected:
        // These join at once, before the subclass is constructed. The default level counts from then on.
        Base();
        Base(unsigned long level, unsigned long component);
        // These do not join: the end of the subclass's constructor calls Join(), or whoever makes the destination does.
        enum Joining { joinsLater };
        explicit Base(Joining);
        Base(Joining, unsigned long level, unsigned long component);

        void Unlink() noexcept; // leaves the chain; a second call does nothing

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
        TTraceWord fPrefixParts{0};
    };

    using Pointer = TReference<Base>;

    // Remembers the settings of a handle's destination, and restores them in its destructor.
    class TUZUTIL_API SaveState {
    public:
        explicit SaveState(TTrace &trace);
        // Also sets this level alone, and switches this category on.
        SaveState(TTrace &trace, unsigned long level, Category const &category);
        SaveState(SaveState const &) = default;
        SaveState &operator=(SaveState const &) = default;
        ~SaveState();

    private:
        Pointer fDestination;
        std::uint32_t fLevel = 0;
        std::uint32_t fComponent = 0;
        std::int32_t fDefaultTracing = 0;
        TTraceSet *fCategories = nullptr; // the table itself, so that changes of it meanwhile remain
    };

    TTrace() noexcept = default; // no destination
    // Opens the destination that a configuration names: "keyword(argument),levels,components,default,categories", see
    // docs/tracing.md. Null and "" open none. Throws TInvalidRequest "Unknown level specified" or "Invalid default
    // specified".
    TTrace(char const *configuration);
    TTrace(TTrace const &) = default;
    TTrace &operator=(TTrace const &) = default;
    virtual ~TTrace();

    // Applies the part of a configuration after the destination, "levels,components,default,categories". An empty field
    // leaves its setting as it is; the fields before a faulty one are applied. Throws as the constructor does.
    virtual void ParseTraceString(char const *selection);

    // These call the destination. Without one, setters do nothing, and queries return 0, except QueryDisableRestore()
    // and UsesDefault(), which return 1.
    unsigned long QueryLevel() const noexcept;
    void SetLevel(unsigned long level);
    unsigned long QueryComponent() const noexcept;
    void SetComponent(unsigned long component);
    int QueryDefaultTracing() const noexcept;
    void SetDefaultTracing(int on);
    int QueryDisplayPrefix() const noexcept;
    void SetDisplayPrefix(int longForm) noexcept;
    unsigned long QueryPrefixParts() const noexcept;
    void SetPrefixParts(unsigned long parts) noexcept;
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

    // These do the same as in Base.
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
    static void NameComponent(unsigned long mask, char const *name) noexcept { Base::NameComponent(mask, name); }

    static TString QueryExeFileName(); // of the running program, with its path, cut to 260 characters
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

#ifndef TUZUTIL_TRACE_H
#define TUZUTIL_TRACE_H

// TTrace: diagnostic tracing, and a handle to a trace destination. A trace entry has a level and a category; each
// destination chooses the entries that it takes. Each level and each component is one bit; a mask combines several.
//
// Example:
//     class TCounter : public TTrace::Base { // a destination: records go where Write() puts them
//     public:
//         TCounter() : Base(joinsLater) {} // entries arrive only while all members exist
//         void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { ++count; }
//         int count = 0;
//     };
//     static TTrace::Category const fsSession(8, "Session"); // component "Protocol", category "Session"
//     TTrace trace = TTrace::Make<TCounter>();              // levels "np", all components, all categories
//     TTracePoint::Write(TTrace::error, fsSession, "src/session.cpp", "%d bytes lost", 17);
//
// Ownership:  Copies of a TTrace share its destination. The last copy deletes it. For categories see Category.
// Threads:    Any thread may trace, and may add, change or remove destinations. The trace lock (fsMutex, recursive) is
//             held while the set of destinations changes and during each Write(). A fork waits for this lock, too. One
//             thread at a time may use a TTrace or a SaveState.
// Failures:   Setters throw TInvalidParameter "Mask beyond 32 bits" if a mask has bits above bit 31, and change
//             nothing. Queries ignore such bits. An exception that leaves a destination's Write() is dropped.
// Surprises:
// - A trace point reads the global levels and components without the lock, so it may see a change late.
// - Setters accept ~0 and 1 << 31, although on Linux these negative ints become masks with bits above bit 31.
// - In a forked child, the stacks of the parent's other threads are overwritten. So if the process forks, destinations
//   and categories must not be local variables of other threads.
class TTrace;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TSTRING.h"

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

class TagVar;
class TMutexSemaphore;
class TTextMessage;
class TTraceLine;
class TTraceSet;
class TTraceSetKnown;
class TTraceSetKnownCursor;

// A 32-bit word that a trace point reads without a lock. The read is atomic, but as fast as that of an ordinary word.
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
    // Levels with a fixed meaning, and their keywords in configurations. A component may give the other levels a
    // meaning of its own.
    enum Level : std::uint32_t {
        severe = 0x2,           // "se"
        error = 0x4,            // "er"
        warning = 0x8,          // "wa"
        information = 0x10,     // "in"
        exception = 0x400,      // "xc"
        functionEntry = 0x1000, // "en"
        functionExit = 0x2000,  // "ex"
        trap = 0x100000         // "tr"
    };

    // The category of trace entries: a component and a name. REQUIRES: a category that is used for tracing is a static
    // object, and exists as long as anything traces with it. A build without NDEBUG traces at level "wa" if a category
    // that is not a static object is registered.
    class TUZUTIL_API Category {
    public:
        // These constructors join the registry of categories. If the component does not fit in 32 bits, no destination
        // takes entries of the category.
        Category(unsigned long component, TString const &name);
        Category(unsigned long component, char const *name);
        // A copy does not join the registry. It has a text of its own: writing into the text of one category does not
        // change that of the other.
        Category(Category const &other);
        Category &operator=(Category const &other);

        ~Category(); // leaves the registry

        unsigned long QueryComponent() const noexcept { return fComponent; } // usually one bit
        TString const &QueryString() const noexcept { return fName; }        // the name
        int operator<(Category const &other) const noexcept;                 // by component, then by name
        // These functions return 1 if components and names are equal, letter case included, and otherwise 0.
        int operator==(Category const &other) const noexcept;
        int IsEqual(Category const &other) const noexcept { return *this == other; }

    private:
        std::uint32_t fComponent;
        TString fName;
    };

    // A destination of trace entries. Objects are reference-counted: use them through Pointer.
    //
    // By default, entries reach a destination from the constructor of Base to the destructor of Base. At the beginning
    // and at the end of this time, the members of a subclass do not exist. Therefore a subclass passes `joinsLater` to
    // Base, and programs make its objects by Make(). A subclass whose objects are made otherwise calls Join() at the
    // end of its constructor, and Unlink() at the beginning of its destructor.
    class TUZUTIL_API Base : public TRefCounted {
    public:
        ~Base() override;
        Base(Base const &) = delete;
        Base &operator=(Base const &) = delete;

        // Writes one entry that this destination accepts. Subclasses must override this function. The library calls it
        // under the trace lock. REQUIRES: the function neither loads a library nor writes a trace entry.
        virtual void Write(unsigned long level, Category const &category, TTextMessage const &message);
        virtual void Change(); // called after most changes of the settings

        unsigned long QueryLevel() const noexcept { return fLevel; }         // a mask of the levels that it accepts
        void SetLevel(unsigned long level);                                  // does nothing after StopTracing()
        unsigned long QueryComponent() const noexcept { return fComponent; } // a mask of the components that it accepts
        void SetComponent(unsigned long component);                          // does nothing after StopTracing()
        int QueryDefaultTracing() const noexcept { return Int(fDefaultTracing); } // for categories not in the table
        void SetDefaultTracing(int on); // whether it accepts categories that are not in the table
        int QueryDisplayPrefix() const noexcept { return Int(fDisplayPrefix); } // 1 if records have the long prefix
        void SetDisplayPrefix(int longForm) noexcept; // does not call Change(), unlike most setters
        // The library's destinations can add these parts to a record. The name of the category follows the letter of
        // the level. In the long prefix, the year precedes the date, and the time zone follows the time. A prefix with
        // all three parts is "2026/07/14-09:05:03.27+02:00 000000A4 E Session". By default, no part is added.
        enum PrefixPart : std::uint32_t { categoryPart = 1, yearPart = 2, zonePart = 4 };
        unsigned long QueryPrefixParts() const noexcept { return fPrefixParts; }       // a mask of PrefixPart
        void SetPrefixParts(unsigned long parts) noexcept;                             // does not call Change()
        unsigned long QueryCountSaveState() const noexcept { return fCountSaveState; } // number of SaveState objects
        int QueryDisableRestore() const noexcept { return Int(fDisableRestore); } // 1 if SaveState restores nothing
        void SetDisableRestore(int disable);                                      // StopTracing() sets this to 1
        void StopTracing(); // the destination never accepts an entry again

        // Joins the chain of destinations at its head. From then on, entries reach this destination. Does nothing if
        // this destination is in the chain.
        void Join();

        int StillTracing() const noexcept { return !fStopped; } // 0 after StopTracing()

        // Returns whether this destination accepts one of these levels and one of these components. The category does
        // not count.
        int IsTracing(unsigned long level, unsigned long component) const noexcept {
            return (fLevel & level) != 0 && (fComponent & component) != 0;
        }
        // Returns whether this destination accepts an entry of this level, component and category.
        int IsTracing(unsigned long level, unsigned long component, Category const &category) const;

        // Stores in the table of this destination whether it accepts the category. The table copies the category.
        void AddCategory(Category const &category, int on);
        void RemoveCategory(Category const &category);     // the default applies to the category again
        int QueryCategory(Category const &category) const; // what AddCategory() stored for the category, or the default
        // Despite its name, returns 1 if the category has an entry in the table, and otherwise 0.
        int UsesDefault(Category const &category) const;

        // Stores the beginning of a record. This is the letter of the level. If the prefix is long, date, time and
        // thread precede the letter. The name of the category is not stored.
        void FormatPrefix(TString &prefix, unsigned long level) const;
        static char LevelChar(unsigned long level) noexcept; // '?' if the level has no letter, or is a combination

        // Passes the entry to each destination that accepts it. An exception that a destination throws is dropped.
        static void WriteEntry(unsigned long level, Category const &category, TTextMessage const &message);
        static void SetGlobalTracing(); // computes the global level and component from all destinations
        // These functions set the masks that trace points test. The next change of a destination computes them again.
        static void SetGlobalLevel(unsigned long level);
        static void SetGlobalComponent(unsigned long component);

        // These functions return the masks that trace points test.
        static unsigned long QueryGlobalLevel() noexcept { return fsRuntimeLevel; }
        static unsigned long QueryGlobalComponent() noexcept { return fsRuntimeComponent; }
        // Returns whether some destination may accept an entry of this level and component. Trace points make this
        // test.
        static int IsGlobalTracing(unsigned long level, unsigned long component) noexcept {
            return (fsRuntimeLevel & level) != 0 && (fsRuntimeComponent & component) != 0;
        }
        // Returns whether some destination accepts an entry of this level, component and category.
        static int IsGlobalTracing(unsigned long level, unsigned long component, Category const &category);

        static void Register(Category const &category);           // the constructor of the category does this
        static TTraceSetKnownCursor *ListClasses();               // starts at the first; the caller deletes the cursor
        static Category const *FindCategory(TString const &name); // ignores case and component; null if there is none
        // Returns the name of the lowest bit, or "" if no bit below bit 32 is set. A name that the program has given
        // replaces the library's name.
        static TString QueryComponentName(unsigned long mask);
        // Returns the bit of a component, or 0 if the name is unknown. Letter case does not matter. "1" to "32" stand
        // for bits 0 to 31; other numbers count modulo 32.
        static unsigned long QueryComponentFromName(TString const &name);
        // Gives a component a second name, which trace configurations understand too. Does nothing if `mask` is not a
        // single bit, or is bit 0, which is this library's. REQUIRES: `name` exists until the process ends.
        static void NameComponent(unsigned long mask, char const *name) noexcept;

        static Base *fsAnchor;                   // the head of the chain of destinations
        static TMutexSemaphore &fsMutex;         // the trace lock
        static TTraceWord fsRuntimeLevel;        // the levels that some destination accepts
        static TTraceWord fsRuntimeComponent;    // the components that some destination accepts
        static TTraceSetKnown fsKnownCategories; // the registry of categories

    protected:
        // These constructors join the chain at once, before the subclass is constructed. The constructor without
        // arguments sets the levels "np" (docs/tracing.md) and all components.
        Base();
        Base(unsigned long level, unsigned long component);
        // These constructors do not join the chain. The object joins it when Make() or the subclass calls Join().
        enum Joining { joinsLater };
        explicit Base(Joining);
        Base(Joining, unsigned long level, unsigned long component);

        void Unlink() noexcept; // leaves the chain; a second call does nothing

    private:
        friend class TTrace;
        friend class TTracePoint;
        friend class TTraceSharedFile;
        friend class TTraceSharedFileBase;
        friend class TTraceStream;
        friend class TTraceStreamBase;
        class Walk;

        // A function of a destination that takes an entry of a trace point as a line, without a message. The library's
        // destinations have such a function, but classes derived from them, and other destinations, have none. The
        // library calls the function under the trace lock.
        using TLineWriter = void (*)(Base &, unsigned long level, TTraceLine &) noexcept;
        void TakeLines(TLineWriter writer); // from now on, `writer` takes the entries of trace points
        static bool WriteLine(unsigned long level, Category const &category, char const *file, unsigned long line,
                              char const *format, TagVar const *values, std::uint32_t count) noexcept;
        static void FindSoleDestination() noexcept;
        int TakesCategory(Category const &category) const;

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
        std::atomic<TLineWriter> fWriteLine{nullptr};
    };

    using Pointer = TReference<Base>; // a counted reference to a destination

    // Remembers the levels, components and default of a handle's destination. If QueryDisableRestore() is 0 when the
    // object is destroyed, the destructor restores them. Changes of the category table remain.
    class TUZUTIL_API SaveState {
    public:
        [[nodiscard]] explicit SaveState(TTrace &trace); // remembers the settings
        // Remembers the settings. Then sets the levels to `level`, adds the category's component, and switches the
        // category on.
        [[nodiscard]] SaveState(TTrace &trace, unsigned long level, Category const &category);
        SaveState(SaveState const &) = default;
        SaveState &operator=(SaveState const &) = default;
        ~SaveState();

    private:
        Pointer fDestination;
        std::uint32_t fLevel = 0;
        std::uint32_t fComponent = 0;
        std::int32_t fDefaultTracing = 0;
        TTraceSet *fCategories = nullptr; // the table itself, not a copy: its changes remain
    };

    TTrace() noexcept = default; // no destination
    // Opens the destination that a configuration names. The form of a configuration is
    // "keyword(argument),levels,components,default,categories,prefix", see docs/tracing.md. Opens no destination if the
    // configuration is null or empty. Throws TInvalidRequest "Unknown level specified" or "Invalid default specified".
    TTrace(char const *configuration);
    TTrace(TTrace const &) = default;
    TTrace &operator=(TTrace const &) = default;
    virtual ~TTrace();

    // Constructs a destination of the class `Destination` with these arguments, and returns a handle to it. The
    // destination joins the chain after it is constructed, and leaves the chain before it is destroyed. REQUIRES: if
    // the class is final, its destructor itself calls Unlink() first.
    template <class Destination, class... Arguments>
    [[nodiscard]] static TTrace Make(Arguments &&...arguments) {
        using TMade = std::conditional_t<std::is_final_v<Destination>, Destination, TLeaving<Destination>>;
        TTrace trace;
        trace.fDestination = Pointer(new TMade(std::forward<Arguments>(arguments)...));
        trace.fDestination->Join();
        return trace;
    }

    // Applies the part of a configuration after the destination, "levels,components,default,categories,prefix". An
    // empty field leaves its setting unchanged. If the levels or the default are faulty, applies only the fields before
    // them, and throws as the constructor does.
    virtual void ParseTraceString(char const *selection);

    // These functions call the functions of the same name in the destination. Without a destination, setters do
    // nothing, QueryDisableRestore() and UsesDefault() return 1, and all other queries return 0.
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

    Pointer &QueryPointer() noexcept { return fDestination; }             // null without a destination
    Pointer const &QueryPointer() const noexcept { return fDestination; } // null without a destination

    // These functions do the same as the functions of the same name in Base.
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
    static void SetExeFileName(TString, TString) noexcept {} // does nothing; it exists for programs that call it

    static TString &fsExeFileName; // empty until QueryExeFileName() is called

private:
    // Make() constructs an object of this class. Its destructor leaves the chain before that of `Destination` begins.
    template <class Destination>
    class TLeaving final : public Destination {
    public:
        template <class... Arguments>
        explicit TLeaving(Arguments &&...arguments) : Destination(std::forward<Arguments>(arguments)...) {}
        ~TLeaving() override { this->TTrace::Base::Unlink(); }
    };

    Pointer fDestination;
};

// The library's own categories. All of them have the component "Utility", whose mask is 1.
class TUZUTIL_API TUtilityTraceCategory {
public:
    // These categories have the names of the variables.
    static TTrace::Category const TagVar;
    static TTrace::Category const NLSResource;
    static TTrace::Category const Message;
    static TTrace::Category const Trace;
    static TTrace::Category const Queue;
    static TTrace::Category const Utility;
    static TTrace::Category const String;
    static TTrace::Category const Factory;
    static TTrace::Category const CrtMsg; // but its name is "CRTmsg"
    static TTrace::Category const MemStream;
    static TTrace::Category const OleStream;
    static TTrace::Category const Directory;

private:
    TUtilityTraceCategory() = delete;
};

#endif

// TTrace::Base, a destination that writes trace entries, and TTrace, a handle of a destination. This source keeps the
// chain of all destinations, decides which entries each of them takes, sets the global integers that trace points test,
// and passes entries to the destinations. The trace lock, TTrace::Base::fsMutex, is recursive. It guards the chain and
// the tables of the destinations. The text of an entry is made before the lock is taken. Destinations write while the
// lock is held.

#include "tuzutil/TRACE.h"

#include "platform/no_cancel.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACESET.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/trace_line.h"
#include "utility/kernel/word32.h"

#include <functional>
#include <memory>
#include <type_traits>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");

constexpr std::uint32_t fsDefaultLevels = 0x1000F; // the group "np" of trace_levels.h
constexpr std::uint32_t fsAllComponents = 0xFFFFFFFF;

std::uint32_t Mask(unsigned long mask) {
    if (!word32::FitsMask(mask))
        fsReports.Raise<TInvalidParameter>("Mask beyond 32 bits");
    return static_cast<std::uint32_t>(mask);
}

// Counts the entries that this thread is writing. Writing an entry may cause another entry: for example, a fault in the
// format is traced. WriteEntry() drops entries that are nested too deep, because nesting could otherwise go on for
// ever.
class TDepth {
public:
    TDepth() noexcept { ++fsDepth; }
    ~TDepth() { --fsDepth; }
    TDepth(TDepth const &) = delete;
    TDepth &operator=(TDepth const &) = delete;
    bool IsTooDeep() const noexcept { return fsDepth > 8; }

private:
    static thread_local int fsDepth;
};

thread_local int TDepth::fsDepth = 0;

} // namespace

// A walk along the chain of destinations. REQUIRES: the thread holds the trace lock. Walks of one thread may be nested.
// Invariant: fNext is null or in the chain. If a destination leaves the chain, every walk that would visit it next
// continues with the destination after it.
class TTrace::Base::Walk {
public:
    Walk() noexcept : fNext(fsAnchor), fOuter(fsInnermost) { fsInnermost = this; }
    ~Walk() { fsInnermost = fOuter; }
    Walk(Walk const &) = delete;
    Walk &operator=(Walk const &) = delete;

    Base *Next() noexcept {
        Base *const current = fNext;
        if (current)
            fNext = current->fNext;
        return current;
    }

    static void Leave(Base const *gone) noexcept {
        for (Walk *walk = fsInnermost; walk; walk = walk->fOuter) {
            if (walk->fNext == gone)
                walk->fNext = gone->fNext;
        }
    }

private:
    // The innermost walk of this thread. A thread has walks only while it holds the trace lock. Therefore, if a
    // destination leaves the chain, only walks of the same thread can stand at this destination.
    static thread_local Walk *fsInnermost;

    Base *fNext;
    Walk *fOuter;
};

thread_local TTrace::Base::Walk *TTrace::Base::Walk::fsInnermost = nullptr;

namespace {

// This flag is set while the chain has exactly one destination, and this destination has a line writer (see
// TakeLines()) and takes all categories. While the flag is set, fsRuntimeLevel and fsRuntimeComponent, which trace
// points test, are the level and the component of this destination.
constinit TTraceWord fsHasSoleDestination{0};

} // namespace

// REQUIRES: the thread holds the trace lock.
void TTrace::Base::FindSoleDestination() noexcept {
    Base const *const first = fsAnchor;
    fsHasSoleDestination = first && !first->fNext && first->fWriteLine.load(std::memory_order_relaxed) &&
                           first->fDefaultTracing && first->fCategories.load()->GetNumberElements() == 0;
}

void TTrace::Base::TakeLines(TLineWriter writer) {
    TLock const lock(Base::fsMutex);
    fWriteLine.store(writer, std::memory_order_relaxed);
    FindSoleDestination();
}

// Destinations

TTrace::Base::Base() : Base(fsDefaultLevels, fsAllComponents) {}

TTrace::Base::Base(unsigned long level, unsigned long component) : Base(joinsLater, level, component) {
    Join();
}

TTrace::Base::Base(Joining joining) : Base(joining, fsDefaultLevels, fsAllComponents) {}

TTrace::Base::Base(Joining, unsigned long level, unsigned long component)
    : fLevel(Mask(level)), fComponent(Mask(component)), fCategories(new TTraceSet) {}

void TTrace::Base::Join() {
    TLock const lock(Base::fsMutex);
    for (Base const *other = fsAnchor; other; other = other->fNext) {
        if (other == this)
            return;
    }
    fNext = fsAnchor;
    fsAnchor = this;
    SetGlobalTracing();
}

TTrace::Base::~Base() {
    TLock const lock(Base::fsMutex);
    Unlink();
    delete fCategories.exchange(nullptr);
}

void TTrace::Base::Unlink() noexcept {
    TLock const lock(Base::fsMutex);
    for (Base **link = &fsAnchor; *link; link = &(*link)->fNext) {
        if (*link == this) {
            *link = fNext;
            Walk::Leave(this);
            SetGlobalTracing();
            return;
        }
    }
}

// If the count of references is 0, the constructor or destructor of one of the object's base classes may be running.
// While it runs, the object has the type of that base class. So Write() may be called here although the class of the
// object overrides it. In a debug build, Trap(*this, ...) would end the process. Therefore, if the count is 0, Trap()
// is called without an object.
void TTrace::Base::Write(unsigned long, Category const &, TTextMessage const &) {
    if (QueryReferenceCount() == 0)
        TPureCall::Trap();
    else
        TPureCall::Trap(*this, "TTrace::Base::Write()");
}

void TTrace::Base::Change() {}

void TTrace::Base::SetLevel(unsigned long level) {
    std::uint32_t const mask = Mask(level);
    {
        TLock const lock(Base::fsMutex);
        if (fStopped)
            return;
        fLevel = mask;
        SetGlobalTracing();
    }
    Change();
}

void TTrace::Base::SetComponent(unsigned long component) {
    std::uint32_t const mask = Mask(component);
    {
        TLock const lock(Base::fsMutex);
        if (fStopped)
            return;
        fComponent = mask;
        SetGlobalTracing();
    }
    Change();
}

void TTrace::Base::SetDefaultTracing(int on) {
    {
        TLock const lock(Base::fsMutex);
        fDefaultTracing = static_cast<std::uint32_t>(on);
        FindSoleDestination();
    }
    Change();
}

void TTrace::Base::SetDisplayPrefix(int longForm) noexcept {
    fDisplayPrefix = static_cast<std::uint32_t>(longForm);
}

void TTrace::Base::SetPrefixParts(unsigned long parts) noexcept {
    fPrefixParts = static_cast<std::uint32_t>(parts);
}

void TTrace::Base::SetDisableRestore(int disable) {
    fDisableRestore = static_cast<std::uint32_t>(disable);
    Change();
}

void TTrace::Base::StopTracing() {
    {
        TLock const lock(Base::fsMutex);
        fDisableRestore = 1;
        fStopped = 1;
        fLevel = 0;
        fComponent = 0;
        SetGlobalTracing();
    }
    Change();
}

// The category table

int TTrace::Base::IsTracing(unsigned long level, unsigned long component, Category const &category) const {
    return IsTracing(level, component) && QueryCategory(category);
}

void TTrace::Base::AddCategory(Category const &category, int on) {
    {
        TLock const lock(Base::fsMutex);
        TTraceSet &categories = *fCategories;
        if (TElementCategory *const entry = categories.FindKey(category))
            entry->SetOn(on);
        else
            categories.Add(std::make_unique<TElementCategory>(category, on));
        FindSoleDestination();
    }
    Change();
}

void TTrace::Base::RemoveCategory(Category const &category) {
    {
        TLock const lock(Base::fsMutex);
        TTraceSet &categories = *fCategories;
        std::unique_ptr<TElementCategory> const entry(categories.FindKey(category));
        if (!entry)
            return;
        categories.Remove(entry.get());
        FindSoleDestination();
    }
    Change();
}

int TTrace::Base::QueryCategory(Category const &category) const {
    TLock const lock(Base::fsMutex);
    return TakesCategory(category);
}

// REQUIRES: the thread holds the trace lock.
int TTrace::Base::TakesCategory(Category const &category) const {
    TTraceSet const &categories = *fCategories;
    TElementCategory const *const entry = categories.GetNumberElements() != 0 ? categories.FindKey(category) : nullptr;
    return entry ? entry->IsOn() : QueryDefaultTracing();
}

int TTrace::Base::UsesDefault(Category const &category) const {
    TLock const lock(Base::fsMutex);
    return fCategories.load()->FindKey(category) ? 1 : 0;
}

// Records

void TTrace::Base::FormatPrefix(TString &prefix, unsigned long level) const {
    prefix = TTracePrefix(QueryDisplayPrefix() ? TTracePrefix::thread : TTracePrefix::letter, level, QueryPrefixParts())
                 .Text();
}

// All destinations

void TTrace::Base::WriteEntry(unsigned long level, Category const &category, TTextMessage const &message) {
    TDepth const depth;
    if (depth.IsTooDeep())
        return;
    TNoCancel const noCancel;
    if (!IsHeard(level, category.QueryComponent(), category))
        return;
    // The text is made before the lock is taken, because making it may load a library, which needs the lock of the
    // system's loader. Another thread may hold the loader's lock while it runs the constructor or destructor of a
    // static object. If that object traces, the other thread waits for the trace lock. So the two threads could wait
    // for each other.
    // No test gets here: memory would have to be lacking for the text of a message that could be made.
    if (!DropExceptions([&] { static_cast<void>(message.QueryMessage()); }))
        return;
    TLock const lock(Base::fsMutex);
    for (Walk walk; Base *const destination = walk.Next();) {
        // An exception of one destination must reach neither the writer of the entry nor the other destinations.
        DropExceptions([&] {
            if (destination->IsTracing(level, category.QueryComponent(), category))
                destination->Write(level, category, message);
        });
    }
}

// Writes an entry of a trace point without making a TTextMessage. Returns false, and writes nothing, if the entry needs
// a TTextMessage. That is the case if a destination that takes the entry has no line writer, or if TTraceLine::Print()
// fails.
bool TTrace::Base::WriteLine(unsigned long level, Category const &category, char const *file, unsigned long line,
                             char const *format, TagVar const *values, std::uint32_t count) noexcept {
    TDepth const depth;
    if (depth.IsTooDeep())
        return true;
    TNoCancelByOthers const noCancel;
    unsigned long const component = category.QueryComponent();
    auto const takes = [&](Base const &destination) {
        return destination.IsTracing(level, component) && destination.TakesCategory(category);
    };
    if (!fsHasSoleDestination) {
        TLock const lock(Base::fsMutex);
        bool isHeard = false;
        for (Walk walk; Base const *const destination = walk.Next();) {
            if (!takes(*destination))
                continue;
            if (!destination->fWriteLine.load(std::memory_order_relaxed))
                return false;
            isHeard = true;
        }
        if (!isHeard)
            return true;
    }
    TTraceLine entry(category, file, line);
    if (!entry.Print(format, values, count))
        return false;
    TLock const lock(Base::fsMutex);
    if (fsHasSoleDestination) [[likely]] {
        // No walk is needed, because nothing is done after the only destination has written.
        // No test gets here: another thread would have to change the settings just before this line.
        if (fsAnchor->IsTracing(level, component))
            fsAnchor->fWriteLine.load(std::memory_order_relaxed)(*fsAnchor, level, entry);
        return true;
    }
    for (Walk walk; Base *const destination = walk.Next();) {
        TLineWriter const write = destination->fWriteLine.load(std::memory_order_relaxed);
        // No test gets here: another thread would have to add a destination without this function just before this
        // line.
        if (write && takes(*destination))
            write(*destination, level, entry);
    }
    return true;
}

void TTrace::Base::SetGlobalTracing() {
    TLock const lock(Base::fsMutex);
    std::uint32_t level = 0;
    std::uint32_t component = 0;
    for (Walk walk; Base const *const destination = walk.Next();) {
        level |= destination->fLevel;
        component |= destination->fComponent;
    }
    FindSoleDestination();
    SetGlobalLevel(level);
    SetGlobalComponent(component);
}

void TTrace::Base::SetGlobalLevel(unsigned long level) {
    fsRuntimeLevel = Mask(level);
    TTraceNotify::NotifyAll();
}

void TTrace::Base::SetGlobalComponent(unsigned long component) {
    fsRuntimeComponent = Mask(component);
    TTraceNotify::NotifyAll();
}

int TTrace::Base::IsGlobalTracing(unsigned long level, unsigned long component, Category const &category) {
    return IsGlobalTracing(level, component) && IsHeard(level, component, category);
}

// Returns whether some destination takes entries of this level, component and category.
bool TTrace::Base::IsHeard(unsigned long level, unsigned long component, Category const &category) {
    TLock const lock(Base::fsMutex);
    for (Walk walk; Base const *const destination = walk.Next();) {
        if (destination->IsTracing(level, component, category))
            return true;
    }
    return false;
}

// Handles

namespace {

// A TTrace is a handle of a destination. Tell() and Ask() pass a call of a TTrace on to its destination. If the handle
// has no destination, Tell() does nothing and Ask() returns `otherwise`.
template <typename Member, typename... Arguments>
void Tell(TTrace::Pointer const &destination, Member member, Arguments &&...arguments) {
    if (destination)
        std::invoke(member, *destination, arguments...);
}
template <typename Member, typename... Arguments>
auto Ask(TTrace::Pointer const &destination, int otherwise, Member member, Arguments &&...arguments) {
    using TResult = std::invoke_result_t<Member, TTrace::Base &, Arguments &...>;
    return destination ? std::invoke(member, *destination, arguments...) : static_cast<TResult>(otherwise);
}

} // namespace

TTrace::~TTrace() = default;

unsigned long TTrace::QueryLevel() const noexcept {
    return Ask(fDestination, 0, &Base::QueryLevel);
}

void TTrace::SetLevel(unsigned long level) {
    Tell(fDestination, &Base::SetLevel, level);
}

unsigned long TTrace::QueryComponent() const noexcept {
    return Ask(fDestination, 0, &Base::QueryComponent);
}

void TTrace::SetComponent(unsigned long component) {
    Tell(fDestination, &Base::SetComponent, component);
}

int TTrace::QueryDefaultTracing() const noexcept {
    return Ask(fDestination, 0, &Base::QueryDefaultTracing);
}

void TTrace::SetDefaultTracing(int on) {
    Tell(fDestination, &Base::SetDefaultTracing, on);
}

int TTrace::QueryDisplayPrefix() const noexcept {
    return Ask(fDestination, 0, &Base::QueryDisplayPrefix);
}

void TTrace::SetDisplayPrefix(int longForm) noexcept {
    Tell(fDestination, &Base::SetDisplayPrefix, longForm);
}

unsigned long TTrace::QueryPrefixParts() const noexcept {
    return Ask(fDestination, 0, &Base::QueryPrefixParts);
}

void TTrace::SetPrefixParts(unsigned long parts) noexcept {
    Tell(fDestination, &Base::SetPrefixParts, parts);
}

unsigned long TTrace::QueryCountSaveState() const noexcept {
    return Ask(fDestination, 0, &Base::QueryCountSaveState);
}

int TTrace::QueryDisableRestore() const noexcept {
    return Ask(fDestination, 1, &Base::QueryDisableRestore);
}

void TTrace::SetDisableRestore(int disable) {
    Tell(fDestination, &Base::SetDisableRestore, disable);
}

void TTrace::StopTracing() {
    Tell(fDestination, &Base::StopTracing);
}

int TTrace::StillTracing() const noexcept {
    return Ask(fDestination, 0, &Base::StillTracing);
}

int TTrace::IsTracing(unsigned long level, unsigned long component) const noexcept {
    int (Base::*const query)(unsigned long, unsigned long) const noexcept = &Base::IsTracing;
    return Ask(fDestination, 0, query, level, component);
}

int TTrace::IsTracing(unsigned long level, unsigned long component, Category const &category) const {
    int (Base::*const query)(unsigned long, unsigned long, Category const &) const = &Base::IsTracing;
    return Ask(fDestination, 0, query, level, component, category);
}

void TTrace::AddCategory(Category const &category, int on) {
    Tell(fDestination, &Base::AddCategory, category, on);
}

void TTrace::RemoveCategory(Category const &category) {
    Tell(fDestination, &Base::RemoveCategory, category);
}

int TTrace::QueryCategory(Category const &category) const {
    return Ask(fDestination, 0, &Base::QueryCategory, category);
}

int TTrace::UsesDefault(Category const &category) const {
    return Ask(fDestination, 1, &Base::UsesDefault, category);
}

void TTrace::FormatPrefix(TString &prefix, unsigned long level) const {
    Tell(fDestination, &Base::FormatPrefix, prefix, level);
}

// Saved settings

TTrace::SaveState::SaveState(TTrace &trace) : fDestination(trace.QueryPointer()) {
    if (!fDestination)
        return;
    fLevel = static_cast<std::uint32_t>(fDestination->QueryLevel());
    fComponent = static_cast<std::uint32_t>(fDestination->QueryComponent());
    fDefaultTracing = fDestination->QueryDefaultTracing();
    fCategories = fDestination->fCategories;
    ++fDestination->fCountSaveState;
    fDestination->Change();
}

TTrace::SaveState::SaveState(TTrace &trace, unsigned long level, Category const &category) : SaveState(trace) {
    if (!fDestination)
        return;
    TLock const lock(Base::fsMutex);
    fDestination->SetLevel(level);
    fDestination->SetComponent(fDestination->QueryComponent() | category.QueryComponent());
    fDestination->AddCategory(category, 1);
}

TTrace::SaveState::~SaveState() {
    Base *const destination = fDestination.Pointer();
    if (!destination)
        return;
    // Each of these calls runs Change(), which a destination may override, and which may throw. The exceptions are
    // dropped, because a destructor must not throw.
    if (!destination->QueryDisableRestore()) {
        DropExceptions([&] { destination->SetLevel(fLevel); });
        DropExceptions([&] { destination->SetComponent(fComponent); });
        DropExceptions([&] { destination->SetDefaultTracing(fDefaultTracing); });
        destination->fCategories = fCategories;
    }
    --destination->fCountSaveState;
    DropExceptions([&] { destination->Change(); });
}

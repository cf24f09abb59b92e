#include "tuzutil/TRACE.h"

#include "platform/no_cancel.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACESET.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/trace_lock.h"
#include "utility/kernel/trace_record.h"
#include "utility/kernel/word32.h"

#include <memory>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");

constexpr std::uint32_t fsDefaultLevels = 0x1000F; // "np"
constexpr std::uint32_t fsAllComponents = 0xFFFFFFFF;

std::uint32_t Mask(unsigned long mask) {
    if (!word32::FitsMask(mask))
        fsReports.Raise<TInvalidParameter>("Mask beyond 32 bits");
    return static_cast<std::uint32_t>(mask);
}

// An entry that is being written may cause further ones (a faulty format is traced while it is formatted), but not
// without end.
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

// A walk along the chain, under the trace lock. A destination that leaves the chain meanwhile, on the same thread, is
// not visited: the walk that stands before it goes on behind it.
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
    static thread_local Walk *fsInnermost; // only walks of the thread that holds the trace lock matter

    Base *fNext;
    Walk *fOuter;
};

thread_local TTrace::Base::Walk *TTrace::Base::Walk::fsInnermost = nullptr;

// Destinations

TTrace::Base::Base() : Base(fsDefaultLevels, fsAllComponents) {}

TTrace::Base::Base(unsigned long level, unsigned long component) : Base(joinsLater, level, component) {
    Join();
}

TTrace::Base::Base(Joining joining) : Base(joining, fsDefaultLevels, fsAllComponents) {}

TTrace::Base::Base(Joining, unsigned long level, unsigned long component)
    : fLevel(Mask(level)), fComponent(Mask(component)), fCategories(new TTraceSet) {}

void TTrace::Base::Join() {
    TTraceLock const lock;
    for (Base const *other = fsAnchor; other; other = other->fNext) {
        if (other == this)
            return;
    }
    fNext = fsAnchor;
    fsAnchor = this;
    SetGlobalTracing();
}

TTrace::Base::~Base() {
    TTraceLock const lock;
    Unlink();
    delete fCategories.exchange(nullptr);
}

void TTrace::Base::Unlink() noexcept {
    TTraceLock const lock;
    for (Base **link = &fsAnchor; *link; link = &(*link)->fNext) {
        if (*link == this) {
            *link = fNext;
            Walk::Leave(this);
            SetGlobalTracing();
            return;
        }
    }
}

void TTrace::Base::Write(unsigned long, Category const &, TTextMessage const &) {
    TPureCall::Trap();
}

void TTrace::Base::Change() {}

void TTrace::Base::SetLevel(unsigned long level) {
    std::uint32_t const mask = Mask(level);
    {
        TTraceLock const lock;
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
        TTraceLock const lock;
        if (fStopped)
            return;
        fComponent = mask;
        SetGlobalTracing();
    }
    Change();
}

void TTrace::Base::SetDefaultTracing(int on) {
    fDefaultTracing = static_cast<std::uint32_t>(on);
    Change();
}

void TTrace::Base::SetDisplayPrefix(int longForm) noexcept {
    fDisplayPrefix = static_cast<std::uint32_t>(longForm);
}

void TTrace::Base::SetDisableRestore(int disable) {
    fDisableRestore = static_cast<std::uint32_t>(disable);
    Change();
}

void TTrace::Base::StopTracing() {
    {
        TTraceLock const lock;
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
        TTraceLock const lock;
        TTraceSet &categories = *fCategories;
        if (TElementCategory *const entry = categories.FindKey(category))
            entry->SetOn(on);
        else
            categories.Add(std::make_unique<TElementCategory>(category, on));
    }
    Change();
}

void TTrace::Base::RemoveCategory(Category const &category) {
    {
        TTraceLock const lock;
        TTraceSet &categories = *fCategories;
        std::unique_ptr<TElementCategory> const entry(categories.FindKey(category));
        if (!entry)
            return;
        categories.Remove(entry.get());
    }
    Change();
}

int TTrace::Base::QueryCategory(Category const &category) const {
    TTraceLock const lock;
    TElementCategory const *const entry = fCategories.load()->FindKey(category);
    return entry ? entry->IsOn() : QueryDefaultTracing();
}

int TTrace::Base::UsesDefault(Category const &category) const {
    TTraceLock const lock;
    return fCategories.load()->FindKey(category) ? 1 : 0;
}

// Records

void TTrace::Base::FormatPrefix(TString &prefix, unsigned long level) const {
    prefix = TTracePrefix(QueryDisplayPrefix() ? TTracePrefix::thread : TTracePrefix::letter, level).Text();
}

// All destinations

void TTrace::Base::WriteEntry(unsigned long level, Category const &category, TTextMessage const &message) {
    TDepth const depth;
    if (depth.IsTooDeep())
        return;
    TNoCancel const noCancel;
    if (!IsHeard(level, category.QueryComponent(), category))
        return;
    try {
        // Made outside the lock: to find a text or to convert it, libraries may be asked, or loaded, and another
        // thread's static objects may trace while the system's loader waits for them.
        static_cast<void>(message.QueryMessage());
    } catch (...) {
        return;
    }
    TTraceLock const lock;
    for (Walk walk; Base *const destination = walk.Next();) {
        try {
            if (destination->IsTracing(level, category.QueryComponent(), category))
                destination->Write(level, category, message);
        } catch (...) {
            // One destination's trouble is neither the writer's nor the others'.
        }
    }
}

void TTrace::Base::SetGlobalTracing() {
    TTraceLock const lock;
    std::uint32_t level = 0;
    std::uint32_t component = 0;
    for (Walk walk; Base const *const destination = walk.Next();) {
        level |= destination->fLevel;
        component |= destination->fComponent;
    }
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

// Whether some destination takes the entry.
bool TTrace::Base::IsHeard(unsigned long level, unsigned long component, Category const &category) {
    TTraceLock const lock;
    for (Walk walk; Base const *const destination = walk.Next();) {
        if (destination->IsTracing(level, component, category))
            return true;
    }
    return false;
}

// Handles

TTrace::~TTrace() = default;

unsigned long TTrace::QueryLevel() const noexcept {
    return fDestination ? fDestination->QueryLevel() : 0;
}

void TTrace::SetLevel(unsigned long level) {
    if (fDestination)
        fDestination->SetLevel(level);
}

unsigned long TTrace::QueryComponent() const noexcept {
    return fDestination ? fDestination->QueryComponent() : 0;
}

void TTrace::SetComponent(unsigned long component) {
    if (fDestination)
        fDestination->SetComponent(component);
}

int TTrace::QueryDefaultTracing() const noexcept {
    return fDestination ? fDestination->QueryDefaultTracing() : 0;
}

void TTrace::SetDefaultTracing(int on) {
    if (fDestination)
        fDestination->SetDefaultTracing(on);
}

int TTrace::QueryDisplayPrefix() const noexcept {
    return fDestination ? fDestination->QueryDisplayPrefix() : 0;
}

void TTrace::SetDisplayPrefix(int longForm) noexcept {
    if (fDestination)
        fDestination->SetDisplayPrefix(longForm);
}

unsigned long TTrace::QueryCountSaveState() const noexcept {
    return fDestination ? fDestination->QueryCountSaveState() : 0;
}

int TTrace::QueryDisableRestore() const noexcept {
    return fDestination ? fDestination->QueryDisableRestore() : 1;
}

void TTrace::SetDisableRestore(int disable) {
    if (fDestination)
        fDestination->SetDisableRestore(disable);
}

void TTrace::StopTracing() {
    if (fDestination)
        fDestination->StopTracing();
}

int TTrace::StillTracing() const noexcept {
    return fDestination ? fDestination->StillTracing() : 0;
}

int TTrace::IsTracing(unsigned long level, unsigned long component) const noexcept {
    return fDestination ? fDestination->IsTracing(level, component) : 0;
}

int TTrace::IsTracing(unsigned long level, unsigned long component, Category const &category) const {
    return fDestination ? fDestination->IsTracing(level, component, category) : 0;
}

void TTrace::AddCategory(Category const &category, int on) {
    if (fDestination)
        fDestination->AddCategory(category, on);
}

void TTrace::RemoveCategory(Category const &category) {
    if (fDestination)
        fDestination->RemoveCategory(category);
}

int TTrace::QueryCategory(Category const &category) const {
    return fDestination ? fDestination->QueryCategory(category) : 0;
}

int TTrace::UsesDefault(Category const &category) const {
    return fDestination ? fDestination->UsesDefault(category) : 1;
}

void TTrace::FormatPrefix(TString &prefix, unsigned long level) const {
    if (fDestination)
        fDestination->FormatPrefix(prefix, level);
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
    TTraceLock const lock;
    fDestination->SetLevel(level);
    fDestination->SetComponent(fDestination->QueryComponent() | category.QueryComponent());
    fDestination->AddCategory(category, 1);
}

TTrace::SaveState::~SaveState() {
    if (!fDestination)
        return;
    if (!fDestination->QueryDisableRestore()) {
        fDestination->SetLevel(fLevel);
        fDestination->SetComponent(fComponent);
        fDestination->SetDefaultTracing(fDefaultTracing);
        fDestination->fCategories = fCategories;
    }
    --fDestination->fCountSaveState;
    fDestination->Change();
}

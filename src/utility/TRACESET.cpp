// TTrace::Category, which names the subject of a trace entry. Also the registry of all categories, and the names of
// components, which are groups of categories. The registration of a static category takes no lock of tuzutil.
// FindCategory() holds TTraceRegistry::fsMutex while it reads the categories in the registry. The destructor of a
// category takes this lock too, because no category may be destroyed while FindCategory() reads it.

#include "tuzutil/TRACESET.h"
#include "tuzutil/TRACE.h"

#include "platform/platform.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/debug_check.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/trace_registry.h"
#include "utility/kernel/word32.h"

#include <atomic>
#include <bit>

// Categories

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");

} // namespace

TTrace::Category::Category(unsigned long component, TString const &name)
    : fComponent(word32::FitsMask(component) ? static_cast<std::uint32_t>(component) : 0), fName(name.Copy()) {
    TTrace::Register(*this);
}

TTrace::Category::Category(unsigned long component, char const *name) : Category(component, TString(name)) {}

// Removes the category from the registry, if it is there. The copy constructor does not register the new category.
TTrace::Category::~Category() {
    TLock const lock(TTraceRegistry::fsMutex);
    TTrace::Base::fsKnownCategories.Remove(this);
}

TTrace::Category::Category(Category const &other) {
    *this = other;
}

TTrace::Category &TTrace::Category::operator=(Category const &other) {
    if (this != &other) {
        fComponent = other.fComponent;
        fName = other.fName.Copy();
    }
    return *this;
}

int TTrace::Category::operator<(Category const &other) const noexcept {
    return fComponent != other.fComponent ? fComponent < other.fComponent : fName.isLessThan(other.fName);
}

int TTrace::Category::operator==(Category const &other) const noexcept {
    return fComponent == other.fComponent && fName.isEqual(other.fName);
}

// The registry. While the system loads a library, the system holds the loader's lock, and the static categories of the
// loaded library are registered. This registration takes no lock of tuzutil, because a thread that holds such a lock
// may be waiting for the loader's lock.

void TTraceSetKnown::Add(TTrace::Category const *category) {
    if (Reuse(category))
        return;
    auto *const entry = new TEntry;
    entry->category = category;
    TEntry *at = fNearEnd.load(std::memory_order_acquire);
    if (!at)
        at = &fHead;
    TEntry *next = nullptr;
    // No test gets here: two threads would have to register categories in one moment.
    while (!at->next.compare_exchange_strong(next, entry, std::memory_order_release, std::memory_order_acquire))
        at = std::exchange(next, nullptr);
    fNearEnd.store(entry, std::memory_order_release);
}

// Puts the category into an entry that a destroyed category has left. If there is no such entry, returns false. Without
// this function, a program that makes and destroys categories again and again would need ever more memory.
bool TTraceSetKnown::Reuse(TTrace::Category const *category) noexcept {
    if (fFree.load(std::memory_order_relaxed) == 0)
        return false;
    // No test gets here: another thread would have to take the last free entry after this thread has seen the number.
    for (TEntry *entry = fHead.next.load(std::memory_order_acquire); entry;
         entry = entry->next.load(std::memory_order_acquire)) {
        TTrace::Category const *none = nullptr;
        if (entry->category.compare_exchange_strong(none, category, std::memory_order_acq_rel)) {
            fFree.fetch_sub(1, std::memory_order_relaxed);
            return true;
        }
    }
    // No test gets here: another thread would have to take the last free entry after this thread has seen the number.
    return false;
}

void TTraceSetKnown::Remove(TTrace::Category const *category) noexcept {
    for (TEntry *entry = fHead.next.load(std::memory_order_acquire); entry;
         entry = entry->next.load(std::memory_order_acquire)) {
        // A relaxed load suffices, because no other thread changes an entry that has this category.
        if (entry->category.load(std::memory_order_relaxed) != category)
            continue;
        entry->category.store(nullptr, std::memory_order_release);
        fFree.fetch_add(1, std::memory_order_relaxed);
    }
}

unsigned long TTraceSetKnown::GetNumberElements() const noexcept {
    unsigned long count = 0;
    for (TTraceSetKnownCursor cursor(*this); cursor.Element(); cursor.Next())
        ++count;
    return count;
}

TTraceSetKnownCursor::TTraceSetKnownCursor(TTraceSetKnown const &set) noexcept : fEntry(&set.fHead) {
    Next();
}

TTrace::Category const *TTraceSetKnownCursor::Element() const noexcept {
    for (; fEntry; fEntry = fEntry->next.load(std::memory_order_acquire)) {
        if (TTrace::Category const *const category = fEntry->category.load(std::memory_order_acquire))
            return category;
    }
    return nullptr;
}

TTrace::Category const *TTraceSetKnownCursor::Next() noexcept {
    if (fEntry)
        fEntry = fEntry->next.load(std::memory_order_acquire);
    return Element();
}

void TTrace::Base::Register(Category const &category) {
    if (debugcheck::isOn && !platform::IsInImage(&category))
        fsReports.Warning("Category %s is not a static object", category.QueryString());
    fsKnownCategories.Add(&category);
}

TTraceSetKnownCursor *TTrace::Base::ListClasses() {
    return new TTraceSetKnownCursor(fsKnownCategories);
}

TTrace::Category const *TTrace::Base::FindCategory(TString const &name) {
    TLock const lock(TTraceRegistry::fsMutex);
    for (TTraceSetKnownCursor cursor(fsKnownCategories); Category const *const category = cursor.Element();
         cursor.Next()) {
        if (ascii_names::IsEqual(category->QueryString(), name))
            return category;
    }
    return nullptr;
}

// Components

namespace {

char const *const fsComponents[32] = {
    "Utility",    "MMToolkits", "Game",       "Protocol",   "Reserved5",  "Reserved6",  "Reserved7",  "Reserved8",
    "Reserved9",  "Reserved10", "Reserved11", "Reserved12", "Reserved13", "Reserved14", "Reserved15", "Reserved16",
    "Reserved17", "Reserved18", "Reserved19", "Reserved20", "Reserved21", "Reserved22", "Reserved23", "Reserved24",
    "Reserved25", "Reserved26", "Reserved27", "Reserved28", "Reserved29", "Reserved30", "Reserved31", "Reserved32"};

// The names that programs have given to the components, or null.
constinit std::atomic<char const *> fsGivenNames[32] = {};

bool IsNamed(char const *component, TString const &name) noexcept {
    return component && ascii_names::IsEqual(name, std::string_view(component));
}

} // namespace

void TTrace::Base::NameComponent(unsigned long mask, char const *name) noexcept {
    if (word32::FitsMask(mask) && std::has_single_bit(static_cast<std::uint32_t>(mask)) && mask != 1)
        fsGivenNames[__builtin_ctz(static_cast<std::uint32_t>(mask))].store(name, std::memory_order_release);
}

TString TTrace::Base::QueryComponentName(unsigned long mask) {
    auto const bits = static_cast<std::uint32_t>(mask);
    if (!bits)
        return TString("");
    int const number = __builtin_ctz(bits);
    char const *const given = fsGivenNames[number].load(std::memory_order_acquire);
    return TString(given ? given : fsComponents[number]);
}

unsigned long TTrace::Base::QueryComponentFromName(TString const &name) {
    if (name.length() == 0)
        return 0;
    if (name.isDigits())
        return 1ul << ((name.asUnsigned() - 1) & 31);
    for (int number = 0; number != 32; ++number) {
        if (IsNamed(fsGivenNames[number].load(std::memory_order_acquire), name) || IsNamed(fsComponents[number], name))
            return 1ul << number;
    }
    return 0;
}

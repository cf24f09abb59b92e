// TFactoryType: the name of a factory, and the name of the library that registers the factory. TFactoryLoaderBase:
// finds a registered factory by its type, and loads the library if the factory is not registered yet. There are two
// locks, taken in this order: fMutex is held while a library is loaded, and the lock of TFactoryRegistry while the set
// of factories is used. A registered factory is found without fMutex, unless its library is still being loaded.

#include "tuzutil/FACTORY.h"

#include "platform/platform.h"
#include "tuzutil/DIRECTRY.h"
#include "utility/factories/factory_registry.h"
#include "utility/factories/library_path.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/kept_code.h"
#include "utility/kernel/loading.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"

#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Factory, "src/utility/FACTORY");
char const fsEnding[] = ".dll";
constexpr unsigned int fsLongestPath = 259;

std::string_view View(TString const &text) noexcept {
    char const *const chars = text;
    return chars ? std::string_view(chars, text.length()) : std::string_view();
}

std::string_view LastPart(std::string_view name) noexcept {
    return name.substr(name.rfind('\\') + 1);
}

// Returns whether the part of the name that begins with its last dot is `ending`. Ignores the case of ASCII letters.
bool HasEnding(TString const &name, char const *ending) {
    std::string_view const whole = View(name);
    std::size_t const dot = whole.rfind('.');
    return dot != std::string_view::npos &&
           ascii_names::IsEqual(TStringAccess::From(whole.substr(dot)), TString(ending));
}

// The file names that a library may have, in the order in which they are tried. If `needsEnding` is false, there is
// only the name itself. If `needsEnding` is true, the first file name is the name with ".dll". If the system's own
// libraries have another ending, two further file names follow. The second file name is the name with that ending,
// which is not added twice. The third one is the second one with "lib" before its last part.
struct TNames {
    TNames(TString const &name, bool needsEnding) {
        all[0] = needsEnding ? name + fsEnding : name;
        if (!needsEnding || !platform::nativeLibraryEnding)
            return;
        all[1] = HasEnding(name, platform::nativeLibraryEnding) ? name : name + platform::nativeLibraryEnding;
        std::string_view const native = View(all[1]);
        std::size_t const path = native.size() - LastPart(native).size();
        all[2] = TStringAccess::From(native.substr(0, path)) + "lib" + TStringAccess::From(native.substr(path));
    }

    std::array<TString, 3> all; // unused elements are null
};

// Returns the path of the library in the first directory that contains the library, or null if no directory contains
// it. A path of more than fsLongestPath bytes is skipped.
TString Search(TString const &directories, TString const &name) {
    TNames const files(name, LastPart(View(name)).find('.') == std::string_view::npos);
    std::string_view rest = View(directories);
    while (!rest.empty()) {
        std::string_view const directory = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(directory.size() + 1, rest.size()));
        if (directory.empty())
            continue;
        for (TString const &file : files.all) {
            TString path = TDirectory::Combine(TStringAccess::From(directory), file);
            if (file && path.length() <= fsLongestPath && platform::IsFile(path))
                return path;
        }
    }
    return TString();
}

platform::Library *Open(TString const &name, platform::TLoaderWords &words) {
    TLoading loading;
    platform::Library *const library = platform::OpenLibrary(name, &words);
    TKeptCode const kept;
    loading.Rethrow();
    return library;
}

// Tries the names of the library in turn until the library can be opened. If all attempts fail, LastError() is the
// error of the first attempt, and `words` is what the system's loader says about the first library that exists. If no
// library exists, `words` is about the first name.
platform::Library *OpenUnderAnyName(TString const &name, platform::TLoaderWords &words) {
    TNames const names(name, !HasEnding(name, fsEnding));
    platform::Library *const library = Open(names.all[0], words);
    TKeptCode const kept;
    for (std::size_t i = 1; i < names.all.size() && !library && names.all[i]; ++i) {
        platform::TLoaderWords more;
        if (platform::Library *const other = Open(names.all[i], more))
            return other;
        if (more.isAboutLibrary && !words.isAboutLibrary)
            words = more;
    }
    return library;
}

} // namespace

// Types

TFactoryType::TFactoryType(char const *text) : TFactoryType(TString(text)) {}

TFactoryType::TFactoryType(TString const &text) {
    std::string_view const whole = View(text);
    std::size_t const open = whole.find('[');
    std::size_t const close = open == std::string_view::npos ? open : whole.find(']', open);
    if (text.IsNull())
        return;
    fName = TStringAccess::From(whole.substr(0, open));
    fDllName = close == std::string_view::npos ? fName : TStringAccess::From(whole.substr(open + 1, close - open - 1));
}

TFactoryType::TFactoryType(TFactoryType const &other) : fName(other.fName.Copy()), fDllName(other.fDllName.Copy()) {}

TFactoryType &TFactoryType::operator=(TFactoryType const &other) {
    TFactoryType copy(other);
    std::swap(fName, copy.fName);
    std::swap(fDllName, copy.fDllName);
    return *this;
}

bool TFactoryType::operator==(TFactoryType const &other) const noexcept {
    return ascii_names::IsEqual(fName, other.fName);
}

bool TFactoryType::operator<(TFactoryType const &other) const noexcept {
    return ascii_names::Compare(fName, other.fName) < 0;
}

// The registry

class TFactoryEntry {
public:
    TFactoryEntry(TFactoryType const &type, void *factory, bool isLoading)
        : fType(type), fFactory(factory), fIsLoading(isLoading) {}

    TFactoryType const &Key() const noexcept { return fType; }
    void *Factory() const noexcept { return fFactory; }

    // Returns whether the library of the factory is still being loaded. The factory may then be incomplete.
    bool IsLoading() const noexcept { return fIsLoading; }
    void Settle() noexcept { fIsLoading = false; }

private:
    TFactoryType fType;
    void *fFactory;
    bool fIsLoading;
};

class TFactoryLoaderSet : public TKeySetOf<TFactoryEntry, TFactoryType> {};

TFactoryLoaderBase::TFactoryLoaderBase()
    : fMutex(std::make_unique<TMutexSemaphore>()), fFactories(std::make_unique<TFactoryLoaderSet>()) {}

TFactoryLoaderBase::~TFactoryLoaderBase() = default;

void TFactoryLoaderBase::Add(TFactoryType const &type, void *factory) {
    auto entry = std::make_unique<TFactoryEntry>(type, factory, TLoading::IsUnderWay());
    bool isTaken = false;
    {
        TLock const lock(TFactoryRegistry::fsMutex);
        isTaken = fFactories->FindKey(type) != nullptr;
        if (!isTaken)
            fFactories->Add(std::move(entry));
    }
    if (isTaken)
        fsReports.Raise<TInvalidRequest>("Already defined",
                                         {.function = "TFactoryLoaderBase::Add(const TFactoryType&,void*)"});
}

bool TFactoryLoaderBase::Register(TFactoryType const &type, void *factory) {
    return TLoading::RaiseOrKeep([&] { Add(type, factory); });
}

void TFactoryLoaderBase::Remove(TFactoryType const &type) {
    TLock const lock(TFactoryRegistry::fsMutex);
    std::unique_ptr<TFactoryEntry> const entry(fFactories->FindKey(type));
    if (entry)
        fFactories->Remove(entry.get());
}

void *TFactoryLoaderBase::Lookup(TFactoryType const &type, bool alsoLoading) {
    TLock const lock(TFactoryRegistry::fsMutex);
    TFactoryEntry const *const entry = fFactories->FindKey(type);
    return entry && (alsoLoading || !entry->IsLoading()) ? entry->Factory() : nullptr;
}

void TFactoryLoaderBase::Settle() {
    TLock const lock(TFactoryRegistry::fsMutex);
    TFactoryLoaderSet::Cursor cursor(*fFactories);
    for (TFactoryEntry *entry = cursor.Element(); entry; entry = cursor.Next())
        entry->Settle();
}

// Looks for a registered factory before it takes fMutex. A thread that holds fMutex may be waiting for the lock of the
// system's loader. The thread that holds the loader's lock may be running the constructor of a static object that looks
// for a factory. If that thread then waited for fMutex, the two threads would wait for each other.
void *TFactoryLoaderBase::Find(TFactoryType const &type) {
    if (void *const factory = Lookup(type, false))
        return factory;
    TLock const lock(*fMutex);
    if (void *const factory = Lookup(type, true))
        return factory;
    LoadDll(type);
    void *const factory = Lookup(type, true);
    if (!TLoading::IsUnderWay())
        Settle();
    if (!factory)
        fsReports.Warning("Unable to find factory type %s", type.QueryName());
    return factory;
}

void *TFactoryLoaderBase::Find(unsigned long index) {
    TLock const lock(TFactoryRegistry::fsMutex);
    TFactoryEntry const *const entry = fFactories->Find(index);
    return entry ? entry->Factory() : nullptr;
}

// Libraries

int TFactoryLoaderBase::LoadDll(TFactoryType const &type) {
    TString const &name = type.QueryDllName();
    if (name.length() == 0)
        fsReports.Raise<TInvalidRequest>("No dll name found",
                                         {.function = "TFactoryLoaderBase::LoadDll(const TFactoryType&)"});
    TString const path = Search(TLibpath::Copy(), name);
    if (!path || LoadDll(static_cast<char const *>(path)) != 0)
        LoadDll(static_cast<char const *>(name));
    return 0;
}

int TFactoryLoaderBase::LoadDll(char const *name) {
    platform::TLoaderWords words;
    if (OpenUnderAnyName(TString("") + name, words))
        return 0;
    fsReports.Warning("Unable to load Dll %s, rc=x%08X", name, platform::LastError());
    if (words.isAboutLibrary)
        fsReports.Warning("Unable to load Dll %s: %s", name, words.text);
    return 1;
}

void TFactoryLoaderBase::AddLibpath(char const *directory) {
    TLibpath::AddFirst(directory);
}

void TFactoryLoaderBase::ThrowSingletonException() {
    fsReports.Raise<TInvalidRequest>("Singleton Object", {.function = "TFactoryLoaderBase::ThrowSingletonException()"});
}

#ifndef TUZUTIL_FACTORY_H
#define TUZUTIL_FACTORY_H

// TFactoryType, TFactory, TFactoryLoader: find factory objects by name, and load their libraries on first use.
//
// Example:
//     class TFilter : public TFactory<TFilter> { // a kind of factory
//     public:
//         TFilter(TFactoryType const &type) : TFactory(type) {}
//         virtual int Accepts(char const *) { return TPureCall::Trap(); }
//         static TFactoryLoader<TFilter> *GetLoader() {
//             static auto *const loader = new TFactoryLoader<TFilter>; // never deleted: factories use it to the end
//             return loader;
//         }
//     };
//     static TFilter fsFilter("spam"); // in the library spamlib, usually of a subclass that overrides Accepts()
//     TFilter *filter = TFilter::GetLoader()->Find("spam[spamlib]"); // loads spamlib.dll; null if there is none
//
// Ownership:  A loader borrows its factories. They belong to their libraries, which stay loaded until the process ends.
// Threads:    Any thread may use a loader. Lookups that load a library take turns; other lookups never wait for them.
// Failures:   TInvalidRequest: "Already defined", "No dll name found", "Singleton Object". If a library cannot be
//             loaded, a trace entry at level 8 says so, and Find() returns null.
// Surprises:
// - Types are compared by name, ignoring letter case; the name of the library is not compared.

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

#include <memory>

// The name of a factory and of its library.
class TUZUTIL_API TFactoryType {
public:
    // Takes "name[library]", or "name" for both. "x[]" has no library, "x[y" has the library "x". Null makes both names
    // empty.
    TFactoryType(char const *text);
    TFactoryType(TString const &text);
    // A copy has texts of its own, because many threads use one type, but one thread at a time uses a string.
    TFactoryType(TFactoryType const &other);
    TFactoryType &operator=(TFactoryType const &other);

    TString const &QueryName() const noexcept { return fName; }
    TString const &QueryDllName() const noexcept { return fDllName; }

    // These compare the names and ignore letter case.
    bool operator==(TFactoryType const &other) const noexcept;
    bool operator<(TFactoryType const &other) const noexcept;
    int IsEqual(TFactoryType const &other) const noexcept { return *this == other; }

private:
    TString fName;
    TString fDllName;
};

class TFactoryLoaderSet;

// The part of the loader that does not depend on the class of the factories. A lookup takes the registry's lock for a
// moment; a lookup that has to load also holds the loading lock.
//
// REQUIRES: if a library is loaded by other means than a loader, its static objects do not look for a type that is not
// registered. The constructor of a static object in a library throws nothing, because no exception can cross the
// system's loader; an exception from the registration of a factory is kept, see Register().
class TUZUTIL_API TFactoryLoaderBase {
public:
    TFactoryLoaderBase(TFactoryLoaderBase const &) = delete;
    TFactoryLoaderBase &operator=(TFactoryLoaderBase const &) = delete;
    virtual ~TFactoryLoaderBase();

    void Add(TFactoryType const &type, void *factory); // throws "Already defined" if the name is taken
    void Remove(TFactoryType const &type);             // does nothing if there is no such type
    // Returns the factory of that name. If there is none, loads the type's library and looks again; then returns the
    // factory, or null. Throws what the constructor of a factory threw while the library was loaded.
    void *Find(TFactoryType const &type);
    void *Find(unsigned long index); // in the order of registration, from 0; null after the last

    // Looks for the type's library in the list of directories, and then, by its plain name, in the places where the
    // system looks for libraries, among them the program's own directory. Always returns 0.
    int LoadDll(TFactoryType const &type);
    // Adds ".dll" unless the name ends in it. If libraries have other names on this system, tries those next. Returns
    // 0, or 1 if no library was loaded.
    int LoadDll(char const *name);

    // Puts the directory before the others in the list. The list has a lock of its own.
    static void AddLibpath(char const *directory);
    static TString &fsLibpath; // directories, each followed by ";"; empty at first

    // Does what Add() does, for a factory that registers itself. While a library is being loaded, an exception is kept
    // and thrown by the Find() or LoadDll() that loads it. Returns whether the factory is registered.
    bool Register(TFactoryType const &type, void *factory);

protected:
    TFactoryLoaderBase();

    [[noreturn]] void ThrowSingletonException();

private:
    void *Lookup(TFactoryType const &type, bool alsoLoading);
    void Settle();

    std::unique_ptr<TMutexSemaphore> fMutex;         // held while a library is loaded
    std::unique_ptr<TMutexSemaphore> fRegistryMutex; // held for a moment, never while a library is loaded
    std::unique_ptr<TFactoryLoaderSet> fFactories;
};

template <typename T>
class TFactory;

// The loader of the factories of class T.
template <typename T>
class TFactoryLoader : public TFactoryLoaderBase {
public:
    TFactoryLoader() = default;

    void Add(TFactoryType const &type, TFactory<T> *factory) { TFactoryLoaderBase::Add(type, factory); }
    bool Register(TFactoryType const &type, TFactory<T> *factory) {
        return TFactoryLoaderBase::Register(type, factory);
    }
    T *Find(TFactoryType const &type) { return Whole(TFactoryLoaderBase::Find(type)); }
    T *Find(unsigned long index) { return Whole(TFactoryLoaderBase::Find(index)); }

private:
    // A factory registers the address of its base TFactory<T>, because the T is not constructed yet.
    static T *Whole(void *factory) { return static_cast<T *>(static_cast<TFactory<T> *>(factory)); }
};

// The base of a factory class T. REQUIRES: T has a static GetLoader().
template <typename T>
class TFactory {
public:
    TFactory(TFactory const &) = delete;
    TFactory &operator=(TFactory const &) = delete;
    virtual ~TFactory() {
        TFactoryLoader<T> *const loader = T::GetLoader();
        if (loader && fIsRegistered)
            loader->Remove(fType);
    }

    TFactoryType const &QueryType() const noexcept { return fType; }

protected:
    explicit TFactory(TFactoryType const &type) : fType(type) {
        if (TFactoryLoader<T> *const loader = T::GetLoader())
            fIsRegistered = loader->Register(type, this);
    }

private:
    TFactoryType fType;
    bool fIsRegistered = false;
};

#endif

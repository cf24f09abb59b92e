#ifndef TUZUTIL_FACTORY_H
#define TUZUTIL_FACTORY_H

// TFactoryType, TFactory, TFactoryLoader: factory objects that are found by name, and whose libraries are loaded when
// they are first asked for.
//
// Example:
//     class TFilter : public TFactory<TFilter> { // a kind of factory
//     public:
//         TFilter(TFactoryType const &type) : TFactory(type) {}
//         virtual int Accepts(char const *line) { return TPureCall::Trap(); }
//         static TFactoryLoader<TFilter> *GetLoader() {
//             static auto *const loader = new TFactoryLoader<TFilter>; // the factories of libraries need it to the end
//             return loader;
//         }
//     };
//     static TSpamFilter fsFilter("spam"); // in the library spamlib: a subclass that overrides Accepts()
//
//     TFilter *filter = TFilter::GetLoader()->Find("spam[spamlib]"); // loads spamlib.dll; null if there is none
//
// Ownership:  a loader borrows its factories; they belong to their libraries, which stay loaded for good.
// Threads:    a loader may be used by any thread. Lookups of types that are not there take turns, as they load; those
// of
//             others wait for nobody. A static object of a library that somebody else loads must not look for a type
//             that is not there. The list of directories has a lock of its own.
// Failures:   TInvalidRequest: "Already defined", "No dll name found", "Singleton Object". What a factory's constructor
//             throws while a loader loads its library comes out of Find() or LoadDll() afterwards; the factory is not
//             registered then. A library that cannot be loaded is traced at level 8, and Find() answers null.
// Surprises:  names are compared whatever their letter case; the library's name is not compared. "x[]" has no library
//             name, "x" and "x[y" have the library "x". LoadDll() of a type always answers 0. Constructors of static
//             objects in a library must throw nothing else: no exception can cross the system's loader.

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

#include <memory>

class TUZUTIL_API TFactoryType {
public:
    TFactoryType(char const *text); // "name[library]", or "name" for both; null: both empty
    TFactoryType(TString const &text);
    // Copies have texts of their own: a type is used by many threads, a string by one.
    TFactoryType(TFactoryType const &other);
    TFactoryType &operator=(TFactoryType const &other);

    TString const &QueryName() const noexcept { return fName; }
    TString const &QueryDllName() const noexcept { return fDllName; }

    // By name, whatever the letter case.
    bool operator==(TFactoryType const &other) const noexcept;
    bool operator<(TFactoryType const &other) const noexcept;
    int IsEqual(TFactoryType const &other) const noexcept { return *this == other; }

private:
    TString fName;
    TString fDllName;
};

class TFactoryLoaderSet;

class TUZUTIL_API TFactoryLoaderBase {
public:
    TFactoryLoaderBase(TFactoryLoaderBase const &) = delete;
    TFactoryLoaderBase &operator=(TFactoryLoaderBase const &) = delete;
    virtual ~TFactoryLoaderBase();

    void Add(TFactoryType const &type, void *factory); // throws "Already defined"
    void Remove(TFactoryType const &type);             // nothing where there is none
    void *Find(TFactoryType const &type);              // loads the type's library if need be; null if that was no help
    void *Find(unsigned long index);                   // in the order of registration, from 0; null behind the last

    // Along the list of directories, then by the plain name where the system looks for libraries, which is also the
    // program's own directory. Always 0.
    int LoadDll(TFactoryType const &type);
    // ".dll" is added unless the name ends so; where libraries have other names here, those are tried next. 0, or 1
    // where no library was loaded.
    int LoadDll(char const *name);

    static void AddLibpath(char const *directory); // will be searched first
    static TString &fsLibpath;                     // directories, each with ";" behind it; empty at first

    // For a factory that registers itself: as Add(), but what would be thrown while a library is being loaded is kept
    // for the one who loads it. Whether the factory is registered.
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

// The loader of factories of class T.
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
    // A factory registers itself by its base, before it is a T.
    static T *Whole(void *factory) { return static_cast<T *>(static_cast<TFactory<T> *>(factory)); }
};

// The base of a factory class T, which has a static GetLoader().
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

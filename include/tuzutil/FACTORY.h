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
//     TFilter *filter = TFilter::GetLoader()->Find("spam[spamlib]"); // loads spamlib.dll; null if not found
//
// Ownership:  A loader borrows its factories. The factories belong to their libraries, which stay loaded until the
//             process ends.
// Threads:    Any thread may use a loader. Only one lookup of a loader at a time loads a library. A lookup of a
//             registered factory waits for a load only if the library of that factory is still being loaded.
// Failures:   TInvalidRequest "Already defined" from Add(), "No dll name found" from Find() and LoadDll(), and
//             "Singleton Object" from ThrowSingletonException(). If a library cannot be loaded, or registers no factory
//             of that name, Find() returns null, and a warning (level "wa") is traced. If a library exists but cannot
//             be loaded, a second warning has the words of the system's loader.
// Surprises:
// - Two types are equal if their names are equal. The case of ASCII letters does not count, nor does the library.
template <typename T>
class TFactory;

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

#include <memory>

// The name of a factory and of its library.
class TUZUTIL_API TFactoryType {
public:
    // These constructors take a text "name[library]", or "name" if the library has the same name. "x[]" names no
    // library. "x[y" lacks the closing bracket, so its library is "x". A null text makes both names null.
    TFactoryType(char const *text);
    TFactoryType(TString const &text);
    // A copy has texts of its own: writing into the strings of the copy does not change the original.
    TFactoryType(TFactoryType const &other);
    TFactoryType &operator=(TFactoryType const &other);

    TString const &QueryName() const noexcept { return fName; }       // without the library
    TString const &QueryDllName() const noexcept { return fDllName; } // may be null, see the constructors

    // These functions compare only the names, and ignore the case of ASCII letters.
    bool operator==(TFactoryType const &other) const noexcept;
    bool operator<(TFactoryType const &other) const noexcept;
    int IsEqual(TFactoryType const &other) const noexcept { return *this == other; }

private:
    TString fName;
    TString fDllName;
};

class TFactoryLoaderSet;

// The part of the loader that does not depend on the class of the factories. Each lookup takes the lock of all sets of
// factories for a moment. A lookup that loads a library also holds a second lock until the library is loaded.
//
// REQUIRES: if a library is loaded without a TFactoryLoader, the constructors of its static objects call Find() only
// for types that are registered already. Otherwise two threads may wait for each other. REQUIRES: the constructors of
// static objects in libraries let no exception escape, because no exception can pass through the system's loader.
// (Register() lets no exception escape during a load.)
class TUZUTIL_API TFactoryLoaderBase {
public:
    TFactoryLoaderBase(TFactoryLoaderBase const &) = delete;
    TFactoryLoaderBase &operator=(TFactoryLoaderBase const &) = delete;
    virtual ~TFactoryLoaderBase();

    void Add(TFactoryType const &type, void *factory); // throws "Already defined" if the name is taken
    void Remove(TFactoryType const &type);             // does nothing if there is no such type
    // Returns the factory of that name. If there is none, loads the type's library, and returns the factory that the
    // library has registered, or null. If the registration of a factory threw during the load, throws that exception.
    [[nodiscard]] void *Find(TFactoryType const &type);
    [[nodiscard]] void *Find(unsigned long index); // in the order of registration, from 0; null after the last

    // Loads the type's library. Looks for the library in the directories of fsLibpath first, then in the program's
    // directory, and then where the system looks for libraries. Returns 0 even if no library was loaded.
    int LoadDll(TFactoryType const &type);
    // Loads a library. A name that ends in ".dll" is tried as it is. Any other name is tried with ".dll" added. On
    // Linux, two more tries follow for such a name. The first is the name with the ending ".so", which is added if it
    // is missing. The second is the same name with "lib" before its last part. Returns 0, or 1 if no library was
    // loaded.
    int LoadDll(char const *name);

    // Inserts the directory before those in fsLibpath. Any thread may call this function.
    static void AddLibpath(char const *directory);
    static TString &fsLibpath; // directories, each followed by ";"; empty at first

    // Adds a factory that registers itself, and returns whether the factory is registered. Throws what Add() throws.
    // But if this thread is loading a library, Register() keeps the exception, and the Find() or LoadDll() that loads
    // the library throws it.
    bool Register(TFactoryType const &type, void *factory);

protected:
    TFactoryLoaderBase();

    // Throws TInvalidRequest "Singleton Object". A subclass that allows only one object calls this function for a
    // second.
    [[noreturn]] void ThrowSingletonException();

private:
    void *Lookup(TFactoryType const &type, bool alsoLoading);
    void Settle();

    std::unique_ptr<TMutexSemaphore> fMutex; // held while a library is loaded
    std::unique_ptr<TFactoryLoaderSet> fFactories;
};

template <typename T>
class TFactory;

// The loader of the factories of class T.
template <typename T>
class TFactoryLoader : public TFactoryLoaderBase {
public:
    TFactoryLoader() = default;

    // These functions do the same as those of TFactoryLoaderBase, for factories of the class T.
    void Add(TFactoryType const &type, TFactory<T> *factory) { TFactoryLoaderBase::Add(type, factory); }
    bool Register(TFactoryType const &type, TFactory<T> *factory) {
        return TFactoryLoaderBase::Register(type, factory);
    }
    [[nodiscard]] T *Find(TFactoryType const &type) { return Whole(TFactoryLoaderBase::Find(type)); }
    [[nodiscard]] T *Find(unsigned long index) { return Whole(TFactoryLoaderBase::Find(index)); }

private:
    // A factory registers the address of its base TFactory<T>, because the part of class T is not constructed yet at
    // that time.
    static T *Whole(void *factory) { return static_cast<T *>(static_cast<TFactory<T> *>(factory)); }
};

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

    TFactoryType const &QueryType() const noexcept { return fType; } // as given to the constructor

protected:
    // Registers this object with the loader of T, and throws what TFactoryLoaderBase::Register() throws. The destructor
    // removes the object from the loader. REQUIRES: T has a static GetLoader().
    explicit TFactory(TFactoryType const &type) : fType(type) {
        if (TFactoryLoader<T> *const loader = T::GetLoader())
            fIsRegistered = loader->Register(type, this);
    }

private:
    TFactoryType fType;
    bool fIsRegistered = false;
};

#endif

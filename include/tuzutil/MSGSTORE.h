#ifndef TUZUTIL_MSGSTORE_H
#define TUZUTIL_MSGSTORE_H

// TTextMessageStore: supplies the messages of one component with texts, by set and number. The archive
// (TTextMessageArchive) finds a store by its name.
//
// Example:
//     class TGermanStore : public TTextMessageStore {
//     public:
//         explicit TGermanStore(TTextMessage::StoreID const &id) : TTextMessageStore(id) {}
//         using TTextMessageStore::GetMsg;
//         TString GetMsg(long, long number, int) override { return number == 17 ? "%u Nachrichten" : ""; }
//     };
//     TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
//     TGermanStore store(mail);
//     std::cout << TTextMessage(mail, 1, 17, "%u messages", 5u).QueryMessage() << '\n'; // 5 Nachrichten
//     std::cout << TTextMessage(mail, 1, 18, "goodbye").QueryMessage() << '\n';         // goodbye
//
// Ownership:  The archive borrows the stores. A store registers itself when it is created, and leaves the archive when
//             it is destroyed.
// Threads:    Create and destroy stores only while the process has one thread. Messages of any thread may ask a store
//             for texts.
// Failures:   TInvalidRequest (recoverable, ID 1): "Duplicate Message Store" from the constructor of a store if the
//             name is taken, "Solitary Object" from the constructor of an archive if an archive exists already.
// Surprises:
// - A store registers itself before its subclass is constructed. If a message asks the store for a text at that time,
//   the base's GetMsg() calls TPureCall::Trap().
// - If GetMsg() of a store throws, the message behaves as if the store did not have the text.
class TTextMessageStore;

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TXTMSG.h"

class TMutexSemaphore;

class TUZUTIL_API TTextMessageStore {
public:
    TTextMessageStore(TTextMessageStore const &) = delete;
    TTextMessageStore &operator=(TTextMessageStore const &) = delete;
    virtual ~TTextMessageStore();
    // Returns the text of a message, or an empty text if the store has none. If `wide` is not 0, the caller wants a
    // 16-bit text. Subclasses must override this function. REQUIRES: if messages of several threads use the store, the
    // function allows calls by several threads at once.
    virtual TString GetMsg(long set, long number, int wide);
    virtual int IsCached() const; // returns 0

    // These functions return the name of the store.
    TTextMessage::StoreID const &Key() const noexcept { return fId; }
    TTextMessage::StoreID const &QueryStoreID() const noexcept { return fId; }

    // Returns the store of that name, or null if there is none.
    static TTextMessageStore *Find(TTextMessage::StoreID const &id);
    // Returns the text from the store of that name, or an empty text if there is no such store.
    static TString GetMsg(TTextMessage::StoreID const &id, long set, long number, int wide);

protected:
    // Registers the store in the archive. Throws "Duplicate Message Store" if the name is taken. A store may be
    // a static object of a library that TDll or a factory loader loads. If the store cannot be registered, TDll or the
    // loader throws the exception after the load.
    explicit TTextMessageStore(TTextMessage::StoreID const &id);

private:
    TTextMessage::StoreID fId;
};

// The stores of the process, by name. The library creates the only archive, and never destroys it. When the library
// destroys its static objects, it sets fsArchive to null. From then on, messages use their default texts, and stores
// may still be destroyed.
class TUZUTIL_API TTextMessageArchive : public TKeySetOf<TElemPointer<TTextMessageStore>, TTextMessage::StoreID> {
public:
    TTextMessageArchive(); // throws "Solitary Object" if there is an archive
    ~TTextMessageArchive() override;
    // Returns the text from the store of that name, or an empty text if there is no such store.
    virtual TString GetMsg(TTextMessage::StoreID const &id, long set, long number, int wide);

    static TTextMessageArchive *fsArchive; // null before the archive is created, and at the end of the process

private:
    friend class TTextMessageStore;
    friend struct TForks;

    TTextMessageStore *FindStore(TTextMessage::StoreID const &id) const;
    bool Register(TTextMessageStore *store); // false if the store's name is taken
    void Deregister(TTextMessageStore const *store);

    static TMutexSemaphore &fsMutex; // a thread that holds it takes no other lock
};

#endif

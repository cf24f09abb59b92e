#ifndef TUZUTIL_MSGSTORE_H
#define TUZUTIL_MSGSTORE_H

// TTextMessageStore: gives the messages of one component their texts, by set and number; the archive finds it by name.
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
// Ownership:  the archive borrows the stores: each registers itself, and takes itself out when it is destroyed.
// Threads:    make and destroy stores while there is one thread. Messages of several threads may then ask them, which
//             GetMsg() has to allow.
// Failures:   TInvalidRequest, recoverable, ID 1: "Duplicate Message Store" where the name is taken already, "Solitary
//             Object" from a second archive. In a static object of a library that TDll or a factory loader loads, they
//             are thrown behind the load, and the object stays unregistered. To a message a store whose own GetMsg()
//             throws is one without the text.
// Surprises:  a store registers itself before its own class is built: a message that asks so early gets its default
//             text, and TPureCall a trap. When the library is unloaded the archive goes first: stores that are left
//             find nobody to leave.

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TXTMSG.h"

class TMutexSemaphore;

class TUZUTIL_API TTextMessageStore {
public:
    TTextMessageStore(TTextMessageStore const &) = delete;
    TTextMessageStore &operator=(TTextMessageStore const &) = delete;
    virtual ~TTextMessageStore();
    // Pure: the text of a message, an empty one where there is none; 16-bit where `wide` is not 0.
    virtual TString GetMsg(long set, long number, int wide);
    virtual int IsCached() const; // 0

    TTextMessage::StoreID const &Key() const noexcept { return fId; }
    TTextMessage::StoreID const &QueryStoreID() const noexcept { return fId; }

    // The store of that name; null where there is none.
    static TTextMessageStore *Find(TTextMessage::StoreID const &id);
    // What it answers; an empty text without it.
    static TString GetMsg(TTextMessage::StoreID const &id, long set, long number, int wide);

protected:
    explicit TTextMessageStore(TTextMessage::StoreID const &id);

private:
    TTextMessage::StoreID fId;
};

// TTextMessageArchive: the stores of the process, by name. The library has one.
class TUZUTIL_API TTextMessageArchive : public TKeySetOf<TElemPointer<TTextMessageStore>, TTextMessage::StoreID> {
public:
    TTextMessageArchive();
    ~TTextMessageArchive() override;
    virtual TString GetMsg(TTextMessage::StoreID const &id, long set, long number, int wide);

    static TTextMessageArchive *fsArchive; // the one of this process; null before and after it

private:
    friend class TTextMessageStore;

    TTextMessageStore *FindStore(TTextMessage::StoreID const &id) const;
    bool Register(TTextMessageStore *store); // false where its name is taken
    void Deregister(TTextMessageStore const *store);

    static TMutexSemaphore &fsMutex; // no other lock is taken under it
};

#endif

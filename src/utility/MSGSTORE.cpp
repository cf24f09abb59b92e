// TTextMessageStore: gives messages their texts. TTextMessageArchive: finds a store by its name. The lock
// TTextMessageArchive::fsMutex guards the archive's collection of stores. While the archive holds this lock, it calls
// no function of a store except Key(), which returns the name.

#include "tuzutil/MSGSTORE.h"

#include "tuzutil/PURETRAP.h"
#include "utility/kernel/loading.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"

#include <memory>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Message, "src/utility/TXTMSG");

} // namespace

// Stores

TTextMessageStore::TTextMessageStore(TTextMessage::StoreID const &id) : fId(id) {
    TLoading::RaiseOrKeep([this] {
        if (TTextMessageArchive::fsArchive && !TTextMessageArchive::fsArchive->Register(this))
            fsReports.Raise<TInvalidRequest>("Duplicate Message Store");
    });
}

TTextMessageStore::~TTextMessageStore() {
    if (TTextMessageArchive::fsArchive)
        TTextMessageArchive::fsArchive->Deregister(this);
}

TString TTextMessageStore::GetMsg(long, long, int) {
    TPureCall::Trap(*this, "TTextMessageStore::GetMsg()");
    return TString();
}

int TTextMessageStore::IsCached() const {
    return 0;
}

TTextMessageStore *TTextMessageStore::Find(TTextMessage::StoreID const &id) {
    return TTextMessageArchive::fsArchive ? TTextMessageArchive::fsArchive->FindStore(id) : nullptr;
}

TString TTextMessageStore::GetMsg(TTextMessage::StoreID const &id, long set, long number, int wide) {
    TTextMessageArchive *const archive = TTextMessageArchive::fsArchive;
    return archive ? archive->GetMsg(id, set, number, wide) : TString();
}

// The archive

TTextMessageArchive::TTextMessageArchive() {
    TLoading::RaiseOrKeep([this] {
        if (fsArchive)
            fsReports.Raise<TInvalidRequest>("Solitary Object");
        fsArchive = this;
    });
}

TTextMessageArchive::~TTextMessageArchive() {
    TLock const lock(fsMutex);
    if (fsArchive == this)
        fsArchive = nullptr;
    DeleteSet();
}

// Calls the store without the lock, because a store may write trace entries, and the messages of these entries ask the
// archive for texts, too.
TString TTextMessageArchive::GetMsg(TTextMessage::StoreID const &id, long set, long number, int wide) {
    TTextMessageStore *const store = FindStore(id);
    return store ? store->GetMsg(set, number, wide) : TString();
}

TTextMessageStore *TTextMessageArchive::FindStore(TTextMessage::StoreID const &id) const {
    TLock const lock(fsMutex);
    auto const *const element = FindKey(id);
    return element ? element->Pointer() : nullptr;
}

bool TTextMessageArchive::Register(TTextMessageStore *store) {
    auto element = std::make_unique<TElemPointer<TTextMessageStore>>(store);
    TLock const lock(fsMutex);
    if (FindKey(store->Key()))
        return false;
    Add(std::move(element));
    return true;
}

// Removes the entry of `store`. Compares the address of the store as well as its name, because another store of the
// same name may be registered instead of this one.
void TTextMessageArchive::Deregister(TTextMessageStore const *store) {
    TLock const lock(fsMutex);
    auto *const element = FindKey(store->Key());
    if (!element || element->Pointer() != store)
        return;
    Remove(element);
    delete element;
}

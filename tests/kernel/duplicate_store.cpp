// Two message stores; the program that loads this has one of the first one's name.

#include "tuzutil/MSGSTORE.h"

namespace {

class TEmptyStore : public TTextMessageStore {
public:
    explicit TEmptyStore(char const *name) : TTextMessageStore(TTextMessage::StoreID(TString(name), ExplicitInit)) {}
    using TTextMessageStore::GetMsg;
    TString GetMsg(long, long, int) override { return TString(); }
};

TEmptyStore fsDuplicate("tuzutil tests");
TEmptyStore fsAnother("tuzutil tests, another");

} // namespace

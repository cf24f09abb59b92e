#ifndef TUZUTIL_TESTS_STARTUP_OBJECTS_H
#define TUZUTIL_TESTS_STARTUP_OBJECTS_H

// A static object that uses strings, messages with a store, categories and trace points when it is built and when it is
// destroyed.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TXTMSG.h"

// Answers with its name.
class TStaticStore : public TTextMessageStore {
public:
    explicit TStaticStore(TString const &name) : TTextMessageStore(TTextMessage::StoreID(name, ExplicitInit)) {}
    using TTextMessageStore::GetMsg;
    TString GetMsg(long, long, int) override { return Key(); }
};

class TStaticUser {
public:
    explicit TStaticUser(char const *name) : fName(name), fCategory(8, name), fStore(fName) { Work("built"); }
    ~TStaticUser() { Work("destroyed"); }

private:
    void Work(char const *what) {
        TString const text = fName + " " + what;
        TTracePoint::Write(TTrace::error, fCategory, "startup", "%s: %d", text, text.length());
        try {
            text.subString(0);
        } catch (TInvalidRequest &problem) {
            TTracePoint::Write(TTrace::warning, TUtilityTraceCategory::String, "startup", "caught: %s",
                               problem.text(0));
        }
        if (TTrace::FindCategory(fName) != &fCategory)
            TTracePoint::Write(TTrace::error, fCategory, "startup", "category not found");
        TTextMessage const message(fStore.QueryStoreID(), 1, 1, "default");
        if (message.QueryMessage() != (TTextMessageArchive::fsArchive ? fName : TString("default")))
            TTracePoint::Write(TTrace::error, fCategory, "startup", "wrong text: %s", message);
    }

    TString fName;
    TTrace::Category fCategory;
    TStaticStore fStore;
};

#endif

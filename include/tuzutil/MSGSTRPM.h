#ifndef TUZUTIL_MSGSTRPM_H
#define TUZUTIL_MSGSTRPM_H

// TTextMessageStorePM: a message store whose texts are in a language library.
//
// Example:
//     TSearchNLSPath::SetLang("German");
//     TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
//     TTextMessageStorePM store(mail, "msgs"); // German\msgs.dll beside the program
//     std::cout << TTextMessage(mail, 1, 17, "%u messages", 5u).QueryMessage() << '\n';
//
// Ownership:  the store keeps a TDll of its own; the library stays loaded when the store is gone.
// Threads:    as TTextMessageStore; GetMsg() may be called by several threads.
// Failures:   those of TTextMessageStore. What is not found, no library or no text in it, is traced in the category
//             Message, level 8, and the default texts stand in.
// Surprises:  the language is read once, by the constructor: set it before; in language "C" no library is looked for.
//             Sets make no difference: the texts of all sets of a store are numbered together. Where no library is
//             found, the search answers with the program itself, whose own texts are taken then. The level 16 entry
//             of the constructor says which library it is.

#include "tuzutil/EXPORT.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/TDLL.h"

#include <memory>

class TUZUTIL_API TTextMessageStorePM : public TTextMessageStore {
public:
    TTextMessageStorePM(TTextMessage::StoreID const &id, char const *dllName);
    TTextMessageStorePM(TTextMessage::StoreID const &id, TDll const &dll);
    ~TTextMessageStorePM() override;

    using TTextMessageStore::GetMsg;
    TString GetMsg(long set, long number, int wide) override;
    int IsCached() const override; // 0

private:
    TString fLibraryName; // empty where a TDll was given
    std::unique_ptr<TDll> fLibrary;
};

#endif

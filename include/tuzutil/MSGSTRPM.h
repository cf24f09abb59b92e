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
// Ownership:  The store keeps a TDll of its own. The library stays loaded after the store is destroyed.
// Threads:    As TTextMessageStore. Several threads may call GetMsg().
// Failures:   Those of TTextMessageStore. If the library or a text in it is not found, a trace entry in the category
//             Message at level 8 says so, and the default texts are used.
// Surprises:
// - The constructor reads the language once, so set it before. In language "C" no library is looked for.
// - Sets make no difference: the texts of all sets of a store are numbered together.
// - If no library is found, the search returns the program itself, and its texts are used. The constructor's trace
//   entry at level 16 names the library.

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
    TString fLibraryName; // empty if a TDll was given
    std::unique_ptr<TDll> fLibrary;
};

#endif

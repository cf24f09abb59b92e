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
// Ownership:  The store has its own TDll. The library stays loaded after the store is destroyed.
// Threads:    The rules of TTextMessageStore apply. Several threads may call GetMsg().
// Failures:   The constructors throw what the constructor of TTextMessageStore throws. If the library cannot be loaded
//             or lacks a text, the store traces this in the category Message at level "wa", and the message uses its
//             default text.
// Surprises:
// - The constructor that takes the name of a library reads the current language, so set the language first. If the
//   language is "C", this constructor looks for no library, and the store has no texts.
// - The set of a message makes no difference. Therefore two texts of a store must not have the same number.
// - If the constructor that takes a name finds no library, the store uses the texts of the program itself. A trace
//   entry at level "in" names the file that is used.
class TTextMessageStorePM;

#include "tuzutil/EXPORT.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/TDLL.h"

#include <memory>

class TUZUTIL_API TTextMessageStorePM : public TTextMessageStore {
public:
    // Takes the library of this name in the current language, which TSearchNLSPath finds.
    TTextMessageStorePM(TTextMessage::StoreID const &id, char const *dllName);
    // Takes a library that is loaded already.
    TTextMessageStorePM(TTextMessage::StoreID const &id, TDll const &dll);
    ~TTextMessageStorePM() override;

    using TTextMessageStore::GetMsg;
    TString GetMsg(long set, long number, int wide) override;
    int IsCached() const override; // returns 0

private:
    TString fLibraryName; // null if a TDll was given
    std::unique_ptr<TDll> fLibrary;
};

#endif

// TTextMessageStorePM: a message store whose texts are in a language library. Every failure is traced, and messages
// then use their default texts (see languages/text_library.h). No lock is held while a library is looked for or loaded.

#include "tuzutil/MSGSTRPM.h"

#include "tuzutil/NLSRESRC.h"
#include "utility/languages/text_library.h"

namespace {

// Returns the characters of a string. Reports and the functions of text_library take this form.
char const *Chars(TString const &text) noexcept {
    return text;
}

std::unique_ptr<TDll> OpenCurrent(TTextMessage::StoreID const &id, char const *dllName) {
    if (TSearchNLSPath::QueryLang() == TSearchNLSPath::fsLang_C) {
        text_library::fsReports.Note("LANG is \"C\" using default messages for Message Store %s", Chars(id));
        return nullptr;
    }
    TSearchNLSPath search(dllName);
    return text_library::OpenLibrary(
        Chars(id), dllName, [&] { return search.FindFile(); },
        [](char const *path) { return std::make_unique<TDll>(path); });
}

} // namespace

TTextMessageStorePM::TTextMessageStorePM(TTextMessage::StoreID const &id, char const *dllName)
    : TTextMessageStore(id), fLibraryName(dllName), fLibrary(OpenCurrent(id, dllName)) {}

TTextMessageStorePM::TTextMessageStorePM(TTextMessage::StoreID const &id, TDll const &dll)
    : TTextMessageStore(id), fLibrary(std::make_unique<TDll>(dll)) {}

TTextMessageStorePM::~TTextMessageStorePM() = default;

TString TTextMessageStorePM::GetMsg(long set, long number, int wide) {
    if (!fLibrary)
        return TString();
    return text_library::LoadText(Chars(Key()), static_cast<std::uint32_t>(set), static_cast<std::uint32_t>(number),
                                  [&] { return fLibrary->loadMessage(static_cast<unsigned long>(number), wide); });
}

int TTextMessageStorePM::IsCached() const {
    return 0;
}

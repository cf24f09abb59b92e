// TDll: a dynamic library and the texts in it. The library is never closed. Copies of a TDll share the handle of the
// library. Several threads may load texts at the same time. This source has no lock.

#include "tuzutil/TDLL.h"

#include "platform/platform.h"
#include "tuzutil/TXTMSG.h"
#include "tuzutil/UNICODE.h"
#include "utility/kernel/loading.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"

namespace {

TReporter const fsReports(TUtilityTraceCategory::String, "src/utility/TDLL");

constexpr std::uint32_t fsCapacity = 257; // room for a text, in characters, including its terminating zero

// Returns the text with the number `id`, or a null string if the library has no such text.
template <typename Character>
TString Load(platform::Library *library, unsigned long id) {
    Character text[fsCapacity];
    auto const length = platform::LoadText(library, id, text, fsCapacity);
    return length ? TString(text, static_cast<unsigned int>(length * sizeof(Character)), ' ') : TString();
}

// Returns the text with the number `id` as UTF-8, whatever the process's encoding is. Returns a null string if the
// library has no such text. If the UTF-8 has fsCapacity bytes or more, keeps only as many whole characters as fit in
// fsCapacity - 1 bytes.
TString LoadUtf8(platform::Library *library, unsigned long id) {
    TString text = Load<unsigned short>(library, id);
    text.SetUnicode(1);
    text = TUnicode::ToUtf8(text, TUnicode::replace);
    unsigned int length = text.length();
    if (length >= fsCapacity) {
        for (length = fsCapacity - 1; (text.data()[length] & 0xC0) == 0x80;)
            --length;
        TStringAccess::Truncate(text, length);
    }
    return text;
}

} // namespace

TDll::TDll(char const *name) : fName(name) {
    TLoading loading;
    platform::TLoaderWords words;
    fHandle = platform::OpenLibrary(name, &words);
    std::uint32_t const error = platform::LastError();
    loading.Rethrow();
    if (!fHandle)
        fsReports.Raise<TAccessError>(TTextMessage("Unable to find or open %s, GetLastError=%u(x%2$08X)", fName, error),
                                      {.systemCode = error, .systemText = *words.text ? words.text : nullptr});
    fOpen = 1;
}

TString TDll::loadMessage(unsigned long id, int wide) const {
    if (!fOpen)
        fsReports.Raise<TAccessError>("Dll not loaded");
    auto *const library = static_cast<platform::Library *>(fHandle);
    TString text = wide                     ? Load<unsigned short>(library, id)
                   : TUnicode::IsUtf8Mode() ? LoadUtf8(library, id)
                                            : Load<char>(library, id);
    if (text.IsNull()) {
        std::uint32_t const error = platform::LastError();
        fsReports.Error("LoadString Error %d getting message %d from file %s", error, static_cast<std::uint32_t>(id),
                        fName.Copy());
        fsReports.Raise<TAccessError>("Error getting message", {.errorId = 2, .systemCode = error});
    }
    text.SetUnicode(wide);
    return text;
}

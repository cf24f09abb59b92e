#include "tuzutil/TDLL.h"

#include "platform/platform.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/loading.h"
#include "utility/kernel/raise.h"

namespace {

char const fsFile[] = "src/utility/TDLL";

constexpr std::uint32_t fsCapacity = 257; // characters that a text is read into, with its terminator

[[noreturn]] void Fail(char const *text, std::uint32_t errorId = 1, std::uint32_t line = __builtin_LINE()) {
    Raise<TAccessError>({TUtilityTraceCategory::String, fsFile, text, "", line, errorId});
}

// Null where there is no text of that number.
template <typename Character>
TString Load(platform::Library *library, unsigned long id) {
    Character text[fsCapacity];
    auto const length = platform::LoadText(library, id, text, fsCapacity);
    return length ? TString(text, static_cast<unsigned int>(length * sizeof(Character)), ' ') : TString();
}

// Not a handle on the same buffer: texts are loaded in several threads, and strings are shared by one only.
TString CopyOf(TString const &name) {
    TString copy(static_cast<char const *>(name), name.length(), ' ');
    copy.SetUnicode(name.IsUnicode());
    return copy;
}

} // namespace

TDll::TDll(char const *name) : fName(name) {
    TLoading loading;
    fHandle = platform::OpenLibrary(name);
    std::uint32_t const error = platform::LastError();
    loading.Rethrow();
    if (!fHandle) {
        Fail(TTextMessage("Unable to find or open %s, GetLastError=%u(x%2$08X)", fName, error));
    }
    fOpen = 1;
}

TString TDll::loadMessage(unsigned long id, int wide) const {
    if (!fOpen)
        Fail("Dll not loaded");
    auto *const library = static_cast<platform::Library *>(fHandle);
    TString text = wide ? Load<unsigned short>(library, id) : Load<char>(library, id);
    if (text.IsNull()) {
        std::uint32_t const error = platform::LastError();
        TTracePoint::Write(TTrace::error, TUtilityTraceCategory::String, fsFile,
                           "LoadString Error %d getting message %d from file %s", error, static_cast<std::uint32_t>(id),
                           CopyOf(fName));
        Fail("Error getting message", 2);
    }
    text.SetUnicode(wide);
    return text;
}

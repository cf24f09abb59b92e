// The exception for a lack of memory: its static texts, and the function that throws it. No text is allocated.

#include "utility/kernel/raise.h"

#include "utility/kernel/string_access.h"

#include <algorithm>
#include <cstddef>

namespace {

// The reference count of a static text. The count is so far from zero and from the largest number that it reaches
// neither, however many copies are made and destroyed.
constexpr std::uint32_t fsManyHolders = 0x40000000;

template <std::size_t size>
constexpr TStaticText StaticText(char const (&text)[size]) {
    static_assert(size + 1 <= sizeof TStaticText::bytes, "two zero bytes follow the text");
    TStaticText result{{fsManyHolders, 0, size - 1, size - 1}, {}};
    std::copy(text, text + size, result.bytes);
    return result;
}

} // namespace

static_assert(offsetof(TStaticText, bytes) == sizeof(TStringBuffer), "the text follows its header");
constinit TStaticText fsOutOfMemory = StaticText("Out of memory");
constinit TStaticText fsTextTooLong = StaticText("Text too long");

struct TExceptionAccess {
    static void SetText(TException &exception, TString const &text) noexcept { exception.fTexts[0] = text; }
};

void RaiseOutOfMemory(TTrace::Category const &category, char const *file, TStaticText &text, std::uint32_t line) {
    TOutOfMemory exception(nullptr, 1, TException::recoverable);
    TExceptionAccess::SetText(exception, TStringAccess::Shared(text.header));
    Prepare(exception, {.category = category,
                        .file = file,
                        .text = nullptr,
                        .function = "",
                        .line = line,
                        .errorId = 1,
                        .severity = TException::recoverable});
    throw exception;
}

// TException and its derived classes: their texts and locations. Only texts are allocated. If there is no memory for a
// text, the text becomes null and nothing is thrown, because the exception itself may report a lack of memory. Trace()
// takes the trace lock only if the global trace masks contain the level `exception` and the component of the category.
// No other function takes a lock. what() makes its text at the first call. If a function changes a part of the
// exception that this text shows, the function discards the text.

#include "tuzutil/EXCEPTN.h"

#include "platform/platform.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace {

TString TextOrNull(char const *text) noexcept {
    try {
        return TString(text);
    } catch (TException const &) {
        return TString();
    }
}

// Appends to a list of at most five entries. TException::appendText() in EXCEPTN.h says what happens to a full list.
template <typename Entry>
void AppendToFive(Entry (&list)[5], std::uint32_t &count, Entry entry) { // by value: it may be an entry of the list
    if (count < 5) {
        list[count++] = entry;
        return;
    }
    std::copy(list + 1, list + 4, list);
    list[4] = entry;
}

// Joins pieces to one text. A TPieces without memory only counts the bytes. A TPieces with memory writes the text into
// this memory, and cuts the text to the given room.
class TPieces {
public:
    TPieces() noexcept = default;
    TPieces(char *memory, std::size_t room) noexcept : fMemory(memory), fRoom(room) { *fMemory = '\0'; }

    void Put(char const *text) noexcept {
        std::size_t count = std::strlen(text);
        if (fMemory) {
            count = std::min(count, fRoom - fLength);
            std::memcpy(fMemory + fLength, text, count);
            fMemory[fLength + count] = '\0';
        }
        fLength += count;
    }
    void Put(unsigned long number) noexcept {
        char digits[24];
        *std::to_chars(digits, std::end(digits) - 1, number).ptr = '\0';
        Put(digits);
    }
    std::size_t Length() const noexcept { return fLength; } // without the terminating zero

private:
    char *fMemory = nullptr;
    std::size_t fRoom = 0; // without the terminating zero
    std::size_t fLength = 0;
};

void PutTexts(TPieces &pieces, TException const &problem) noexcept {
    char const *separator = "";
    for (unsigned long i = 0; i < problem.textCount(); ++i) {
        if (char const *const text = problem.text(i)) {
            pieces.Put(separator);
            pieces.Put(text);
            separator = ": ";
        }
    }
    pieces.Put(*separator ? " (" : "(");
}

void PutSystemError(TPieces &pieces, TException const &problem) noexcept {
    unsigned long const code = static_cast<std::uint32_t>(problem.code().value());
    char const *words = problem.systemText();
    if (!code && !words)
        return;
    char known[256];
    if (!words) {
        platform::ErrorText(static_cast<std::uint32_t>(code), known, sizeof known);
        words = known;
    }
    pieces.Put("; system error ");
    pieces.Put(code);
    pieces.Put(": ");
    pieces.Put(words);
}

void Describe(TPieces &pieces, TException const &problem) noexcept {
    PutTexts(pieces, problem);
    pieces.Put(problem.name());
    pieces.Put(", ID ");
    pieces.Put(problem.errorId());
    if (TExceptionLocation const *const location = problem.locationAtIndex(0)) {
        pieces.Put(", ");
        pieces.Put(location->fileName() ? location->fileName() : "");
        pieces.Put(":");
        pieces.Put(location->lineNumber());
    }
    PutSystemError(pieces, problem);
    pieces.Put(")");
}

} // namespace

// Several threads may ask for the text of one exception at the same time. All of them get the text that was stored
// first.
char const *TException::TDescription::Text(TException const &problem) noexcept {
    if (char const *const made = fText.load(std::memory_order_acquire))
        return made;
    TPieces counted;
    Describe(counted, problem);
    auto *const text = static_cast<char *>(std::malloc(counted.Length() + 1));
    if (!text)
        return nullptr;
    TPieces pieces(text, counted.Length());
    Describe(pieces, problem);
    char *other = nullptr;
    // No test gets here: two threads would have to ask for the text first in one moment.
    if (fText.compare_exchange_strong(other, text, std::memory_order_acq_rel))
        return text;
    std::free(text);
    return other;
}

void TException::TDescription::Forget() noexcept {
    std::free(fText.exchange(nullptr, std::memory_order_acq_rel));
}

TExceptionSlots::~TExceptionSlots() = default;

TException::TException(char const *text, unsigned long errorId, Severity severity) noexcept
    : fSeverity(severity), fErrorId(static_cast<std::uint32_t>(errorId)) {
    fTexts[0] = TextOrNull(text);
}

TException::TException(TException const &other) noexcept {
    *this = other;
}

TException &TException::operator=(TException const &other) noexcept = default;

TException::~TException() = default;

void TException::Throw() {
    throw TException(*this);
}

int TException::isRecoverable() const noexcept {
    return fSeverity == recoverable;
}

TException &TException::addLocation(TExceptionLocation const &location) noexcept {
    fDescription.Forget();
    AppendToFive(fLocations, fLocationCount, location);
    return *this;
}

char const *TException::name() const noexcept {
    return "TException";
}

TException &TException::logExceptionData() {
    return *this;
}

void TException::terminate() {}

TException &TException::setSeverity(Severity severity) noexcept {
    fSeverity = severity;
    return *this;
}

TException &TException::setErrorId(unsigned long errorId) noexcept {
    fDescription.Forget();
    fErrorId = static_cast<std::uint32_t>(errorId);
    return *this;
}

TException &TException::setErrorCodeGroup(char const *group) noexcept {
    fGroup = group;
    return *this;
}

TException &TException::setText(char const *text) noexcept {
    // The text is copied first, because `text` may point into the text that what() has returned.
    TString const first = TextOrNull(text);
    fDescription.Forget();
    fTexts[0] = first;
    fTextCount = 1;
    return *this;
}

TException &TException::appendText(char const *text) noexcept {
    // The text is copied first, because `text` may point into the text that what() has returned.
    TString const next = TextOrNull(text);
    fDescription.Forget();
    AppendToFive(fTexts, fTextCount, next);
    return *this;
}

char const *TException::text(unsigned long index) const noexcept {
    return index < fTextCount ? static_cast<char const *>(fTexts[fTextCount - 1 - index]) : nullptr;
}

char const *TException::what() const noexcept {
    if (char const *const described = fDescription.Text(*this))
        return described;
    char const *const newest = text(0);
    return newest ? newest : name();
}

TException &TException::setSystemError(unsigned long code, char const *words) noexcept {
    TString const copied = TextOrNull(words);
    fDescription.Forget();
    fSystemCode = static_cast<std::uint32_t>(code);
    fSystemText = copied;
    return *this;
}

TExceptionLocation const *TException::locationAtIndex(unsigned long index) const noexcept {
    return index < fLocationCount ? &fLocations[index] : nullptr;
}

TException &TException::Trace(TTrace::Category const &category) noexcept {
    if (TTrace::IsGlobalTracing(TTrace::exception, category.QueryComponent(), category))
        static_cast<void>(text(0));
    return *this;
}

TUZUTIL_DEFINE_EXCEPTION(TAccessError)
TUZUTIL_DEFINE_EXCEPTION(TAssertionFailure)
TUZUTIL_DEFINE_EXCEPTION(TDeviceError)
TUZUTIL_DEFINE_EXCEPTION(TInvalidParameter)
TUZUTIL_DEFINE_EXCEPTION(TInvalidRequest)
TUZUTIL_DEFINE_EXCEPTION(TResourceExhausted)
TUZUTIL_DEFINE_EXCEPTION(TOutOfMemory)
TUZUTIL_DEFINE_EXCEPTION(TOutOfSystemResource)
TUZUTIL_DEFINE_EXCEPTION(TOutOfWindowResource)

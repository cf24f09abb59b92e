// TException and its family: their texts and locations, and the test whether exceptions are traced. Only texts are
// allocated. A text for which there is no memory becomes null: the exception may be thrown because memory is missing.
// Only Trace() takes a lock: the trace lock, if some destination traces exceptions.

#include "tuzutil/EXCEPTN.h"

#include <algorithm>

namespace {

TString TextOrNull(char const *text) noexcept {
    try {
        return TString(text);
    } catch (TException const &) {
        return TString();
    }
}

// Appends to a list of at most five entries. For a full list see TException::appendText().
template <typename Entry>
void AppendToFive(Entry (&list)[5], std::uint32_t &count, Entry entry) { // by value: it may be an element of the list
    if (count < 5) {
        list[count++] = entry;
        return;
    }
    std::copy(list + 1, list + 4, list);
    list[4] = entry;
}

} // namespace

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
    fErrorId = static_cast<std::uint32_t>(errorId);
    return *this;
}

TException &TException::setErrorCodeGroup(char const *group) noexcept {
    fGroup = group;
    return *this;
}

TException &TException::setText(char const *text) noexcept {
    fTexts[0] = TextOrNull(text);
    fTextCount = 1;
    return *this;
}

TException &TException::appendText(char const *text) noexcept {
    AppendToFive(fTexts, fTextCount, TextOrNull(text));
    return *this;
}

char const *TException::text(unsigned long index) const noexcept {
    return index < fTextCount ? static_cast<char const *>(fTexts[fTextCount - 1 - index]) : nullptr;
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

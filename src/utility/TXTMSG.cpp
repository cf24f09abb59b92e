// TTextMessage: a format with its arguments, the text made of them, and the binary form. Faults of a format are traced,
// never thrown. Arguments that an assignment replaces are kept as long as the message, because callers may hold
// references to them. This source has no lock, because a message belongs to one thread.

#include "tuzutil/TXTMSG.h"

#include "tuzutil/BINSTRM.h"
#include "tuzutil/MSGSTORE.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/message_format.h"
#include "utility/kernel/reporter.h"

#include <algorithm>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Message, "src/utility/TXTMSG");

constexpr std::uint32_t fsFirstSlots = 16; // after the first argument has arrived, room is made for at most this many

std::int32_t Clamp(long value) noexcept {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

// Reads a value, and stores it only if reading succeeds. Returns whether reading succeeds.
template <typename Wire, typename Value>
bool ReadInto(TiBinaryStream &in, Value &value) {
    Wire wire{};
    if ((in >> wire).fail())
        return false;
    value = static_cast<Value>(wire);
    return true;
}

bool OwnsText(TagVar const &value) {
    return (value.IsString() || value.IsWideString()) && value.QueryString();
}

// Copies an argument. If there is no memory for the text of the argument, the assignment throws nothing, but the copy
// has no text. CopyArgument() then throws TOutOfMemory, because the message would be wrong without the text.
void CopyArgument(TagVar const &from, TagVar &to) {
    to = from;
    if (OwnsText(from) && !OwnsText(to))
        fsReports.RaiseOutOfMemory();
}

std::unique_ptr<TagVar[]> CopyArguments(TagVar const *arguments, std::uint32_t count) {
    std::unique_ptr<TagVar[]> copy(count ? new TagVar[count] : nullptr);
    for (std::uint32_t i = 0; i != count; ++i)
        CopyArgument(arguments[i], copy[i]);
    return copy;
}

} // namespace

// Construction

TTextMessage::TTextMessage(StoreID const &store, long set, long number, TString const &text) noexcept
    : fStore(store), fSet(Clamp(set)), fNumber(Clamp(number)), fDefaultText(text) {}

TTextMessage::TTextMessage(TTextMessage const &other) {
    *this = other;
}

TTextMessage &TTextMessage::operator=(TTextMessage const &other) {
    if (this == &other)
        return *this;
    auto fresh = CopyArguments(other.fArguments.get(), other.fCount);
    if (fArguments)
        fFormerArguments.push_back(std::move(fArguments));
    fArguments = std::move(fresh);
    fCount = fCapacity = other.fCount;
    fStore = other.fStore;
    fSet = other.fSet;
    fNumber = other.fNumber;
    fDefaultText = other.fDefaultText;
    fFormatted = TString();
    fFile = other.fFile;
    fLine = other.fLine;
    return *this;
}

// Arguments

std::size_t TTextMessage::CountList(TagVar const *const *pointers, std::size_t limit) noexcept {
    std::size_t count = 0;
    while (count != limit && pointers[count] && !pointers[count]->IsNil() && !pointers[count]->IsEndOfArgs())
        ++count;
    return count;
}

void TTextMessage::SetArgs(TagVar const *const *array) {
    TakeArguments(array, array ? CountList(array, SIZE_MAX) : 0);
}

// The new arguments are copied before the old ones are destroyed, because `pointers` may lead to the old ones.
void TTextMessage::TakeArguments(TagVar const *const *pointers, std::size_t count) {
    std::unique_ptr<TagVar[]> fresh(count ? new TagVar[count] : nullptr);
    for (std::size_t i = 0; i < count; ++i)
        CopyArgument(*pointers[i], fresh[i]);
    fArguments = std::move(fresh);
    fCount = fCapacity = static_cast<std::uint32_t>(count);
}

void TTextMessage::MoveArguments(TagVar *values, std::size_t count) {
    auto const ends = [](TagVar const &value) { return value.IsNil() || value.IsEndOfArgs(); };
    TagVar *const end = std::find_if(values, values + count, ends);
    auto const moved = static_cast<std::uint32_t>(end - values);
    std::unique_ptr<TagVar[]> fresh(moved ? new TagVar[moved] : nullptr);
    std::move(values, end, fresh.get());
    fArguments = std::move(fresh);
    fCount = fCapacity = moved;
}

void TTextMessage::Reserve(std::uint32_t capacity) {
    std::unique_ptr<TagVar[]> fresh(new TagVar[capacity]);
    std::move(fArguments.get(), fArguments.get() + fCount, fresh.get());
    fArguments = std::move(fresh);
    fCapacity = capacity;
}

std::uint32_t TTextMessage::CheckedIndex(unsigned int index) const {
    if (index < fCount)
        return index;
    if (fFile.length() != 0)
        fsReports.Warning("Reqested argument %u in message from %s[%u]", index, fFile, fLine);
    fsReports.Raise<TInvalidParameter>("Out of Range");
}

// The text

TString const &TTextMessage::QueryMessage() const {
    if (fFormatted.length() != 0)
        return fFormatted;
    TString text = StoredText();
    if (text.length() == 0)
        text = fDefaultText;
    fFormatted = PrintMessage(text, {fArguments.get(), fCount, TMessageFaults(*this)});
    return fFormatted;
}

// Returns the text of this message from its store. If the store throws an exception, returns a null text.
TString TTextMessage::StoredText() const noexcept {
    if (fStore.length() == 0)
        return TString();
    TString text;
    DropExceptions([&] { text = TTextMessageStore::GetMsg(fStore, fSet, fNumber, 0); });
    return text;
}

unsigned long TTextMessage::ValidateArgs(TString const &format, TString &out, CharP &block) const {
    return RewriteNarrow(format, {fArguments.get(), fCount, TMessageFaults(*this)}, out, block);
}

unsigned long TTextMessage::ValidateArgsW(TString const &format, TString &out, CharP &block) const {
    return RewriteWide(format, {fArguments.get(), fCount, TMessageFaults(*this)}, out, block);
}

void TTextMessage::SetDebugging(char const *file, unsigned long line) {
    fFile = TString(file);
    fLine = static_cast<std::uint32_t>(std::min<unsigned long>(line, 0xFFFFFFFF));
}

// Traces a fault of the format or of an argument, and throws nothing.
void TMessageFaults::Report(Fault fault, char conversion, std::uint32_t argument) const {
    TString const &store = fMessage.fStore;
    auto const set = fMessage.fSet;
    auto const number = fMessage.fNumber;
    TString const &file = fMessage.fFile;
    auto const line = fMessage.fLine;
    switch (fault) {
    case storesCount:
        return fsReports.Warning("%%n found in format string in message(%s,%u,%u) from %s[%u]", store, set, number,
                                 file, line);
    case badWidth:
        return fsReports.Warning("Type mismatch in message(%s,%u,%u), expecting width for argument %d from %s[%u]",
                                 store, set, number, argument, file, line);
    case badPrecision:
        return fsReports.Warning("Type mismatch in message(%s,%u,%u) expecting precision for argument %d from %s[%u]",
                                 store, set, number, argument, file, line);
    case badValue:
        return fsReports.Warning("Type mismatch in message(%s,%u,%u) expecting %c for argument %d from %s[%u]", store,
                                 set, number, static_cast<int>(conversion), argument, file, line);
    }
}

// Binary form

ToBinaryStream &TTextMessage::WriteToBinaryStream(ToBinaryStream &out) const {
    out << fStore << fSet << fNumber << fDefaultText << fCount;
    for (std::uint32_t i = 0; i < fCount && !out.fail(); ++i)
        fArguments[i].WriteToBinaryStream(out);
    return out << TString() << 0u; // the source file and line of the message are not sent
}

TiBinaryStream &TTextMessage::ReadFromBinaryStream(TiBinaryStream &in) {
    fFormatted = TString();
    fArguments.reset();
    fCount = fCapacity = 0;

    std::uint32_t announced = 0;
    if ((in >> fStore).fail() || !ReadInto<std::int32_t>(in, fSet) || !ReadInto<std::int32_t>(in, fNumber) ||
        (in >> fDefaultText).fail() || !ReadInto<std::uint32_t>(in, announced))
        return in;

    // The room for arguments is doubled only when it is full. So a large announced number alone costs no memory.
    while (fCount != announced) {
        TagVar value;
        if (value.ReadFromBinaryStream(in).fail())
            return in;
        if (fCount == fCapacity)
            Reserve(static_cast<std::uint32_t>(std::min<std::uint64_t>(
                announced, std::max<std::uint64_t>(fsFirstSlots, std::uint64_t{fCapacity} * 2))));
        fArguments[fCount++] = std::move(value);
    }
    if (!(in >> fFile).fail())
        ReadInto<std::uint32_t>(in, fLine);
    return in;
}

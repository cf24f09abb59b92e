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
#include <iterator>
#include <memory>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Message, "src/utility/TXTMSG");

constexpr std::uint32_t fsFirstSlots = 16; // ReadFromBinaryStream() makes room for at most so many arguments at first

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

// Memory for values that become the arguments of a message. A few values need no allocation.
class TFreshArguments {
public:
    explicit TFreshArguments(std::size_t count) : values(fFew) {
        if (count > std::size(fFew)) {
            // No test gets here: no message has so many arguments that their size exceeds the limit of new[].
            fMany.reset(new TagVar[count]);
            values = fMany.get();
        }
    }
    TFreshArguments(TFreshArguments const &) = delete;
    TFreshArguments &operator=(TFreshArguments const &) = delete;

    TagVar *values;

private:
    TagVar fFew[8];
    std::unique_ptr<TagVar[]> fMany;
};

} // namespace

// Construction

TTextMessage::TTextMessage(StoreID const &store, long set, long number, TString const &text) noexcept
    : fStore(store), fSet(Clamp(set)), fNumber(Clamp(number)), fDefaultText(text) {}

TTextMessage::TTextMessage(TTextMessage const &other)
    : fStore(other.fStore), fSet(other.fSet), fNumber(other.fNumber), fDefaultText(other.fDefaultText),
      fFile(other.fFile), fLine(other.fLine) {
    fArguments = NewArray(other.fCount);
    fCapacity = other.fCount;
    try {
        for (; fCount != other.fCount; ++fCount)
            std::construct_at(fArguments + fCount, TagVar::Keep(other.fArguments[fCount]));
    } catch (...) {
        DropArguments();
        throw;
    }
}

TTextMessage &TTextMessage::operator=(TTextMessage const &other) {
    if (this == &other)
        return *this;
    TFreshArguments fresh(other.fCount);
    for (std::uint32_t i = 0; i != other.fCount; ++i)
        fresh.values[i] = TagVar::Keep(other.fArguments[i]);
    if (fAreShown)
        RetireArguments();
    TakeOver(fresh.values, other.fCount);
    fStore = other.fStore;
    fSet = other.fSet;
    fNumber = other.fNumber;
    fDefaultText = other.fDefaultText;
    fFormatted = TString();
    fFile = other.fFile;
    fLine = other.fLine;
    return *this;
}

TTextMessage::~TTextMessage() {
    DropArguments();
    std::destroy_n(Slots(), fRetired);
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

void TTextMessage::TakeArguments(TagVar const *const *pointers, std::size_t count) {
    TFreshArguments fresh(count);
    for (std::size_t i = 0; i < count; ++i)
        fresh.values[i] = TagVar::Keep(*pointers[i]);
    TakeOver(fresh.values, count);
}

void TTextMessage::MoveArguments(TagVar *values, std::size_t count) {
    TakeOver(values, count);
}

// Moves the values into the message, in the place of the former arguments.
void TTextMessage::TakeOver(TagVar *values, std::size_t count) {
    TagVar *const fresh = NewArray(count);
    DropArguments();
    fArguments = fresh;
    fCount = fCapacity = static_cast<std::uint32_t>(count);
    std::uninitialized_move_n(values, count, fresh);
}

// Returns memory for arguments: the slots within the message if these suffice and hold no retired arguments, and
// otherwise a new array of nil values.
TagVar *TTextMessage::NewArray(std::size_t count) {
    // No test gets here: the arguments would have to need more than half of the address space.
    return count <= fsSlots && fRetired == 0 ? Slots() : new TagVar[count];
}

void TTextMessage::DropArguments() noexcept {
    if (fArguments == Slots())
        std::destroy_n(fArguments, fCount);
    else
        delete[] fArguments;
    fArguments = nullptr;
    fCount = fCapacity = 0;
    fAreShown = false;
}

// Takes the arguments out of use, and keeps them until the message is destroyed, because references to them may exist.
void TTextMessage::RetireArguments() {
    if (fArguments == Slots())
        fRetired = static_cast<std::uint8_t>(fCount);
    else
        fFormerArguments.emplace_back(fArguments);
    fArguments = nullptr;
    fCount = fCapacity = 0;
    fAreShown = false;
}

// Turns each text argument of an inner kind (see TAGVAR.h) into a TString object, because programs may now access the
// arguments.
void TTextMessage::ShowArguments() const {
    for (std::uint32_t i = 0; i != fCount; ++i)
        TagVarAccess::Own(fArguments[i]);
    fAreShown = true;
}

void TTextMessage::Reserve(std::uint32_t capacity) {
    // No test gets here: no message has so many arguments that their size exceeds the limit of new[].
    auto *const fresh = new TagVar[capacity];
    std::uint32_t const count = fCount;
    std::move(fArguments, fArguments + count, fresh);
    DropArguments();
    fArguments = fresh;
    fCount = count;
    fCapacity = capacity;
}

std::uint32_t TTextMessage::CheckedIndex(unsigned int index) const {
    if (index < fCount) {
        if (!fAreShown)
            ShowArguments();
        return index;
    }
    if (fFile.length() != 0)
        fsReports.Warning("Reqested argument %u in message from %s[%u]", index, fFile, fLine);
    fsReports.Raise<TInvalidParameter>("Out of Range");
}

// The text

TString const &TTextMessage::QueryMessage() const {
    if (fFormatted.length() != 0)
        return fFormatted;
    TString const stored = StoredText();
    TString const &text = stored.length() == 0 ? fDefaultText : stored;
    fFormatted = PrintMessage(text, {fArguments, fCount, TMessageFaults(*this)});
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
    ShowArguments(); // the block borrows the texts of the arguments
    return RewriteNarrow(format, {fArguments, fCount, TMessageFaults(*this)}, out, block);
}

unsigned long TTextMessage::ValidateArgsW(TString const &format, TString &out, CharP &block) const {
    ShowArguments(); // the block borrows the texts of the arguments
    return RewriteWide(format, {fArguments, fCount, TMessageFaults(*this)}, out, block);
}

void TTextMessage::SetDebugging(char const *file, unsigned long line) {
    fFile = TString(file);
    fLine = static_cast<std::uint32_t>(std::min<unsigned long>(line, 0xFFFFFFFF));
}

// Traces a fault of the format or of an argument, and throws nothing. If there is no message, records the fault for
// IsGivenUp() instead.
void TMessageFaults::Report(Fault fault, char conversion, std::uint32_t argument) const {
    if (!fMessage) {
        fIsGivenUp = true;
        return;
    }
    TString const &store = fMessage->fStore;
    auto const set = fMessage->fSet;
    auto const number = fMessage->fNumber;
    TString const &file = fMessage->fFile;
    auto const line = fMessage->fLine;
    // No test gets here: each fault has a case.
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
    DropArguments();

    std::uint32_t announced = 0;
    if ((in >> fStore).fail() || !ReadInto<std::int32_t>(in, fSet) || !ReadInto<std::int32_t>(in, fNumber) ||
        (in >> fDefaultText).fail() || !ReadInto<std::uint32_t>(in, announced))
        return in;

    // The room for arguments is doubled only when it is full. Therefore a large announced number alone needs no memory.
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

// TagVar: construction, copies, conversions, texts and the binary form of a value that knows its kind. The operators
// are in kernel/value_operators.cpp. If there is no memory for the text or the time of a copy, the copy has no text or
// time, and nothing is thrown. This source has no lock.

#include "tuzutil/TAGVAR.h"

#include "tuzutil/BINSTRM.h"
#include "utility/kernel/string_access.h"
#include "utility/kernel/value_access.h"
#include "utility/kernel/value_reports.h"

#include <bit>
#include <charconv>
#include <memory>
#include <new>
#include <ostream>
#include <utility>

static_assert(sizeof(TagVar) == 16, "the kind, and a cell of 64 bits");

namespace {

// Returns a new object, or null if there is no memory for it.
template <typename T, typename... Arguments>
T *Make(Arguments &&...arguments) {
    // No test gets here: if a constructor throws, there is an object to deallocate, so the test for null never fails.
    return new (std::nothrow) T(std::forward<Arguments>(arguments)...);
}

void Fail(ToBinaryStream &out) {
    out.clear(out.rdstate() | std::ios_base::failbit);
}

} // namespace

// The cell

double TagVar::Real() const noexcept {
    return std::bit_cast<double>(fCell);
}

void TagVar::SetWord(Type type, std::uint32_t word) noexcept {
    fType = type;
    fCell = word;
}

void TagVar::SetReal(double value) noexcept {
    fType = real;
    fCell = std::bit_cast<std::uint64_t>(value);
}

void TagVar::SetObject(Type type, void const *object) noexcept {
    fType = type;
    fCell = reinterpret_cast<std::uintptr_t>(object);
}

void TagVar::CleanUp() noexcept {
    switch (static_cast<std::uint32_t>(fType)) {
    case string:
    case wideString: delete Object<TString>(); break;
    case date: delete Object<TDate>(); break;
    case time: delete Object<TTime>(); break;
    case dateTime: delete Object<TDateTime>(); break;
    case kept:
    case keptWide: TStringAccess::Adopt(Object<TStringBuffer>()); break;
    default: break;
    }
    fType = nil;
    fCell = 0;
}

// Construction

// On some systems, a program that is not optimized imports an inline constant of an exported class if it takes the
// address of the constant. Therefore the library defines these constants.
constexpr TagVar::Type TagVar::integer64;
constexpr TagVar::Type TagVar::unsignedInteger64;
constexpr TagVar::Type TagVar::unshown;

TagVar::TagVar(long value) noexcept : TagVar(static_cast<long long>(value)) {}
TagVar::TagVar(unsigned long value) noexcept : TagVar(static_cast<unsigned long long>(value)) {}
TagVar::TagVar(long long value) noexcept
    : fType(std::in_range<std::int32_t>(value) ? integer : integer64),
      fCell(fType == integer ? static_cast<std::uint32_t>(value) : static_cast<std::uint64_t>(value)) {}
TagVar::TagVar(unsigned long long value) noexcept
    : fType(std::in_range<std::uint32_t>(value) ? unsignedInteger : unsignedInteger64), fCell(value) {}

TagVar::TagVar(double value) noexcept {
    SetReal(value);
}

TagVar::TagVar(TString const &text) {
    SetObject(text.IsUnicode() ? wideString : string, Make<TString>(text));
}
TagVar::TagVar(char const *text) {
    SetObject(string, Make<TString>(text));
}
TagVar::TagVar(unsigned char const *text) {
    SetObject(string, Make<TString>(text));
}
TagVar::TagVar(unsigned short const *text) {
    SetObject(wideString, Make<TString>(text));
}
TagVar::TagVar(char16_t const *text) {
    SetObject(wideString, Make<TString>(text));
}
TagVar::TagVar(TDate) {
    SetObject(date, Make<TDate>());
}
TagVar::TagVar(TTime) {
    SetObject(time, Make<TTime>());
}
TagVar::TagVar(TDateTime const &value) {
    SetObject(dateTime, Make<TDateTime>(value));
}
TagVar::TagVar(TagVarVoidPtr const &value) noexcept {
    SetObject(voidPtr, value.QueryVoidPtr());
}

// Copies the kind and the value of `other`. An object that `other` owns is copied too. REQUIRES: this value owns no
// object. If `other` has an inner kind, a program has made it, because the library copies such values only by Keep().
void TagVar::CopyOwned(TagVar const &other) {
    fType = other.fType;
    fCell = 0;
    if (!Exists(fType))
        tagvar::ReportUnknown();
    fCell = other.fCell;
    if (fCell == 0)
        return; // without an object, there is nothing to copy
    switch (fType) {
    case string:
    case wideString: return SetObject(fType, Make<TString>(*other.Object<TString>()));
    case date: return SetObject(fType, Make<TDate>());
    case time: return SetObject(fType, Make<TTime>());
    case dateTime: return SetObject(fType, Make<TDateTime>(*other.Object<TDateTime>()));
    default: return;
    }
}

// Arguments

TagVar TagVar::Keep(TString const &text) noexcept {
    TagVar value(static_cast<Type>(text.IsUnicode() ? keptWide : kept));
    value.fCell = reinterpret_cast<std::uintptr_t>(TStringAccess::Buffer(TString(text)));
    return value;
}

TagVar TagVar::Keep(char const *text) {
    TagVar value(static_cast<Type>(kept));
    value.fCell = reinterpret_cast<std::uintptr_t>(TStringAccess::Buffer(TString(text)));
    return value;
}

TagVar TagVar::Keep(TagVar const &value) {
    TString const *text = nullptr;
    switch (static_cast<std::uint32_t>(value.fType)) {
    case lentChars: return Keep(value.Object<char const>());
    case lentString:
    case lentWide:
    case string:
    case wideString: text = value.Object<TString>(); break;
    case kept:
    case keptWide: {
        TagVar copy(value.fType);
        copy.fCell = value.fCell;
        if (auto *const buffer = value.Object<TStringBuffer>())
            buffer->AddHolder();
        return copy;
    }
    default: break;
    }
    // A program can pass any number as a kind, even that of an inner kind (see TInner in TAGVAR.h). The library's own
    // values of a kind that borrows a text always have this text. So an inner kind without a text comes from a program.
    if (!text && value.IsInner())
        tagvar::ReportUnknown();
    if (!text)
        return value;
    TagVar copy = Keep(*text);
    copy.fType = static_cast<Type>(TagVarAccess::Kind(value) == wideString ? keptWide : kept);
    return copy;
}

void TagVar::Own() {
    TagVar const text = Keep(*this);
    auto *const object = new TString(TStringAccess::Shared(text.Object<TStringBuffer>()));
    Type const type = TagVarAccess::Kind(*this);
    CleanUp();
    SetObject(type, object);
}

TagVar::TagVar(TagVar const &other) {
    CopyOwned(other);
}

TagVar::TagVar(TagVar &&other) noexcept
    : fType(std::exchange(other.fType, nil)), fCell(std::exchange(other.fCell, 0)) {}

TagVar &TagVar::operator=(TagVar const &other) {
    if (this != &other) {
        CleanUp();
        CopyOwned(other);
    }
    return *this;
}

TagVar &TagVar::operator=(TagVar &&other) { // throws if the kind does not exist NOLINT(bugprone-exception-escape)
    if (!Exists(other.fType) && !other.IsInner())
        return *this = std::as_const(other);
    if (this != &other) {
        CleanUp();
        fType = std::exchange(other.fType, nil);
        fCell = std::exchange(other.fCell, 0);
    }
    return *this;
}

// Accessors

TagVar::operator long() const {
    if (fType != integer)
        tagvar::ReportMismatch();
    return static_cast<std::int32_t>(Word());
}

TagVar::operator unsigned long() const {
    if (fType != unsignedInteger)
        tagvar::ReportMismatch();
    return Word();
}

TagVar::operator double() const {
    if (fType != real)
        tagvar::ReportMismatch();
    return Real();
}

long long TagVar::QueryInteger64() const {
    if (fType == integer)
        return static_cast<std::int32_t>(Word());
    bool const isUnsigned = fType == unsignedInteger || fType == unsignedInteger64;
    if (isUnsigned ? !std::in_range<std::int64_t>(fCell) : fType != integer64)
        tagvar::ReportMismatch();
    return static_cast<std::int64_t>(fCell);
}

unsigned long long TagVar::QueryUnsignedInteger64() const {
    if (fType == unsignedInteger || fType == unsignedInteger64)
        return fCell;
    long long const value = QueryInteger64();
    if (value < 0)
        tagvar::ReportMismatch();
    return static_cast<unsigned long long>(value);
}

void *TagVar::QueryVoidPtr() const {
    if (fType != voidPtr)
        tagvar::ReportMismatch();
    return Object<void>();
}

TDateTime const *TagVar::QueryDateTime() const {
    if (fType != dateTime)
        tagvar::ReportMismatch();
    return Object<TDateTime>();
}

TString const *TagVar::QueryString() const {
    // Tests only three bits of the kind, and so accepts other kinds too, as TAGVAR.h says.
    if ((fType & 7) == 0)
        tagvar::ReportMismatch();
    return Object<TString>();
}

// Text

std::ostream &TagVar::StreamOut(std::ostream &out) const {
    switch (static_cast<std::uint32_t>(fType)) {
    case nil: return out << "(nil)";
    case endOfArgs: return out << "(endOfArgs)";
    case integer: return out << static_cast<std::int32_t>(Word());
    case unsignedInteger: return out << Word();
    case real: return out << Real();
    case string:
    case wideString: {
        auto const *const text = Object<TString>();
        return text ? text->Print(out) : out << "(null)";
    }
    case date:
    case time: tagvar::ReportNotImplemented();
    case dateTime: {
        auto const *const moment = Object<TDateTime>();
        return moment ? moment->QueryString(nullptr).Print(out) : out << "(null)";
    }
    case voidPtr: return out << Object<void const>();
    case integer64: return out << static_cast<std::int64_t>(fCell);
    case unsignedInteger64: return out << fCell;
    case unshown: return out << '?';
    }
    tagvar::ReportUnknown();
}

std::istream &TagVar::StreamIn(std::istream &) {
    tagvar::ReportNotImplemented();
}

std::ostream &TagVar::PrintType(std::ostream &out) const {
    static constexpr char const *fsNames[] = {"nil",  "endOfArgs", "integer",    "unsignedInteger",
                                              "real", "string",    "widestring", "date",
                                              "time", "datetime",  "voidptr"};
    if (fType < std::size(fsNames))
        return out << fsNames[fType];
    if (Exists(fType))
        return out << (fType == integer64 ? "integer64" : fType == unshown ? "unshown" : "unsignedInteger64");
    char digits[8];
    auto const end = std::to_chars(digits, digits + sizeof digits, static_cast<std::uint32_t>(fType), 16).ptr;
    return (out << "unknown(").write(digits, end - digits) << ')';
}

// Binary form

// Writes a number of 64 bits as two numbers of 32 bits. In network order the high half comes first, otherwise the low
// half.
ToBinaryStream &TagVar::WriteLong(ToBinaryStream &out) const {
    auto const high = static_cast<std::uint32_t>(fCell >> 32);
    return out.IsNetworkOrder() ? out << high << Word() : out << Word() << high;
}

void TagVar::ReadLong(TiBinaryStream &in) {
    std::uint32_t words[2] = {};
    in >> words[0] >> words[1];
    bool const isHighFirst = in.IsNetworkOrder();
    fCell = std::uint64_t{words[isHighFirst ? 0 : 1]} << 32 | words[isHighFirst ? 1 : 0];
}

ToBinaryStream &TagVar::WriteToBinaryStream(ToBinaryStream &out) const {
    if (fType == voidPtr && fCell > UINT32_MAX) {
        Fail(out);
        return out;
    }
    if ((out << static_cast<std::uint32_t>(TagVarAccess::Kind(*this))).fail())
        return out;

    switch (static_cast<std::uint32_t>(fType)) {
    case kept:
    case keptWide: return (out << 1u).fail() ? out : out << TStringAccess::Shared(Object<TStringBuffer>());
    case nil:
    case endOfArgs:
    case date:
    case time:
    case unshown: return out;
    case integer64:
    case unsignedInteger64: return WriteLong(out);
    case integer:
    case unsignedInteger: return out << Word();
    case real: return out << Real();
    case string:
    case wideString: {
        auto const *const text = Object<TString>();
        return (out << (text ? 1u : 0u)).fail() || !text ? out : out << *text;
    }
    case dateTime: {
        auto const *const moment = Object<TDateTime>();
        return (out << (moment ? 1u : 0u)).fail() || !moment ? out : out << moment->QueryTime();
    }
    case voidPtr: {
        std::uint32_t const address = Word(); // write() keeps host order, even if the stream uses network order
        return out.write(reinterpret_cast<char const *>(&address), sizeof address);
    }
    }
    tagvar::ReportUnknown();
}

TiBinaryStream &TagVar::ReadFromBinaryStream(TiBinaryStream &in) {
    CleanUp();
    std::uint32_t type = 0;
    if ((in >> type).fail())
        return in;

    // The new value is read into another TagVar first. It replaces this value only if it was read completely.
    TagVar value(static_cast<Type>(type));
    std::uint32_t word = 0;
    switch (type) {
    case nil:
    case endOfArgs:
    case date:
    case time:
    case unshown: break;
    case integer64:
    case unsignedInteger64: value.ReadLong(in); break;
    case integer:
    case unsignedInteger:
        in >> word;
        value.fCell = word;
        break;
    case real: {
        double number = 0;
        in >> number;
        value.SetReal(number);
        break;
    }
    case string:
    case wideString:
        in >> word;
        if (word != 0 && in.good()) {
            // The text is read before the object that holds it is allocated. So, even if there is no memory for that
            // object, the next value is read from the right place.
            TString text;
            in >> text;
            text.SetUnicode(type == wideString);
            value.SetObject(value.fType, Make<TString>(text));
        }
        break;
    case dateTime:
        in >> word;
        if (word != 0 && in.good()) {
            long seconds = 0;
            in >> seconds;
            value.SetObject(dateTime, Make<TDateTime>(seconds, 0L));
        }
        break;
    case voidPtr:
        in.read(reinterpret_cast<char *>(&word), sizeof word);
        value.fCell = word;
        break;
    default: tagvar::ReportUnknown();
    }
    if (!in.fail())
        *this = std::move(value);
    return in;
}

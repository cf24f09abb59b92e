// TFileName: splits file names, in narrow or 16-bit text, into their parts, and converts the names to and from the
// system's own form. Conversions between narrow and 16-bit text use the encoding of the locale, or UTF-8 if the UTF-8
// mode is on (UNICODE.h). Comparisons always follow the locale. This source has no lock, and accesses no file.

#include "tuzutil/FILENAME.h"

#include "platform/platform.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/utf16.h"

#include <cctype>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <utility>

namespace {

TReporter const fsNameReports(TUtilityTraceCategory::Directory, "src/utility/FILENAME");
TReporter const fsTextReports(TUtilityTraceCategory::String, "src/utility/FILENAME");

constexpr unsigned int fsNowhere = ~0u;

// A name as a row of units. A unit is a byte of a narrow name or a 16-bit character of a wide one. The place of a unit
// is its index, counted from 0.
class TUnits {
public:
    explicit TUnits(TString const &name) noexcept
        : fData(name), fWidth(name.IsUnicode() ? 2 : 1), fCount(name.length() / fWidth) {}

    unsigned int Count() const noexcept { return fCount; }
    unsigned int operator[](unsigned int place) const noexcept {
        if (fWidth == 1)
            return static_cast<unsigned char>(fData[place]);
        unsigned short unit;
        std::memcpy(&unit, fData + std::size_t{place} * 2, 2);
        return unit;
    }
    bool Has(unsigned int place, char unit) const noexcept {
        return place < fCount && (*this)[place] == static_cast<unsigned char>(unit);
    }

    // FindFirst() and FindLast() stop at the first zero unit, and return fsNowhere if the wanted unit is not found.
    unsigned int FindFirst(char wanted) const noexcept {
        for (unsigned int place = 0; place != fCount && (*this)[place] != 0; ++place) {
            if (Has(place, wanted))
                return place;
        }
        return fsNowhere;
    }
    unsigned int FindLast(char wanted) const noexcept {
        unsigned int last = fsNowhere;
        for (unsigned int place = 0; place != fCount && (*this)[place] != 0; ++place) {
            if (Has(place, wanted))
                last = place;
        }
        return last;
    }

    // Before() and Behind() return the part of the name before or after the unit at `place`. REQUIRES: `name` is the
    // name that was passed to the constructor.
    TString Before(TString const &name, unsigned int place) const { return name.subString(1, place * fWidth); }
    TString Behind(TString const &name, unsigned int place) const {
        unsigned int const begin = (place + 1) * fWidth;
        return name.subString(begin + 1, name.length() - begin);
    }

private:
    char const *fData;
    unsigned int fWidth;
    unsigned int fCount;
};

// Reads the units of a name in lower case, up to the first zero. If `asWide` is set, a narrow name is read as 16-bit
// text.
class TFoldedReader {
public:
    static constexpr std::int32_t fsUnreadable = -1; // stands for bytes that cannot be converted, and equals no unit

    TFoldedReader(TString const &name, bool asWide) noexcept
        : fUnits(name), fBytes(name), fLength(name.length()), fAsWide(asWide),
          fIsConverted(asWide != name.IsUnicode()) {}

    // Returns the next unit, 0 at the end, or fsUnreadable.
    std::int32_t Next() noexcept {
        std::int32_t const unit = fIsConverted ? NextConverted() : NextUnit();
        if (unit <= 0)
            return unit;
        return fAsWide ? static_cast<std::int32_t>(std::towlower(static_cast<std::wint_t>(unit))) : std::tolower(unit);
    }

private:
    std::int32_t NextUnit() noexcept {
        return fPlace == fUnits.Count() ? 0 : static_cast<std::int32_t>(fUnits[fPlace++]);
    }

    std::int32_t NextConverted() noexcept {
        if (fLowSurrogate)
            return std::exchange(fLowSurrogate, 0);
        if (fPlace == fLength)
            return 0;
        wchar_t character = 0;
        std::size_t const used = std::mbrtowc(&character, fBytes + fPlace, fLength - fPlace, &fState);
        if (used > fLength - fPlace) // the character is invalid or incomplete
            return fsUnreadable;
        fPlace += static_cast<unsigned int>(used);
        auto const code = static_cast<std::uint32_t>(static_cast<std::wint_t>(character));
        if (!utf16::NeedsPair(code))
            return static_cast<std::int32_t>(code);
        fLowSurrogate = utf16::Low(code);
        return utf16::High(code);
    }

    TUnits fUnits;
    char const *fBytes;
    unsigned int fLength;
    bool fAsWide;
    bool fIsConverted;
    unsigned int fPlace = 0;
    std::int32_t fLowSurrogate = 0;
    std::mbstate_t fState = {};
};

TString const &DelimOf(TString const &name) noexcept {
    return name.IsUnicode() ? TFileName::fsDelimUnicode : TFileName::fsDelimLocal;
}

// Joins two names with one delimiter between them: adds a delimiter if neither name has one there, and removes one if
// both have. REQUIRES: both names have the same encoding.
TString Joined(TFileName const &first, TFileName const &second) {
    bool const hasDelimBefore = first.IsDelimAtEnd();
    bool const hasDelimBehind = second.IsDelimAtBegin();
    if (hasDelimBefore && hasDelimBehind)
        return first + second.subString(DelimOf(second).length() + 1);
    if (!hasDelimBefore && !hasDelimBehind)
        return first + DelimOf(first) + second;
    return first + static_cast<TString const &>(second);
}

// Joins two names of any encodings. If the encodings differ, the result is in Unicode.
TString Combined(TFileName const &first, TFileName const &second) {
    if (first.QueryType() == second.QueryType())
        return Joined(first, second);
    return Joined(first.QueryNameUnicode(), second.QueryNameUnicode());
}

} // namespace

TFileName::TFileName(TFileName const &first, TFileName const &second) : TString(Combined(first, second)) {}

TFileName TFileName::FromNative(char const *name) {
    if (name && !platform::HasLibraryForm(name))
        fsNameReports.Raise<TInvalidParameter>("Backslash in a native name");
    TFileName result(name);
    platform::FromNativeName(result, result.length());
    return result;
}

TString TFileName::QueryNative() const {
    if (IsUnicode() && !platform::hasWideNames)
        return TFileName(QueryNameLocal()).QueryNative();
    TString result(*this);
    result.MakeUnique();
    if (!IsUnicode())
        platform::ToNativeName(result, result.length());
    return result;
}

// Encodings

TString TFileName::Convert(TString const &format) const {
    TagVar const name(static_cast<TString const &>(*this));
    if (!name.QueryString())
        fsTextReports.RaiseOutOfMemory();
    if (format.IsUnicode())
        return TTextMessage(static_cast<unsigned short const *>(format), name).QueryMessage();
    return TTextMessage(static_cast<char const *>(format), name).QueryMessage();
}

TString TFileName::QueryNameLocal() const {
    if (!IsUnicode())
        return *this;
    return Convert("%s");
}

TString TFileName::QueryNameUnicode() const {
    if (IsUnicode())
        return *this;
    return Convert(u"%s");
}

bool TFileName::operator==(TFileName const &other) const noexcept {
    if (this == &other)
        return true;
    if (IsNull() || other.IsNull())
        return IsNull() && other.IsNull();
    bool const asWide = IsUnicode() || other.IsUnicode();
    TFoldedReader left(*this, asWide);
    TFoldedReader right(other, asWide);
    for (;;) {
        std::int32_t const a = left.Next();
        // No test gets here: two names would have to be unreadable at the same place.
        if (a != right.Next() || a == TFoldedReader::fsUnreadable)
            return false;
        if (a == 0)
            return true;
    }
}

// Parts

int TFileName::IsDrive() const noexcept {
    return TUnits(*this).FindFirst(':') != fsNowhere;
}

TFileName TFileName::QueryDrive() const {
    TUnits const units(*this);
    unsigned int const colon = units.FindFirst(':');
    return units.Before(*this, colon == fsNowhere ? 0 : colon);
}

int TFileName::IsDelimAtBegin() const noexcept {
    return TUnits(*this).Has(0, '\\');
}

int TFileName::IsDelimAtEnd() const noexcept {
    TUnits const units(*this);
    return units.Has(units.Count() - 1, '\\');
}

int TFileName::IsFullPath() const noexcept {
    TUnits const units(*this);
    unsigned int const colon = units.FindFirst(':');
    return units.Has(colon == fsNowhere ? 0 : colon + 1, '\\');
}

TFileName TFileName::QueryPath() const {
    TUnits const units(*this);
    unsigned int const delim = units.FindLast('\\');
    return units.Before(*this, delim == fsNowhere ? 0 : delim);
}

TFileName TFileName::QueryName() const {
    TUnits const units(*this);
    unsigned int const delim = units.FindLast('\\');
    return delim == fsNowhere ? *this : TFileName(units.Behind(*this, delim));
}

TFileName TFileName::QueryFirstName() const {
    TUnits const units(*this);
    unsigned int const delim = units.FindFirst('\\');
    return delim == fsNowhere ? *this : TFileName(units.Before(*this, delim));
}

TFileName TFileName::QueryFirstRest() const {
    TUnits const units(*this);
    unsigned int const delim = units.FindFirst('\\');
    return delim == fsNowhere ? TFileName() : TFileName(units.Behind(*this, delim));
}

TFileName &TFileName::FixDelim() {
    MakeUnique();
    TUnits const units(*this);
    unsigned int const width = IsUnicode() ? 2 : 1;
    TString const &delim = DelimOf(*this);
    char *const data = *this;
    for (unsigned int place = 0; place != units.Count(); ++place) {
        if (units.Has(place, '/'))
            std::memcpy(data + std::size_t{place} * width, static_cast<char const *>(delim), width);
    }
    return *this;
}

// Applies a selection to a destination, field by field: the levels, the components, the default (whether the
// destination takes the categories that it does not list), the categories, and the parts of the prefix. This source
// takes no lock. The functions of the destination take the trace lock if they need it.

#include "utility/destinations/trace_selection.h"

#include "utility/destinations/configuration_fault.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"
#include "utility/kernel/trace_levels.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");

bool IsSign(char c) noexcept {
    return c == '+' || c == '-';
}

// Removes the first field of a selection from `rest`, and returns it.
std::string_view TakeField(std::string_view &rest) noexcept {
    std::string_view const field = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(field.size() + 1, rest.size()));
    return field;
}

// The mask of levels or components that a field of the selection sets. If the field begins with a sign, the field
// changes the current mask. Otherwise the mask starts at 0.
class TMaskChange {
public:
    TMaskChange(std::string_view field, unsigned long current) noexcept
        : fMask(IsSign(field.front()) ? static_cast<std::uint32_t>(current) : 0) {}

    void SetSign(char sign) noexcept { fAdds = sign == '+'; }
    void Apply(std::uint32_t mask) noexcept { fMask = fAdds ? fMask | mask : fMask & ~mask; }
    std::uint32_t Mask() const noexcept { return fMask; }

private:
    std::uint32_t fMask;
    bool fAdds = true;
};

TTraceLevel const *FindLevel(std::string_view keyword) noexcept {
    for (TTraceLevel const &each : fsTraceLevels) {
        if (keyword.size() == 2 && ascii_names::Fold(keyword[0]) == each.keyword[0] &&
            ascii_names::Fold(keyword[1]) == each.keyword[1])
            return &each;
    }
    return nullptr;
}

// Applies the field of the levels. Returns false if a pair of characters is not the keyword of a level. `at` is then
// the position of that pair.
bool ApplyLevels(TTrace::Base &destination, std::string_view field, std::size_t &at) {
    TMaskChange change(field, destination.QueryLevel());
    for (at = 0; at < field.size();) {
        if (IsSign(field[at])) {
            change.SetSign(field[at++]);
            continue;
        }
        TTraceLevel const *const level = FindLevel(field.substr(at, 2));
        if (!level)
            return false;
        change.Apply(level->mask);
        at += 2;
    }
    destination.SetLevel(change.Mask());
    return true;
}

void ApplyComponents(TTrace::Base &destination, std::string_view field) {
    TMaskChange change(field, destination.QueryComponent());
    while (!field.empty()) {
        if (IsSign(field.front())) {
            change.SetSign(field.front());
            field.remove_prefix(1);
            continue;
        }
        std::string_view const name = field.substr(0, field.find_first_of("+-"));
        auto const mask = static_cast<std::uint32_t>(TTrace::QueryComponentFromName(TStringAccess::From(name)));
        if (mask == 0)
            TellConfigurationFault("unknown component", name);
        change.Apply(mask);
        field.remove_prefix(name.size());
    }
    destination.SetComponent(change.Mask());
}

bool ApplyDefault(TTrace::Base &destination, std::string_view field) {
    if (field != "0" && field != "1")
        return false;
    destination.SetDefaultTracing(field == "1");
    return true;
}

// Switches a category on or off. If the name begins with "!" and no category has this name, switches off the category
// whose name follows the "!". Reports a name that no category has.
void ApplyCategory(TTrace::Base &destination, std::string_view name, bool isOn) {
    TTrace::Category const *category = TTrace::FindCategory(TStringAccess::From(name));
    if (!category && name.front() == '!') {
        category = TTrace::FindCategory(TStringAccess::From(name.substr(1)));
        isOn = false;
    }
    if (category) {
        destination.AddCategory(*category, isOn);
        return;
    }
    fsReports.Warning("Trace category %s not found", TStringAccess::From(name));
    TellConfigurationFault("unknown category", name, alsoAnEntry);
}

// Switches categories on or off. The sign of a name is read from the field of the *components*, at the position at
// which the name begins in the field of the categories. If there is a sign at that position, the first character of the
// name is skipped. Otherwise the previous sign applies or, if there was none, "+". docs/tracing.md describes this trap.
void ApplyCategories(TTrace::Base &destination, std::string_view field, std::string_view components) {
    bool isOn = true;
    for (std::size_t at = 0; at < field.size();) {
        std::size_t begin = at;
        if (at < components.size() && IsSign(components[at])) {
            isOn = components[at] == '+';
            ++begin;
        }
        std::size_t const end = std::min(field.find_first_of("+-", begin), field.size());
        std::string_view const name = field.substr(begin, end - begin);
        if (!name.empty())
            ApplyCategory(destination, name, isOn);
        at = end + 1;
    }
}

// Sets the parts of the prefix. The field is a list of words, separated by signs. Both signs mean the same.
void ApplyPrefixParts(TTrace::Base &destination, std::string_view field) {
    struct TPart {
        char const *keyword;
        TTrace::Base::PrefixPart part;
    };
    static constexpr TPart known[] = {
        {"category", TTrace::Base::categoryPart}, {"year", TTrace::Base::yearPart}, {"zone", TTrace::Base::zonePart}};
    unsigned long parts = 0;
    while (!field.empty()) {
        std::string const word(field.substr(0, field.find_first_of("+-")));
        field.remove_prefix(std::min(word.size() + 1, field.size()));
        auto const *const found = std::find_if(std::begin(known), std::end(known), [&](TPart const &each) {
            return ascii_names::IsEqual(each.keyword, word.c_str());
        });
        if (found != std::end(known))
            parts |= found->part;
        else if (!word.empty())
            TellConfigurationFault("unknown part of the prefix", word);
    }
    destination.SetPrefixParts(parts);
}

} // namespace

TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection) {
    std::string_view rest = selection;
    std::string_view const levels = TakeField(rest);
    std::string_view const components = TakeField(rest);
    std::string_view const defaultTracing = TakeField(rest);
    std::string_view const categories = TakeField(rest);
    std::string_view const prefixParts = TakeField(rest);
    auto const positionOf = [&](std::string_view field) {
        return static_cast<std::size_t>(field.data() - selection.data());
    };

    std::size_t at = 0;
    if (!levels.empty() && !ApplyLevels(destination, levels, at))
        return {"Unknown level specified", positionOf(levels) + at, std::min<std::size_t>(2, levels.size() - at)};
    if (!components.empty())
        ApplyComponents(destination, components);
    if (!defaultTracing.empty() && !ApplyDefault(destination, defaultTracing))
        return {"Invalid default specified", positionOf(defaultTracing), defaultTracing.size()};
    if (!categories.empty())
        ApplyCategories(destination, categories, components);
    if (!prefixParts.empty())
        ApplyPrefixParts(destination, prefixParts);
    return {};
}

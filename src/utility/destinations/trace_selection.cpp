// Applies a selection to a destination, field by field: levels, components, the default, categories. It takes no lock
// of its own; the destination locks each of its changes.

#include "utility/destinations/trace_selection.h"

#include "utility/kernel/ascii_names.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"
#include "utility/kernel/trace_levels.h"

#include <algorithm>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/TRACEP");

bool IsSign(char c) noexcept {
    return c == '+' || c == '-';
}

// The fields of a selection, which it loses one by one.
std::string_view TakeField(std::string_view &rest) noexcept {
    std::string_view const field = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(field.size() + 1, rest.size()));
    return field;
}

// A mask that a field adds to and takes from. If the field begins with a sign, the mask begins as the current one,
// otherwise as 0.
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

// False if a pair of characters is no level; `at` is then its position.
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
        change.Apply(static_cast<std::uint32_t>(TTrace::QueryComponentFromName(TStringAccess::From(name))));
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

// The sign of each name is the character at the same position of the *components*. If that is a sign, the name loses
// its first character. Configurations in use rely on it.
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
        if (!name.empty()) {
            if (TTrace::Category const *const category = TTrace::FindCategory(TStringAccess::From(name)))
                destination.AddCategory(*category, isOn);
            else
                fsReports.Warning("Trace category %s not found", TStringAccess::From(name));
        }
        at = end + 1;
    }
}

} // namespace

TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection) {
    std::string_view rest = selection;
    std::string_view const levels = TakeField(rest);
    std::string_view const components = TakeField(rest);
    std::string_view const defaultTracing = TakeField(rest);
    std::string_view const categories = TakeField(rest);
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
    return {};
}

#include "tuzutil/TRACE.h"

TTrace::Category::Category(unsigned long component, TString const &name)
    : fComponent(static_cast<std::uint32_t>(component)), fName(name) {}

TTrace::Category::Category(unsigned long component, char const *name) : Category(component, TString(name)) {}

int TTrace::Category::operator<(Category const &other) const noexcept {
    return fComponent != other.fComponent ? fComponent < other.fComponent : fName.isLessThan(other.fName);
}

int TTrace::Category::operator==(Category const &other) const noexcept {
    return fComponent == other.fComponent && fName.isEqual(other.fName);
}

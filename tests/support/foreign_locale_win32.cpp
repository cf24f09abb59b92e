#include "support/ForeignLocale.h"

#include <string_view>

bool TForeignLocale::Set(char const *name) {
    return std::string_view(name) == "test" && std::setlocale(LC_CTYPE, "German_Germany.1252") &&
           std::setlocale(LC_NUMERIC, "German_Germany.1252");
}

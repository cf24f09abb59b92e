#include "support/ForeignLocale.h"

bool TForeignLocale::Set() {
    return std::setlocale(LC_CTYPE, "German_Germany.1252") && std::setlocale(LC_NUMERIC, "German_Germany.1252");
}

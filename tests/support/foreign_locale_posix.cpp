#include "support/ForeignLocale.h"

#include <stdlib.h>

bool TForeignLocale::Set(char const *name) {
    ::setenv("LOCPATH", TUZUTIL_TEST_LOCALES, 1);
    bool const isSet = std::setlocale(LC_CTYPE, name) && std::setlocale(LC_NUMERIC, name);
    ::unsetenv("LOCPATH");
    return isSet;
}

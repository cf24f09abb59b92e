#include "support/ForeignLocale.h"

#include <stdlib.h>

bool TForeignLocale::Set() {
    ::setenv("LOCPATH", TUZUTIL_TEST_LOCALES, 1);
    bool const isSet = std::setlocale(LC_CTYPE, "test") && std::setlocale(LC_NUMERIC, "test");
    ::unsetenv("LOCPATH");
    return isSet;
}

// Asks tolower() or toupper() for each letter, because the runtime's tables are not open to programs. The function
// takes only the locks of the runtime.

#include "platform/platform.h"

#include <ctype.h>

bool platform::AreLettersPlain(bool toLower) noexcept {
    int const caseBit = 'a' - 'A';
    int const shift = toLower ? caseBit : 0; // the difference between the result and the capital letter
    auto *const fold = toLower ? &::tolower : &::toupper;
    for (int c = 'A'; c <= 'Z'; ++c) {
        // No test gets here: no locale under Wine folds ASCII letters to others.
        if (fold(c) != c + shift || fold(c + caseBit) != c + shift)
            return false;
    }
    return true;
}

bool platform::IsLetterIPlain() noexcept {
    return ::tolower('I') == 'i';
}

#include <tuzutil/tuzutil.h>

#include <iostream>

int main() {
    try {
        TString("abc").subString(0);
    } catch (TInvalidRequest &problem) {
        std::cout << problem.name() << ": " << problem.text(0) << '\n';
        return 0;
    }
    return 1;
}

#include <tuzutil/tuzutil.h>

#include <iostream>

int main() {
    std::cout << TTextMessage("%2$s has %1$d messages", 5, "inbox").QueryMessage() << '\n';
    return 0;
}

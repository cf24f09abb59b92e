#include <tuzutil/tuzutil.h>

#include <iostream>

struct TText {
    long number;
    char const *english;
};
static TText const fsCount{1, "%2$s has %1$d messages"};

int main() {
    TSearchNLSPath::SetLang("German");
    TTextMessage::StoreID const id(TString("embedding"), ExplicitInit);
    TTextMessageStorePM const store(id, "embedding");
    std::cout << TTextMessage(id, 1, fsCount.number, fsCount.english, 5, "inbox").QueryMessage() << '\n';
    return 0;
}

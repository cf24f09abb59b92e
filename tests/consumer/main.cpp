#include <tuzutil/tuzutil.h>

#include <iostream>

struct TText {
    long number;
    char const *english;
};
static TText const fsCount{17, "%u messages"};

int main() {
    try {
        TString("abc").subString(0);
    } catch (TInvalidRequest &problem) {
        std::cout << problem.name() << ": " << problem.text(0) << '\n';
    }
    TSearchNLSPath::SetLang("German");
    TTextMessage::StoreID const id(TString("consumer"), ExplicitInit);
    TTextMessageStorePM const store(id, "consumer");
    std::cout << TTextMessage(id, 1, fsCount.number, fsCount.english, 5u).QueryMessage() << '\n';
    return 0;
}

// Makes messages of any bytes. The first byte chooses the arguments. The other bytes are used as a narrow format, as a
// wide format, and as the binary form of a message. Each message must give a text, and a rewritten format must have its
// terminating zero.

#include "tuzutil/BINSTRM.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TXTMSG.h"

#include "bounds.h"

#include <cstdlib>
#include <sstream>
#include <string>

namespace {

// Returns an argument. Nine successive values of `choice` give nine kinds of arguments.
TagVar Argument(unsigned int choice) {
    switch (choice % 9) {
    case 0: return 7;
    case 1: return "text";
    case 2: return 2.5;
    case 3: return u"wide \u00E9\u4E2D";
    case 4: return 0xFFFFFFFFu;
    case 5: return TagVarVoidPtr();
    case 6: return TagVar::string;
    case 7: return -100;
    default: return TDateTime(1, 2);
    }
}

template <typename Char>
void Format(Char const *format, unsigned int choice) {
    TTextMessage const message(format, Argument(choice), Argument(choice + 1), Argument(choice + 2),
                               Argument(choice / 9), Argument(choice / 9 + 1));
    if (message.QueryMessage().length() == 0)
        std::abort();
    TTextMessage::CharP block;
    TString out;
    TString const text(format);
    if (sizeof(Char) == 1)
        message.ValidateArgs(text, out, block);
    else
        message.ValidateArgsW(text, out, block);
    if (out.length() < text.length() + 11 * sizeof(Char))
        std::abort();
}

} // namespace

// A message may have 16 times the size of its input plus 256 KiB, in two encodings, and a string doubles its buffer.
TBounds const fsBounds{1536 << 10, 200, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string const bytes(reinterpret_cast<char const *>(data + 1), size - 1);
    Format(bytes.c_str(), data[0]);
    Format(std::u16string(bytes.begin(), bytes.end()).c_str(), data[0]);

    std::istringstream source(bytes);
    TiBinaryStream in(source, data[0] & 1);
    TTextMessage message;
    try {
        message.ReadFromBinaryStream(in);
        if (message.QueryMessage().length() == 0)
            std::abort();
    } catch (TInvalidRequest const &) {
        // The form contains an argument of a kind that does not exist.
    }
    return 0;
}

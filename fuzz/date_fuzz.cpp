// Reads any bytes as the date of a mail. If the date is accepted, it is written, and the written form must be accepted
// as the same date. Then formats a date, with the bytes as the format.

#include "tuzutil/TDATETIM.h"

#include "bounds.h"

#include <string>

// The date has the longest name of a zone that the input allows, and the text is printed several times.
TBounds const fsBounds{192 << 10, 140, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    std::string const text(reinterpret_cast<char const *>(data), size);
    TDateTime64 date;
    unsigned int fault = 0;
    if (TDateTime64::FromMailDate(text, date, &fault)) {
        Require(fault == 0);
        TString const written = date.QueryMailDate();
        TDateTime64 again;
        Require(TDateTime64::FromMailDate(written, again, &fault));
        Require(again.QueryTime() == date.QueryTime() && again.QueryMailDate() == written);
    } else {
        Require(fault >= 1 && fault <= size + 1);
    }
    static_cast<void>(TDateTime64(1000000000).QueryString(text.c_str()));
    return 0;
}

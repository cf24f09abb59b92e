#include "tuzutil/TSTRING.h"

#include "tuzutil/EXCEPTN.h"

#include <gtest/gtest.h>

TEST(TString, SubStringFromZeroThrows) {
    TString const text("abc");
    EXPECT_THROW(text.subString(0), TInvalidRequest);
    EXPECT_EQ(text.subString(2), TString("bc"));
}

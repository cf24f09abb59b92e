#include "tuzutil/PURETRAP.h"

#include "tuzutil/TRACE.h"

#include <gtest/gtest.h>

namespace {

class TShape {
public:
    virtual ~TShape() = default;
    virtual int Draw() { return TPureCall::Trap(); }
};

void Listen(std::uint32_t level, std::uint32_t component) {
    TTrace::Base::fsRuntimeLevel = level;
    TTrace::Base::fsRuntimeComponent = component;
}

} // namespace

TEST(TPureCall, Example) {
    TShape shape;
    EXPECT_EQ(shape.Draw(), 0);
}

TEST(TPureCall, ReturnsUnlessBothBitsForStoppingAreSet) {
    Listen(0x100000, 0x2);
    EXPECT_EQ(TPureCall::Trap(), 0);
    Listen(0x2, 0x1);
    EXPECT_EQ(TPureCall::Trap(), 0);
    Listen(0, 0);
}

TEST(TPureCallDeathTest, StopsTheProcessWhereTheTrapLevelIsTraced) {
    EXPECT_DEATH(
        {
            Listen(0x100000, 0x1);
            TPureCall::Trap();
        },
        "");
}

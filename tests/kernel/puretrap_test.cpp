#include "tuzutil/PURETRAP.h"

#include "support/PureCall.h"
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

class TFigure {
public:
    TFigure() { drawn = Draw(); }
    virtual ~TFigure() = default;
    virtual int Draw() { return TPureCall::Trap(*this, "TFigure::Draw()"); }
    int drawn;
};

class TForgetful : public TFigure {};

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

TEST(TPureCallDeathTest, OfAForgetfulClassNamesItInADebugBuild) {
    TForgetful forgetful;
    CallPure("Pure virtual function called: class .*TForgetful does not override TFigure::Draw\\(\\)",
             [&] { EXPECT_EQ(forgetful.Draw(), 0); });
}

TEST(TPureCall, OfAnObjectUnderConstructionReturns) {
    TForgetful const forgetful; // the constructor of TFigure has called Draw()
    EXPECT_EQ(forgetful.drawn, 0);
    TFigure figure;
    EXPECT_EQ(figure.Draw(), 0);
}

TEST(TPureCallDeathTest, StopsTheProcessWhereTheTrapLevelIsTraced) {
    EXPECT_DEATH(
        {
            Listen(0x100000, 0x1);
            TPureCall::Trap();
        },
        "");
}

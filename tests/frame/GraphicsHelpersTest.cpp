#include "frame/GraphicsHelpers.h"

#include <string>

#include "Support.h"

namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class GraphicsHelpersTest : public testing::Test {
 protected:
  LinkedHost setup_{host::PictureOptions{}};
  host::PictureRef picture_ = setup_.picture(30, 20, Pixels(600, 0xFF000000));
  host::Graphics* graphics_ = picture_->graphics();
  REALgraphicsStruct* handle_ = static_cast<REALgraphicsStruct*>(graphics_->handle());
};

TEST_F(GraphicsHelpersTest, PropertiesAreReadAndWrittenByName) {
  const auto number = [&](const char* property) { return graphics_->property(property).integer(); };
  EXPECT_TRUE(SetGraphicsPenWidth(handle_, 7));
  EXPECT_TRUE(SetGraphicsPenHeight(handle_, 9));
  EXPECT_TRUE(SetGraphicsTextSize(handle_, 31));
  EXPECT_EQ(number("PenWidth"), 7);
  EXPECT_EQ(number("PenHeight"), 9);
  EXPECT_EQ(number("TextSize"), 31);

  EXPECT_TRUE(SetGraphicsForeColor(handle_, 0x123456));
  EXPECT_EQ(graphics_->property("ForeColor").color(), host::Color{0x123456});
  EXPECT_EQ(GetGraphicsForeColor(handle_), 0x123456U);
  setup_.host.failCall("REALGetPropValueInt");
  EXPECT_EQ(GetGraphicsForeColor(handle_), 0U);
  EXPECT_EQ(GetGraphicsForeColor(nullptr), 0U);

  // One flag after the other, so that none can stand for another.
  const struct {
    HostBoolean (*set)(REALgraphicsStruct*, HostBoolean) noexcept;
    const char* property;
  } flags[] = {{&SetGraphicsUnderline, "Underline"},
               {&SetGraphicsItalic, "Italic"},
               {&SetGraphicsBold, "Bold"}};
  for (const auto& flag : flags) {
    EXPECT_FALSE(graphics_->property(flag.property).boolean());
    EXPECT_TRUE(flag.set(handle_, 1));
    EXPECT_TRUE(graphics_->property(flag.property).boolean());
  }
}

TEST_F(GraphicsHelpersTest, FontsAreSetFromStringsAndFromText) {
  SetGraphicsTextFont(handle_, "Sans");
  EXPECT_EQ(graphics_->property("TextFont").text(), "Sans");
  EXPECT_EQ(graphics_->property("TextFont").string()->encoding(), kEncodingASCII);
  for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
    SetGraphicsTextFont(handle_, setup_.host.newString("Serif").handle());
    EXPECT_EQ(graphics_->property("TextFont").text(), "Serif");
    SetGraphicsTextFont(handle_, nothing);
    EXPECT_TRUE(graphics_->property("TextFont").isNil());
  }
}

// The method is looked up anew each time.
TEST_F(GraphicsHelpersTest, ShapesCallTheMethodOfTheirDeclaration) {
  const auto check = [&](const std::string& method, auto draw, auto... places) {
    const auto calls = [&](REALgraphicsStruct* graphics) {
      setup_.host.clearCalls();
      draw(graphics, places...);
      return setup_.host.callTexts();
    };
    std::string expected = "Graphics." + method + "(" + graphics_->name();
    ((expected += ", " + std::to_string(places)), ...);
    EXPECT_THAT(calls(handle_), ElementsAre(HasSubstr("REALLoadObjectMethod"), expected + ")"));
    EXPECT_THAT(calls(nullptr), IsEmpty());
    setup_.host.withhold("Graphics." + method);
    EXPECT_THAT(calls(handle_), SizeIs(1));
  };
  check("DrawRect", &GraphicsDrawRect, 3, 4, 15, 10);
  check("FillRect", &GraphicsFillRect, 3, 4, 15, 10);
  check("ClearRect", &GraphicsClearRect, 3, 4, 15, 10);
  check("DrawOval", &GraphicsDrawOval, 3, 4, 15, 10);
  check("FillOval", &GraphicsFillOval, 3, 4, 15, 10);
  check("DrawRoundRect", &GraphicsDrawRoundRect, 3, 4, 15, 10, 5, 6);
  check("FillRoundRect", &GraphicsFillRoundRect, 3, 4, 15, 10, 5, 6);
}

}  // namespace

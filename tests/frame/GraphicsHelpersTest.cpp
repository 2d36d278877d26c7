#include <string>

#include "Support.h"

namespace {

using namespace test;
using host::Color;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class GraphicsHelpersTest : public testing::Test {
 protected:
  using SetNumber = HostBoolean(REALgraphicsStruct*, HostLong);
  using SetBoolean = HostBoolean(REALgraphicsStruct*, HostBoolean);
  using SetText = HostBoolean(REALgraphicsStruct*, const char*);
  using SetString = HostBoolean(REALgraphicsStruct*, REALstringStruct*);
  using DrawShape = void(REALgraphicsStruct*, HostLong, HostLong, HostLong, HostLong);
  using DrawRound = void(REALgraphicsStruct*, HostLong, HostLong, HostLong, HostLong, HostLong,
                         HostLong);

  template <typename Signature>
  Signature* helper(const std::string& mangled) {
    return setup_.plugin.routine<Signature>(mangled);
  }

  /// So many integer parameters in a mangled name.
  static std::string integers(size_t count) {
    return std::string(count, host::mangledName("@").front());
  }

  PluginHost setup_{host::PictureOptions{}};
  host::PictureRef picture_ = setup_.picture(30, 20, Pixels(600, 0xFF000000));
  host::Graphics* graphics_ = picture_->graphics();
  REALgraphicsStruct* handle_ = static_cast<REALgraphicsStruct*>(graphics_->handle());
};

TEST_F(GraphicsHelpersTest, PropertiesAreReadAndWrittenByName) {
  const auto number = [&](const char* property) { return graphics_->property(property).integer(); };
  EXPECT_TRUE(helper<SetNumber>("_Z19SetGraphicsPenWidthP18REALgraphicsStruct@")(handle_, 7));
  EXPECT_TRUE(helper<SetNumber>("_Z20SetGraphicsPenHeightP18REALgraphicsStruct@")(handle_, 9));
  EXPECT_TRUE(helper<SetNumber>("_Z19SetGraphicsTextSizeP18REALgraphicsStruct@")(handle_, 31));
  EXPECT_EQ(number("PenWidth"), 7);
  EXPECT_EQ(number("PenHeight"), 9);
  EXPECT_EQ(number("TextSize"), 31);

  EXPECT_TRUE(
      helper<SetNumber>("_Z20SetGraphicsForeColorP18REALgraphicsStruct@")(handle_, 0x123456));
  EXPECT_EQ(graphics_->property("ForeColor").color(), Color{0x123456});
  using GetColor = HostULong(REALgraphicsStruct*);
  const auto foreColor = helper<GetColor>("_Z20GetGraphicsForeColorP18REALgraphicsStruct");
  EXPECT_EQ(foreColor(handle_), 0x123456U);
  setup_.host.failCall("REALGetPropValueInt");
  EXPECT_EQ(foreColor(handle_), 0U);
  EXPECT_EQ(foreColor(nullptr), 0U);

  // One flag after the other, so that none can stand for another.
  const struct {
    const char *routine, *property;
  } flags[] = {{"_Z20SetGraphicsUnderlineP18REALgraphicsStructh", "Underline"},
               {"_Z17SetGraphicsItalicP18REALgraphicsStructh", "Italic"},
               {"_Z15SetGraphicsBoldP18REALgraphicsStructh", "Bold"}};
  for (const auto& flag : flags) {
    EXPECT_FALSE(graphics_->property(flag.property).boolean());
    EXPECT_TRUE(helper<SetBoolean>(flag.routine)(handle_, 1));
    EXPECT_TRUE(graphics_->property(flag.property).boolean());
  }
}

TEST_F(GraphicsHelpersTest, FontsAreSetFromStringsAndFromText) {
  const auto setText = helper<SetText>("_Z19SetGraphicsTextFontP18REALgraphicsStructPKc");
  const auto setString =
      helper<SetString>("_Z19SetGraphicsTextFontP18REALgraphicsStructP16REALstringStruct");
  setText(handle_, "Sans");
  EXPECT_EQ(graphics_->property("TextFont").text(), "Sans");
  EXPECT_EQ(graphics_->property("TextFont").string()->encoding(), kEncodingASCII);
  for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
    setString(handle_, setup_.host.newString("Serif").handle());
    EXPECT_EQ(graphics_->property("TextFont").text(), "Serif");
    setText(handle_, nothing);
    EXPECT_TRUE(graphics_->property("TextFont").isNil());
  }
}

TEST_F(GraphicsHelpersTest, ShapesCallTheMethodOfTheirDeclaration) {
  const struct {
    const char *routine, *method;
  } shapes[] = {{"_Z16GraphicsDrawRectP18REALgraphicsStruct", "Graphics.DrawRect"},
                {"_Z16GraphicsFillRectP18REALgraphicsStruct", "Graphics.FillRect"},
                {"_Z17GraphicsClearRectP18REALgraphicsStruct", "Graphics.ClearRect"},
                {"_Z16GraphicsDrawOvalP18REALgraphicsStruct", "Graphics.DrawOval"},
                {"_Z16GraphicsFillOvalP18REALgraphicsStruct", "Graphics.FillOval"},
                {"_Z21GraphicsDrawRoundRectP18REALgraphicsStruct", "Graphics.DrawRoundRect"},
                {"_Z21GraphicsFillRoundRectP18REALgraphicsStruct", "Graphics.FillRoundRect"}};
  for (const auto& shape : shapes) {
    const bool round = std::string(shape.method).find("Round") != std::string::npos;
    const auto draw = [&](REALgraphicsStruct* graphics) {
      setup_.host.clearCalls();
      if (round) {
        helper<DrawRound>(shape.routine + integers(6))(graphics, 3, 4, 15, 10, 5, 6);
      } else {
        helper<DrawShape>(shape.routine + integers(4))(graphics, 3, 4, 15, 10);
      }
      return setup_.host.callTexts();
    };
    const std::string expected = std::string(shape.method) + "(" + graphics_->name() +
                                 (round ? ", 3, 4, 15, 10, 5, 6)" : ", 3, 4, 15, 10)");
    EXPECT_THAT(draw(handle_), ElementsAre(HasSubstr("REALLoadObjectMethod"), expected));
    EXPECT_THAT(draw(nullptr), IsEmpty());
    // The method is looked up anew each time.
    setup_.host.withhold(shape.method);
    EXPECT_THAT(draw(handle_), SizeIs(1));
  }
}

}  // namespace

// How the tool reads what is written on its command line, and what it tells of results, pictures
// and whole batches.
#include <nlohmann/json.hpp>

#include "ToolTest.h"
#include "zvk/Arguments.h"
#include "zvk/CallText.h"
#include "zvk/Tool.h"

namespace {

using namespace test;
using grammar::Type;
using testing::HasSubstr;

/// A call as it was understood, in one spelling; "-" where it was not.
std::string understood(const std::string& text) {
  try {
    const zvk::CallText call = zvk::parseCall(text);
    std::string result = call.name;
    for (const zvk::Argument& argument : call.arguments) {
      result += "|" + argument.name + ":" + argument.value;
    }
    return result + (call.assigned ? "=" + *call.assigned : "");
  } catch (const zvk::InputError&) {
    return "-";
  }
}

TEST(Words, MakeUpCalls) {
  EXPECT_EQ(understood(" f "), "f");
  EXPECT_EQ(understood("f( )"), "f");
  EXPECT_EQ(understood("f(1 , a b ,\"x, (y)\" )"), "f|:1|:a b|:\"x, (y)\"");
  EXPECT_EQ(understood("f(a = 1, @b=c)=  @m n "), "f|a:1|:@b=c=@m n");
  for (const char* text : {"", "(1)", "f(", "f(1", "f(1,)", "f(,)", "f(\"a)", "f() g", "f="}) {
    EXPECT_EQ(understood(text), "-") << text;
  }
}

/// A value as it was read; "-" where it was refused.
std::string readAs(Type type, const std::string& text) {
  host::Host host;
  const zvk::FileOptions files;
  try {
    return zvk::ArgumentReader(host, files).read(type, text, "place").describe();
  } catch (const zvk::InputError& error) {
    EXPECT_THAT(error.what(), testing::StartsWith("place: " + text + " is not "));
    return "-";
  }
}

TEST(Words, StandForValues) {
  const struct {
    Type type;
    const char *text, *value;
  } cases[] = {
      {Type::kInteger, "+12", "12"},
      {Type::kInteger, "-2147483648", "-2147483648"},
      {Type::kInteger, "12x", "-"},
      {Type::kInteger, "+", "-"},
      {Type::kDouble, "1.5", "1.5"},
      {Type::kDouble, "1,5", "-"},
      {Type::kDouble, "1e999", "-"},
      {Type::kBoolean, "OFF", "false"},
      {Type::kBoolean, "no", "false"},
      {Type::kBoolean, "on", "true"},
      {Type::kBoolean, "2", "-"},
      {Type::kColor, "#1a2", "&c11AA22"},
      {Type::kColor, "0X010203", "&c010203"},
      {Type::kColor, "Orange", "&cFFA500"},
      {Type::kColor, "#12345", "-"},
      {Type::kColor, "&c1234567", "-"},
      {Type::kColor, "&c12345g", "-"},
      {Type::kMemoryBlock, "bytes:abc", "-"},
      {Type::kMemoryBlock, "bytes:0g", "-"},
      {Type::kMemoryBlock, "Nil", "nil"},
      {Type::kString, "\"a, b\"", "\"a, b\""},
  };
  for (const auto& c : cases) EXPECT_EQ(readAs(c.type, c.text), c.value) << c.text;
}

class TellingTest : public ToolTest {
 protected:
  TellingTest() { save("in.png", 2, 2, source_); }

  const Pixels source_ = {0xFF102030, 0xFF405060, 0xFF708090, 0xFFA0B0C0};
};

TEST_F(TellingTest, WhatPicturesAre) {
  const auto layout = host::PictureOptions{.alpha = true};
  host::savePicture(*host_.newPicture(2, 2, {0x80800000, 0, ~0U, ~0U}, layout), "clear.png");
  const auto facts = nlohmann::json::parse(done("info --json clear.png"));
  EXPECT_EQ(facts["transparentPixels"], 2);
  EXPECT_EQ(facts["channels"]["alpha"]["low"], 0);
  host::SaveOptions options;
  options.extras.dotsPerInchX = options.extras.dotsPerInchY = 300;
  for (const char* file : {"dense.png", "dense.jpg"}) {
    host::savePicture(*host_.newPicture(2, 2, source_, {}), file, options);
    const auto dense = nlohmann::json::parse(done(std::string("info --json ") + file));
    EXPECT_NEAR(dense["dotsPerInch"].get<double>(), 300, 0.1) << file;
  }
  const Outcome outcome = run("info in.png gone.png in.png");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.out, HasSubstr("alpha no\nred 16 to 160, mean 88.00\ngreen 32 to 176"));
}

TEST_F(TellingTest, WhatCallsGive) {
  EXPECT_EQ(done("run in.png 'CountColor(&c102030)' IsWhite"),
            "CountColorZVK: count 1\nisWhiteZVK: white false\n");
  EXPECT_EQ(done("run in.png 'CountColor(&c102030)'"), "count 1\n");
  EXPECT_THAT(done("run in.png CountColors"), HasSubstr("red: sum 4, peak 1 at 16"));
  EXPECT_THAT(done("run in.png 'PicturetoBinaryString(_)' --json"),
              HasSubstr("\"result\":{\"bytes\":52}"));
  // What goes to standard output stays alone there.
  const Outcome outcome = run("run in.png 'CountColor(red)' Invert Invert -o -");
  host::writeFile("copy.png", outcome.out);
  EXPECT_EQ(load("copy.png"), source_);
  EXPECT_EQ(outcome.error, "count 0\n");
}

TEST_F(TellingTest, WhatBecomesOfManyFiles) {
  for (const char* folder : {"a", "b"}) std::filesystem::create_directory(folder);
  for (const char* file : {"a/x.png", "y.bmp", "x.png"}) save(file, 2, 2, source_);
  done("run a/x.png y.bmp Invert -o '{dir}/{name}-{ext}.png' --quiet");
  EXPECT_EQ(load("a/x-png.png"), load("./y-bmp.png"));
  const Outcome clash = run("run a/x.png x.png Invert -o b/ --quiet");
  EXPECT_EQ(clash.status, 2);
  EXPECT_THAT(clash.error, HasSubstr("would both become"));
  // A picture where bytes are needed, and the reverse, is known before anything is done.
  expectRefusals(
      {{"run in.png 'PicturetoBinaryString(_)' Invert -o out.png", 2, "not a picture"},
       {"run in.png 'ChangeSaturation(Amount=3)' -o out.png", 2, "in order, not by name"},
       {"run in.png 'PictureSepia(7)' -o out.png", 2, "NAME=VALUE"}});
  EXPECT_EQ(load("in.png"), source_);
}

}  // namespace

// What both filter classes have in common: how they hold their pictures.
#include <functional>

#include "FilterSupport.h"

namespace {

using namespace test;

class FilterClassTest : public testing::TestWithParam<const char*> {};

// The accounts at the end of the test show a reference released too often or never.
TEST_P(FilterClassTest, HoldsEachPictureOnceHoweverOftenItRunsAndCloses) {
  PluginHost setup(host::Settings::forStorage(host::Storage::kCairo));
  const host::PictureRef source = setup.picture(3, 2, randomPixels(3, 2, 2));
  host::InstanceRef filter = newFilter(setup, GetParam(), {{"SourcePicture", source}});
  EXPECT_EQ(source->references(), 2);
  ASSERT_TRUE(run(setup, filter));
  const host::PictureRef first = destination(filter);
  ASSERT_TRUE(run(setup, filter));
  EXPECT_EQ(first->references(), 1) << "the first result is released by the second run";
  EXPECT_FALSE(destination(filter) == first);
  EXPECT_EQ(source->references(), 2);
  for (int closings = 0; closings < 2; ++closings) {
    setup.plugin.call(filter, "Close");
    EXPECT_TRUE(filter->property("SourcePicture").isNil());
    EXPECT_TRUE(filter->property("DestinationPicture").isNil());
    EXPECT_EQ(source->references(), 1);
  }
  filter = nullptr;

  // Without closing, the destructor releases both.
  filter = newFilter(setup, GetParam(), {{"SourcePicture", source}});
  ASSERT_TRUE(run(setup, filter));
  const host::PictureRef last = destination(filter);
  filter = nullptr;
  EXPECT_EQ(source->references(), 1);
  EXPECT_EQ(last->references(), 1);
}

TEST_P(FilterClassTest, MayFilterItsOwnDestination) {
  PluginHost setup(host::Settings::forStorage(host::Storage::kCairo));
  const host::PictureRef source = setup.picture(3, 2, randomPixels(3, 2, 3));
  const host::InstanceRef filter =
      newFilter(setup, GetParam(), {{"SourcePicture", source}, {"DestinationPicture", source}});
  ASSERT_TRUE(run(setup, filter));
  EXPECT_FALSE(destination(filter) == source);
  EXPECT_EQ(source->references(), 2);
}

// A failed run clears the table filter's destination and keeps the sepia filter's.
TEST_P(FilterClassTest, FailsWithoutSourceWriterOrResult) {
  const bool clears = GetParam() == std::string_view("PictureLut3DZVK");
  struct Failure {
    const char* what;
    host::Storage storage;
    std::function<void(PluginHost&, const host::InstanceRef&)> provoke;
  };
  const Failure failures[] = {
      {"no source", host::Storage::kCairo,
       [](PluginHost&, const host::InstanceRef& filter) {
         filter->setProperty("SourcePicture", nullptr);
       }},
      {"source cannot be read", host::Storage::kCairo,
       [](PluginHost&, const host::InstanceRef& filter) {
         filter->property("SourcePicture").picture()->faults.nullData = true;
       }},
      {"no new picture", host::Storage::kCairo,
       [](PluginHost& setup, const host::InstanceRef&) { setup.host.failCall("newPicture"); }},
      {"no picture from the buffer", host::Storage::kDrawable,
       [](PluginHost& setup, const host::InstanceRef&) {
         setup.host.failCall("REALBuildPictureFromBuffer");
       }},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.what);
    if (!storageAvailable({.storage = failure.storage})) continue;
    PluginHost setup(host::Settings::forStorage(failure.storage));
    const host::InstanceRef filter = newFilter(
        setup, GetParam(), {{"SourcePicture", setup.picture(3, 2, randomPixels(3, 2, 4))}});
    ASSERT_TRUE(run(setup, filter));
    const host::PictureRef earlier = destination(filter);
    failure.provoke(setup, filter);
    EXPECT_FALSE(run(setup, filter));
    EXPECT_EQ(destination(filter), clears ? host::PictureRef() : earlier);
    EXPECT_EQ(earlier->references(), clears ? 1 : 2);
  }
}

INSTANTIATE_TEST_SUITE_P(Classes, FilterClassTest,
                         testing::Values("PictureSepiaZVK", "PictureLut3DZVK"),
                         [](const auto& parameter) { return std::string(parameter.param); });

}  // namespace

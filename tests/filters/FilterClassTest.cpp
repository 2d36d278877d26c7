// What both filter classes have in common: how they hold their pictures.
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
  EXPECT_FALSE(filter->setProperty("SourcePicture", 5));
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
  for (int failure = 0; failure < 4; ++failure) {
    SCOPED_TRACE(failure);
    const host::PictureOptions options{.storage = failure == 3 ? host::Storage::kDrawable
                                                               : host::Storage::kCairo};
    if (!storageAvailable(options)) continue;
    PluginHost setup(host::Settings::forStorage(options.storage));
    const host::PictureRef source = setup.picture(3, 2, randomPixels(3, 2, 4));
    const host::InstanceRef filter = newFilter(setup, GetParam(), {{"SourcePicture", source}});
    ASSERT_TRUE(run(setup, filter));
    const host::PictureRef earlier = destination(filter);
    if (failure == 0) filter->setProperty("SourcePicture", nullptr);
    if (failure == 1) source->faults.nullData = true;
    if (failure == 2) setup.host.failCall("newPicture");
    if (failure == 3) setup.host.failCall("REALBuildPictureFromBuffer");
    EXPECT_FALSE(run(setup, filter));
    EXPECT_EQ(destination(filter), clears ? host::PictureRef() : earlier);
    EXPECT_EQ(earlier->references(), clears ? 1 : 2);
  }
}

INSTANTIATE_TEST_SUITE_P(Classes, FilterClassTest,
                         testing::Values("PictureSepiaZVK", "PictureLut3DZVK"),
                         [](const auto& parameter) { return std::string(parameter.param); });

}  // namespace

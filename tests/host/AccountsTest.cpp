// The accounts on which all other tests rely: each kind of misbehaviour makes them speak.
#include "Support.h"

namespace {

using namespace test;
using testing::HasSubstr;

struct Misdeed {
  const char* method;
  std::vector<const char*> words;  ///< of the one sentence that the accounts then hold
};

const Misdeed kMisdeeds[] = {
    {"LeakReference", {"picture#1", "1 reference(s) never released"}},
    {"LeakNewPicture", {"picture#2", "1 reference(s) never released"}},
    {"ReleaseTwice", {"picture#1", "too often"}},
    {"UseAfterRelease", {"REALPictureClearCache", "picture#2", "released already"}},
    {"KeepLock", {"picture#1", "lock(s) still open"}},
    {"UnlockUnlocked", {"picture#1", "is not locked"}},
    {"ReleaseLocked", {"picture#2", "released while", "locked"}},
    {"LeakGraphics", {"graphics#1", "never released"}},
    {"LeakString", {"string#1", "never released"}},
    {"KeepLentText", {"lent text(s) never given back"}},
    {"ReturnForeignText", {"PluginDisposeStringData", "not lent"}},
    {"PassNoHandle", {"REALUnlockObject", "not a handle"}},
};

TEST(Accounts, NoticeEveryMisdeed) {
  for (const Misdeed& misdeed : kMisdeeds) {
    host::Host host;
    const host::Plugin plugin(ZVK_MISBEHAVING_FILE);
    const host::PictureRef picture = host.newPicture(3, 2);
    ASSERT_TRUE(host.accounts().empty());
    plugin.callGlobal(misdeed.method, picture);
    ASSERT_EQ(host.accounts().size(), 1u) << misdeed.method;
    for (const char* word : misdeed.words) {
      EXPECT_THAT(host.accounts()[0], HasSubstr(word)) << misdeed.method;
    }
  }
}

TEST(Accounts, AreEmptyWhenAllWasGivenBack) {
  host::Host host;
  const host::Plugin plugin(ZVK_MISBEHAVING_FILE);
  plugin.callGlobal("Behave", host.newPicture(3, 2));
  EXPECT_THAT(host.accounts(), testing::IsEmpty());
}

}  // namespace

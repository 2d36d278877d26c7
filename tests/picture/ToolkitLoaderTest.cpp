// Which files are opened for cairo and GDK. The test program stands in front of the process's
// loader, so that libraries can be missing; sanitizers stand there themselves.
#include "picture/ToolkitLoader.h"

#if !defined(ZVK_SANITIZED)

#include <dlfcn.h>

#include "Support.h"

namespace {

using namespace test;

/// What happens to the libraries that are opened while one of these lives.
struct LoaderFault {
  explicit LoaderFault(std::map<std::string, void*> present = {}) : libraries(std::move(present)) {
    current = this;
  }
  ~LoaderFault() { current = nullptr; }
  LoaderFault(const LoaderFault&) = delete;
  LoaderFault& operator=(const LoaderFault&) = delete;

  void* open(const char* name, int mode) {
    names.emplace_back(name);
    modes |= mode;
    const auto found = libraries.find(name);
    return found == libraries.end() ? nullptr : found->second;
  }

  std::map<std::string, void*> libraries;
  std::vector<std::string> names;
  int modes = 0;
  static inline LoaderFault* current = nullptr;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* name,
                                                               int mode) noexcept {
  if (LoaderFault::current && name) return LoaderFault::current->open(name, mode);
  static auto* next = reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"));
  return next(name, mode);
}

namespace {

struct ToolkitLoader : testing::Test {
  LinkedHost setup{host::Settings{}};
};

TEST_F(ToolkitLoader, TriesTheFilesInOrderAndOnlyOnce) {
  LoaderFault none;
  EXPECT_FALSE(LoadGTK());
  EXPECT_THAT(none.names, testing::ElementsAre(
                              "libgdk-x11-2.0.so", "libgdk-x11-2.0.so.0",
                              "/usr/lib/libgdk-x11-2.0.so", "/usr/lib32/libgdk-x11-2.0.so",
                              "/usr/lib/libgdk-x11-2.0.so.0", "/usr/lib32/libgdk-x11-2.0.so.0"));
  EXPECT_EQ(none.modes, RTLD_NOW);
  none.names.clear();
  EXPECT_FALSE(LoadCairo());
  EXPECT_THAT(none.names,
              testing::ElementsAre("libcairo.so", "libcairo.so.2", "libcairo.so.2.10800.10"));
  none.names.clear();
  EXPECT_FALSE(LoadGTK());
  EXPECT_FALSE(LoadCairo());
  EXPECT_TRUE(none.names.empty()) << "a failure is final";
}

TEST_F(ToolkitLoader, TakesTheFirstFileThatOpens) {
  void* cairo = dlopen("libcairo.so.2", RTLD_NOW);
  void* gdk = dlopen("libgdk-x11-2.0.so.0", RTLD_NOW);
  LoaderFault some({{"libcairo.so.2", cairo}, {"/usr/lib32/libgdk-x11-2.0.so", gdk}});
  EXPECT_TRUE(LoadCairo());
  EXPECT_EQ(some.names.size(), 2u);
  EXPECT_TRUE(LoadGTK());
  EXPECT_EQ(some.names.size(), 6u);
  EXPECT_TRUE(LoadCairo());
  EXPECT_TRUE(LoadGTK());
  EXPECT_EQ(some.names.size(), 6u);
}

TEST_F(ToolkitLoader, ALibraryWithoutTheFunctionsIsNone) {
  void* other = dlopen("libm.so.6", RTLD_NOW);
  LoaderFault wrong({{"libcairo.so", other}, {"libgdk-x11-2.0.so", other}});
  EXPECT_FALSE(LoadCairo() || LoadGTK() || LoadCairo());
  EXPECT_THAT(wrong.names, testing::ElementsAre("libcairo.so", "libgdk-x11-2.0.so"));
}

TEST_F(ToolkitLoader, PicturesWithoutTheirToolkitCannotBeRead) {
  const host::PictureOptions options = {.storage = host::Storage::kDrawable};
  ZVK_NEEDS_STORAGE(options);
  // Both are made while the host can still open GDK for itself.
  const host::PictureRef cairo = setup.host.newPicture(3, 2, {});
  const host::PictureRef drawable = setup.host.newPicture(3, 2, options);
  LoaderFault none;
  EXPECT_FALSE(host::PictureRef(setup.plugin.call(cairo, "InvertZVK")));
  EXPECT_EQ(cairo->openLocks(), 0);
  EXPECT_FALSE(host::PictureRef(setup.plugin.call(drawable, "InvertZVK")));
  EXPECT_EQ(drawable->openLocks(), 0);
}

// Console applications run on machines that have neither toolkit.
TEST_F(ToolkitLoader, RecordsNeedNoToolkit) {
  LinkedHost console{host::Settings::forStorage(host::Storage::kRecord)};
  const host::PictureRef picture = console.host.newPicture(3, 2);
  LoaderFault none;
  EXPECT_TRUE(host::PictureRef(console.plugin.call(picture, "InvertZVK")));
  EXPECT_TRUE(none.names.empty());
}

}  // namespace

#endif

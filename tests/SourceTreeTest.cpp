// The house rules that a reader of the source tree relies on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

/// What files below a folder may include of this project, by the start of the path: floors of the
/// house, from the bottom. Nothing includes what lies above it.
struct Rule {
  const char* folder;
  Strings allowed;
};

const Rule kRules[] = {
    {"src/frame/", {"frame/"}},
    {"src/picture/", {"picture/", "frame/"}},
    {"src/pixels/", {"pixels/", "picture/", "frame/"}},
    {"src/operations/", {"operations/", "pixels/", "picture/", "frame/"}},
    {"src/filters/", {"filters/", "pixels/", "picture/", "frame/"}},
    {"src/plugin/", {"plugin/", "operations/", "filters/", "frame/"}},
    {"host/", {"host/", "frame/Abi.h", "frame/DeclarationGrammar.h", "frame/FixedString.h"}},
    {"zvk/", {"zvk/", "host/", "frame/Abi.h", "frame/DeclarationGrammar.h"}},
};

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

/// The path as the include directories spell it. A bare name lies beside the file.
std::string resolved(const std::string& file, const std::string& include) {
  if (include.find('/') != std::string::npos) return include;
  const std::string path = startsWith(file, "src/") ? file.substr(4) : file;
  return path.substr(0, path.rfind('/') + 1) + include;
}

bool allowed(const std::string& file, const std::string& include) {
  for (const Rule& rule : kRules) {
    if (!startsWith(file, rule.folder)) continue;
    const std::string path = resolved(file, include);
    return std::any_of(rule.allowed.begin(), rule.allowed.end(),
                       [&](const std::string& start) { return startsWith(path, start); });
  }
  return true;
}

TEST(SourceTree, IncludeRulesTellRightFromWrong) {
  EXPECT_TRUE(allowed("src/plugin/Declarations.cpp", "operations/Operations.h"));
  EXPECT_TRUE(allowed("src/frame/HostCall.cpp", "HostCall.h"));
  EXPECT_FALSE(allowed("src/frame/HostCall.cpp", "plugin/PluginMain.h"));
  EXPECT_FALSE(allowed("src/filters/Sepia.cpp", "operations/Operations.h"));
  EXPECT_FALSE(allowed("host/Host.cpp", "frame/HostServices.h"));
  EXPECT_FALSE(allowed("zvk/Main.cpp", "pixels/Pixels.h"));
}

TEST(SourceTree, IncludesFollowTheRules) {
  const std::filesystem::path root = ZVK_SOURCE_DIR;
  Strings wrong;
  int includes = 0;
  for (const char* folder : {"src", "host", "zvk"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
      const std::string extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp") continue;
      const std::string file = entry.path().lexically_relative(root);
      std::ifstream stream(entry.path());
      for (std::string line; std::getline(stream, line);) {
        const std::string start = "#include \"";
        if (!startsWith(line, start)) continue;
        ++includes;
        const std::string include = line.substr(start.size(), line.rfind('"') - start.size());
        if (!allowed(file, include)) wrong.push_back(file + " includes " + include);
      }
    }
  }
  EXPECT_GT(includes, 100);
  EXPECT_THAT(wrong, testing::IsEmpty());
}

}  // namespace

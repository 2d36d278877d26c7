// Tests that run `zvk` as a process of its own, in a folder of their own.
#pragma once

#include <sys/wait.h>

#include <filesystem>

#include "Support.h"
#include "host/files/PictureFile.h"

namespace test {

class ToolTest : public testing::Test {
 protected:
  struct Outcome {
    int status;
    std::string out, error;
  };
  /// A command line that must fail with this status, saying so.
  struct Refusal {
    const char* arguments;
    int status;
    const char* says;
  };

  ToolTest() {
    std::string pattern = std::filesystem::temp_directory_path() / "zvk-test-XXXXXX";
    folder_ = mkdtemp(pattern.data());
    std::filesystem::current_path(folder_);
  }
  ~ToolTest() override {
    std::filesystem::current_path(folder_.parent_path());
    std::filesystem::remove_all(folder_);
  }

  void save(const char* file, int width, int height, const Pixels& pixels) {
    host::savePicture(*host_.newPicture(width, height, pixels, {}), file);
  }
  Pixels load(const char* file) { return host::loadPicture(host_, file, {})->pixels(); }

  /// The arguments as a shell takes them.
  Outcome run(const std::string& arguments) {
    const std::string output = folder_.string() + ".out", error = folder_.string() + ".err";
    // Redirections among the arguments come later, and count.
    const int status = std::system((std::string(ZVK_TOOL_RUNNER " '" ZVK_TOOL_FILE "' >") + output +
                                    " 2>" + error + " " + arguments)
                                       .c_str());
    Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -status, host::readFile(output),
                    host::readFile(error)};
    std::filesystem::remove(output);
    std::filesystem::remove(error);
    return outcome;
  }
  /// Runs what must succeed; what it printed.
  std::string done(const std::string& arguments) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments;
    EXPECT_EQ(outcome.error, "") << arguments;
    return outcome.out;
  }

  /// One line says what was wrong, nothing is printed besides, and no file is made or changed.
  void expectRefusals(const std::vector<Refusal>& refusals) {
    const auto before = files();
    for (const Refusal& refusal : refusals) {
      SCOPED_TRACE(refusal.arguments);
      const Outcome outcome = run(refusal.arguments);
      EXPECT_EQ(outcome.status, refusal.status);
      EXPECT_EQ(outcome.out, "");
      EXPECT_THAT(outcome.error, testing::StartsWith("zvk: "));
      EXPECT_THAT(outcome.error, testing::HasSubstr(refusal.says));
      EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
      EXPECT_EQ(files(), before);
    }
  }

  static std::map<std::string, std::string> files() {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      const std::string path = entry.path();
      contents[path] = entry.is_regular_file() ? host::readFile(path) : "";
    }
    return contents;
  }

  std::filesystem::path folder_;
  host::Host host_;
};

}  // namespace test

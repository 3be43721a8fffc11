#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/log.h"
#include "api/paths.h"
#include "tests/support/tempFolder.h"

namespace fs = std::filesystem;

namespace {

// The extension follows the last dot after the last folder mark; the base
// name drops folders and extension; lower() lowers.
TEST(Paths, ExtensionBaseNameAndLower) {
  const std::pair<const char*, const char*> extensions[] = {
      {"a/b.c/file", ""}, {"C:\\dir.x\\file", ""}, {"C:\\dir\\y.mrk", "mrk"}, {"noext", ""}};
  for (const auto& [path, extension] : extensions) EXPECT_EQ(zel::extension(path), extension) << path;
  EXPECT_EQ(zel::base_name("C:\\data\\run1.vur"), "run1");
  EXPECT_EQ(zel::base_name("/tmp/a.b/c.mrk"), "c");
  EXPECT_EQ(zel::lower("AbC.TIF"), "abc.tif");
}

// Works in a fresh temporary folder, records what reaches the process-wide
// log and puts the current folder back afterwards.
class PathsInFolder : public tamble::testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    start = fs::current_path();
    root = dir.lexically_normal();
    zel::log_sink().setCallback({});
    zel::log_sink().flush();
    zel::log_sink().setCallback(
        [this](const zel::log_entry& e) { logged.emplace_back(e.level, e.text); });
  }
  void TearDown() override {
    zel::log_sink().flush();
    zel::log_sink().setCallback({});
    fs::current_path(start);
    tempFolderTest::TearDown();
  }
  bool wasLogged(int level, const std::string& text) {
    zel::log_sink().flush();
    return std::find(logged.begin(), logged.end(), std::make_pair(level, text)) != logged.end();
  }
  fs::path start, root;
  std::vector<std::pair<int, std::string>> logged;
};

// A missing file is logged.
TEST_F(PathsInFolder, FileExists) {
  const std::string missing = (root / "missing.tif").string();
  EXPECT_FALSE(zel::file_exists(missing));
  EXPECT_TRUE(wasLogged(1, "File " + missing + " not exists"));
  std::ofstream(missing) << "x";
  EXPECT_TRUE(zel::file_exists(missing));
}

// Relative paths resolve against the alternate folder, or the current one
// when that is no folder, which is logged.
TEST_F(PathsInFolder, ResolvePath) {
  const std::string absolute = (root / "a" / ".." / "abs.tif").string();
  EXPECT_EQ(zel::resolve_path(absolute, "/somewhere/else"), absolute);

  const fs::path alternate = root / "alt";
  fs::create_directories(alternate / "q" / "r");
  const std::string expected = (alternate / "sub" / "x.tif").string();
  EXPECT_EQ(zel::resolve_path("sub/x.tif", alternate.string()), expected);
  EXPECT_EQ(zel::resolve_path("..\\x.tif", (alternate / "q" / "r").string()),
            (alternate / "q" / "x.tif").string());

  fs::current_path(root);
  const std::string wrong = (root / "no_such_folder").string();
  const fs::path here = fs::current_path();
  EXPECT_EQ(zel::resolve_path("sub/x.tif", wrong), (here / "sub" / "x.tif").string());
  EXPECT_TRUE(wasLogged(5, wrong + " - wrong alternate path"));
  EXPECT_EQ(zel::resolve_path("x.tif"), (here / "x.tif").string());
}

// make_folder creates what is missing, enters it, and fails below a file.
TEST_F(PathsInFolder, MakeFolderEntersAndCreates) {
  const std::string made = (root / "made" / "deeper").string();
  ASSERT_TRUE(zel::make_folder(made));
  EXPECT_TRUE(fs::is_directory(made));
  EXPECT_TRUE(fs::equivalent(fs::current_path(), made));
  EXPECT_TRUE(wasLogged(5, "Directory  '" + made + "'  not found, creating"));

  fs::current_path(root);
  logged.clear();
  ASSERT_TRUE(zel::make_folder(made));
  EXPECT_TRUE(fs::equivalent(fs::current_path(), made));
  zel::log_sink().flush();
  EXPECT_TRUE(logged.empty());

  // Nothing can be made below a plain file: the call fails and stays put.
  const fs::path file = root / "plain";
  std::ofstream(file) << "x";
  EXPECT_FALSE(zel::make_folder((file / "sub").string()));
  EXPECT_TRUE(fs::equivalent(fs::current_path(), made));
}

// Whole or not at all: the old file stays on every failure, and no
// temporary file is left behind.
TEST_F(PathsInFolder, AtomicWritesReplaceWholeOrNotAtAll) {
  const std::string file = (root / "data.txt").string();
  const auto writing = [](const char* text) {
    return [text](std::FILE* out) { return std::fputs(text, out) >= 0; };
  };
  const auto content = [&] {
    std::ifstream in(file);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  EXPECT_EQ(zel::write_atomically(file, writing("one")), "");
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(zel::write_atomically(file, writing("two")), "");
  EXPECT_EQ(content(), "two");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  EXPECT_EQ(zel::write_atomically(file, [](std::FILE*) { return false; }), "write failed");
  EXPECT_THROW(zel::write_atomically(file, [](std::FILE*) -> bool { throw 7; }), int);
  EXPECT_NE(zel::write_atomically((root / "no" / "x").string(), writing("x")), "");
  EXPECT_EQ(content(), "two");
  EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 1);
  const std::string temporary = zel::temporary_name(file);
  EXPECT_EQ(fs::path(temporary).parent_path(), root);
  EXPECT_EQ(fs::path(temporary).filename().string().rfind(
                ".data.txt.tmp" + std::to_string(::getpid()) + "_", 0),
            0u);
}

}  // namespace

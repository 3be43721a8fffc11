#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "api/errors.h"
#include "host/atomicFile.h"
#include "host/platform.h"
#include "host/store.h"

namespace fs = std::filesystem;

namespace {

std::string readText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeText(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// A fresh folder per test; the process-wide store goes back to its default
// place afterwards.
class StoreFile : public testing::Test {
 protected:
  void SetUp() override {
    root = fs::temp_directory_path() / ("tamble_store_" + std::to_string(::getpid()));
    fs::remove_all(root);
    fs::create_directories(root);
    file = root / "store.ini";
  }
  void TearDown() override {
    tamble::useStore({});
    fs::permissions(root, fs::perms::owner_all, fs::perm_options::add);
    fs::remove_all(root);
  }
  fs::path root;
  fs::path file;
};

TEST_F(StoreFile, MissingFileIsEmptyAndTheFirstWriteMakesItsFolders) {
  const fs::path deep = root / "a" / "b" / "store.ini";
  tamble::iniStore store(deep.string());
  EXPECT_EQ(store.get("Filter", "m_size", "none"), "none");
  EXPECT_FALSE(fs::exists(deep.parent_path()));  // reading creates nothing
  store.set("Filter", "m_size", "5");
  EXPECT_EQ(readText(deep), "[Filter]\nm_size=5\n");
  EXPECT_EQ(store.get("Filter", "m_size", "none"), "5");
}

TEST_F(StoreFile, ProcessStoreRoundTripsThroughTheFile) {
  tamble::useStore(file.string());
  EXPECT_EQ(tamble::storePath(), file.string());
  reg_set_string("Filter", "m_size", "5");
  reg_set_string("Filter", "m_gain", "0,5");
  reg_set_string("Fit", "m_order", "2");
  reg_set_string("Filter", "m_size", "7");
  EXPECT_EQ(readText(file), "[Filter]\nm_size=7\nm_gain=0,5\n\n[Fit]\nm_order=2\n");

  tamble::useStore(file.string());  // a new process reading what the last one wrote
  EXPECT_EQ(reg_get_string("Filter", "m_size", "-"), "7");
  EXPECT_EQ(reg_get_string("Filter", "m_gain", "-"), "0,5");
  EXPECT_EQ(reg_get_string("Fit", "m_order", "-"), "2");
  EXPECT_EQ(reg_get_string("Fit", "m_size", "-"), "-");
}

TEST_F(StoreFile, KeepsCommentsUnknownLinesAndOrder) {
  const std::string before =
      "; settings\n"
      "top=1\n"
      "[Filter]\n"
      "m_size=5\n"
      "this line means nothing\n"
      "m_gain=0,5\n"
      "\n"
      "# the fit dialog\n"
      "[Fit]\n"
      "m_order=2\n"
      "[broken\n";
  writeText(file, before);
  tamble::iniStore store(file.string());
  EXPECT_EQ(store.get("", "top", "-"), "1");  // lines before any header form section ""
  EXPECT_EQ(store.get("Fit", "m_order", "-"), "2");

  // A changed key keeps its place; a new key goes after its section's last
  // entry, ahead of the comment that introduces the next section.
  store.set("Filter", "m_size", "9");
  store.set("Filter", "m_new", "x");
  // Lines after "[broken" still belong to [Fit], so a new key lands there.
  store.set("Fit", "m_tail", "t");
  store.set("Mask", "m_on", "1");
  const std::string after =
      "; settings\n"
      "top=1\n"
      "[Filter]\n"
      "m_size=9\n"
      "this line means nothing\n"
      "m_gain=0,5\n"
      "m_new=x\n"
      "\n"
      "# the fit dialog\n"
      "[Fit]\n"
      "m_order=2\n"
      "m_tail=t\n"
      "[broken\n"
      "\n"
      "[Mask]\n"
      "m_on=1\n";
  EXPECT_EQ(readText(file), after);
}

TEST_F(StoreFile, ValuesAreVerbatimAndNamesCompareExactly) {
  writeText(file, "[Filter]\nkey = spaced\nm_size=5\n[filter]\nm_size=6\n[Filter]\nm_size=7\n");
  tamble::iniStore store(file.string());
  EXPECT_EQ(store.get("Filter", "key", "-"), "-");
  EXPECT_EQ(store.get("Filter", "key ", "-"), " spaced");
  EXPECT_EQ(store.get("filter", "m_size", "-"), "6");
  EXPECT_EQ(store.get("Filter", "m_size", "-"), "5");  // the first of two wins

  const std::string value = "  a=b ; not a comment \xc3\xa9  ";
  store.set("Filter", "m_text", value);
  store.set("Filter", "m_size", "8");
  tamble::iniStore again(file.string());
  EXPECT_EQ(again.get("Filter", "m_text", "-"), value);
  EXPECT_EQ(again.get("Filter", "m_size", "-"), "8");
  EXPECT_NE(readText(file).find("[Filter]\nm_size=7\n"), std::string::npos);
}

TEST_F(StoreFile, WindowsLineEndsAreKept) {
  writeText(file, "[Filter]\r\nm_size=5\r\n");
  tamble::iniStore store(file.string());
  EXPECT_EQ(store.get("Filter", "m_size", "-"), "5");
  store.set("Filter", "m_gain", "1");
  EXPECT_EQ(readText(file), "[Filter]\r\nm_size=5\r\nm_gain=1\r\n");
}

TEST_F(StoreFile, RefusesWhatWouldNotReadBack) {
  writeText(file, "[Filter]\nm_size=5\n");
  tamble::iniStore store(file.string());
  const std::pair<std::string, std::string> bad[] = {
      {"m_text", "two\nlines"}, {"m_text", "cr\r"}, {"", "v"}, {"a=b", "v"}, {";m_x", "v"},
      {"[m_x", "v]"},           {"m\ny", "v"},
  };
  for (const auto& [key, value] : bad)
    EXPECT_THROW(store.set("Filter", key, value), zel::FileError) << key;
  EXPECT_THROW(store.set("Fil\nter", "m_x", "1"), zel::FileError);
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
}

// A dialog's keys go in one rewrite: all of them, or none when one of them
// could not be stored.
TEST_F(StoreFile, SeveralKeysAreWrittenTogetherOrNotAtAll) {
  writeText(file, "[Filter]\nm_size=5\n");
  tamble::iniStore store(file.string());
  EXPECT_THROW(store.set("Filter", {{"m_size", "7"}, {"m_bad", "two\nlines"}}), zel::FileError);
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
  store.set("Filter", {{"m_size", "7"}, {"m_iter", "2"}, {"m_size", "8"}});
  EXPECT_EQ(readText(file), "[Filter]\nm_size=8\nm_iter=2\n");
  EXPECT_EQ(store.get("Filter", "m_iter", ""), "2");
}

TEST_F(StoreFile, FailedWriteRaisesAndKeepsTheOldFile) {
  writeText(file, "[Filter]\nm_size=5\n");
  tamble::iniStore store(file.string());
  // A folder where the temporary file must go makes the write fail, even for root.
  fs::create_directory(tamble::temporaryNameFor(file.string()));
  EXPECT_THROW(store.set("Filter", "m_size", "6"), zel::FileError);
  EXPECT_THROW(store.set("Filter", "m_new", "1"), zel::FileError);
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
  EXPECT_EQ(store.get("Filter", "m_size", "-"), "5");
  EXPECT_EQ(store.get("Filter", "m_new", "-"), "-");
  EXPECT_NO_THROW(store.set("Filter", "m_size", "5"));  // nothing to change, nothing written
}

TEST_F(StoreFile, ReadOnlyFolderRaisesAndKeepsTheOldFile) {
  if (::geteuid() == 0) GTEST_SKIP() << "root writes into read-only folders";
  writeText(file, "[Filter]\nm_size=5\n");
  tamble::iniStore store(file.string());
  fs::permissions(root, fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_THROW(store.set("Filter", "m_size", "6"), zel::FileError);
  fs::permissions(root, fs::perms::owner_all);
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
}

TEST_F(StoreFile, FolderInPlaceOfTheFileIsLeftAlone) {
  const fs::path inside = root / "keep.txt";
  writeText(inside, "mine");
  tamble::useStore(root.string());
  EXPECT_EQ(reg_get_string("Filter", "m_size", "-"), "-");
  EXPECT_THROW(reg_set_string("Filter", "m_size", "5"), zel::FileError);
  EXPECT_TRUE(fs::is_directory(root));
  EXPECT_EQ(readText(inside), "mine");
}

TEST_F(StoreFile, FileInPlaceOfItsFolderRaises) {
  writeText(root / "plain", "data");
  tamble::iniStore store((root / "plain" / "store.ini").string());
  EXPECT_THROW(store.set("Filter", "m_size", "5"), zel::FileError);
  EXPECT_EQ(readText(root / "plain"), "data");
}

TEST_F(StoreFile, SetKeepsWhatAnotherProcessWroteMeanwhile) {
  tamble::iniStore store(file.string());
  store.set("Filter", "m_size", "5");
  writeText(file, "[Filter]\nm_size=5\n[Fit]\nm_order=3\n");
  store.set("Filter", "m_gain", "1");
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\nm_gain=1\n[Fit]\nm_order=3\n");
  EXPECT_EQ(store.get("Fit", "m_order", "-"), "3");
}

TEST_F(StoreFile, WritesThroughASymbolicLink) {
  const fs::path real = root / "real.ini";
  writeText(real, "[Filter]\nm_size=5\n");
  fs::create_symlink(real, file);
  tamble::iniStore store(file.string());
  store.set("Filter", "m_size", "6");
  EXPECT_TRUE(fs::is_symlink(file));
  EXPECT_EQ(readText(real), "[Filter]\nm_size=6\n");
}

TEST_F(StoreFile, JunkLongLinesAndBinaryBytesAreKept) {
  // The long key comes first, before random bytes could open a section.
  std::string junk = std::string(1 << 20, 'x') + "=long\n" + std::string(1 << 20, '=') + "\n";
  unsigned seed = 12345;
  for (int i = 0; i < 20000; ++i) {
    seed = seed * 1103515245u + 12345u;
    const char c = static_cast<char>((seed >> 16) & 0xff);
    junk += c == '\r' ? 'r' : c;  // "\r\n" would count as a line end
  }
  junk += std::string("\nnul\0inside=1\n", 14) + "end\n";
  writeText(file, junk);
  tamble::iniStore store(file.string());
  EXPECT_EQ(store.get("", std::string(1 << 20, 'x'), "-"), "long");
  store.set("fresh", "k", "v");
  EXPECT_EQ(readText(file), junk + "\n[fresh]\nk=v\n");
}

// Each case names the variables to set; the others are unset.
TEST(StorePath, FollowsTheEnvironment) {
  const char* names[] = {"TAMBLE_STORE", "XDG_CONFIG_HOME", "HOME"};
  std::optional<std::string> saved[3];
  for (int i = 0; i < 3; ++i)
    if (const char* v = std::getenv(names[i])) saved[i] = v;
  auto with = [&](const char* store, const char* config, const char* home) {
    const char* values[] = {store, config, home};
    for (int i = 0; i < 3; ++i) values[i] ? ::setenv(names[i], values[i], 1) : ::unsetenv(names[i]);
    return tamble::defaultStorePath();
  };
  EXPECT_EQ(with("/x/s.ini", "/cfg", "/home/u"), "/x/s.ini");
  EXPECT_EQ(with("", "/cfg", "/home/u"), "/cfg/tamble/store.ini");
  EXPECT_EQ(with(nullptr, "relative", "/home/u"), "/home/u/.config/tamble/store.ini");
  EXPECT_EQ(with(nullptr, "", "/home/u"), "/home/u/.config/tamble/store.ini");
  EXPECT_EQ(with(nullptr, nullptr, nullptr), "");
  for (int i = 0; i < 3; ++i)
    saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);
}

TEST(StorePath, NoPlaceReadsEmptyAndRefusesToWrite) {
  tamble::iniStore store("");
  EXPECT_EQ(store.get("Filter", "m_size", "-"), "-");
  EXPECT_THROW(store.set("Filter", "m_size", "5"), zel::FileError);
}

}  // namespace

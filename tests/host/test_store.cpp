// The parameter store file: reading, writing in place, refusals and its place.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/log.h"
#include "host/atomicFile.h"
#include "host/platform.h"
#include "host/store.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::readText;
using tamble::testing::writeText;

// A fresh folder per test; the process-wide store goes back to its default
// place afterwards.
class StoreFile : public tamble::testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    file = dir / "store.ini";
  }
  void TearDown() override {
    tamble::useStore({});
    fs::permissions(dir, fs::perms::owner_all, fs::perm_options::add);
    tempFolderTest::TearDown();
  }
  fs::path file;
};

// A missing file reads empty; the first write makes it and its folders.
TEST_F(StoreFile, MissingFileIsEmptyAndTheFirstWriteMakesItsFolders) {
  const fs::path deep = dir / "a" / "b" / "store.ini";
  tamble::iniStore store(deep.string());
  EXPECT_EQ(store.get("Filter", "m_size", "none"), "none");
  EXPECT_FALSE(fs::exists(deep.parent_path()));  // reading creates nothing
  store.set("Filter", "m_size", "5");
  EXPECT_EQ(readText(deep), "[Filter]\nm_size=5\n");
  EXPECT_EQ(store.get("Filter", "m_size", "none"), "5");
}

// The process store writes each change through and reads it back anew.
TEST_F(StoreFile, ProcessStoreRoundTripsThroughTheFile) {
  tamble::useStore(file.string());
  EXPECT_EQ(tamble::storePath(), file.string());
  reg_set_string("Filter", "m_size", "5");
  reg_set_string("Fit", "m_order", "2");
  reg_set_string("Filter", "m_size", "7");
  EXPECT_EQ(readText(file), "[Filter]\nm_size=7\n\n[Fit]\nm_order=2\n");

  tamble::useStore(file.string());  // a new process reading what the last one wrote
  EXPECT_EQ(reg_get_string("Filter", "m_size", "-"), "7");
  EXPECT_EQ(reg_get_string("Fit", "m_order", "-"), "2");
  EXPECT_EQ(reg_get_string("Fit", "m_size", "-"), "-");
}

// Comments, unknown lines and the order survive; new keys join their section.
TEST_F(StoreFile, KeepsCommentsUnknownLinesAndOrder) {
  const std::string before =
      "; settings\ntop=1\n[Filter]\nm_size=5\nthis line means nothing\nm_gain=0,5\n\n"
      "# the fit dialog\n[Fit]\nm_order=2\n[broken\n";
  writeText(file, before);
  std::vector<std::string> logged;
  zel::log_sink().setCallback([&](const zel::log_entry& e) { logged.push_back(e.text); });
  tamble::iniStore store(file.string());
  zel::log_sink().flush();
  zel::log_sink().setCallback({});
  // The two lines of no form stay, and the log says where they are.
  const std::string skipped = ": skipped, neither a section, a key nor a comment";
  EXPECT_EQ(logged, (std::vector<std::string>{file.string() + ":5" + skipped,
                                              file.string() + ":11" + skipped}));
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
      "; settings\ntop=1\n[Filter]\nm_size=9\nthis line means nothing\nm_gain=0,5\nm_new=x\n\n"
      "# the fit dialog\n[Fit]\nm_order=2\nm_tail=t\n[broken\n\n[Mask]\nm_on=1\n";
  EXPECT_EQ(readText(file), after);
}

// Values are kept verbatim; names compare exactly; the first of two keys wins.
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

// A file with Windows line ends keeps them.
TEST_F(StoreFile, WindowsLineEndsAreKept) {
  writeText(file, "[Filter]\r\nm_size=5\r\n");
  tamble::iniStore store(file.string());
  EXPECT_EQ(store.get("Filter", "m_size", "-"), "5");
  store.set("Filter", "m_gain", "1");
  EXPECT_EQ(readText(file), "[Filter]\r\nm_size=5\r\nm_gain=1\r\n");
}

// Keys, sections and values that would not read back are refused.
TEST_F(StoreFile, RefusesWhatWouldNotReadBack) {
  writeText(file, "[Filter]\nm_size=5\n");
  tamble::iniStore store(file.string());
  const struct {
    const char *section, *key, *value;
  } bad[] = {{"Filter", "m_text", "two\nlines"},
             {"Filter", "", "v"},
             {"Filter", "a=b", "v"},
             {"Filter", ";m_x", "v"},
             {"Filter", "[m_x", "v]"},
             {"Fil\nter", "m_x", "1"}};
  for (const auto& b : bad)
    EXPECT_THROW(store.set(b.section, b.key, b.value), zel::FileError) << b.section << "/" << b.key;
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
}

// A dialog's keys go in one rewrite: all of them, or none when one could not be stored.
TEST_F(StoreFile, SeveralKeysAreWrittenTogetherOrNotAtAll) {
  writeText(file, "[Filter]\nm_size=5\n");
  tamble::iniStore store(file.string());
  EXPECT_THROW(store.set("Filter", {{"m_size", "7"}, {"m_bad", "two\nlines"}}), zel::FileError);
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
  store.set("Filter", {{"m_size", "7"}, {"m_iter", "2"}, {"m_size", "8"}});
  EXPECT_EQ(readText(file), "[Filter]\nm_size=8\nm_iter=2\n");
  EXPECT_EQ(store.get("Filter", "m_iter", ""), "2");
}

// Where the file cannot be written, a change raises and nothing in memory or on disk changes.
TEST_F(StoreFile, UnwritablePlacesRaiseAndKeepWhatIsThere) {
  writeText(file, "[Filter]\nm_size=5\n");
  fs::create_directory(tamble::temporaryNameFor(file.string()));
  fs::create_directory(dir / "folder.ini");
  writeText(dir / "folder.ini" / "keep.txt", "mine");
  writeText(dir / "plain", "data");
  for (const fs::path& place :
       {file, dir / "folder.ini", dir / "plain" / "store.ini", fs::path()}) {
    tamble::iniStore store(place.string());
    EXPECT_THROW(store.set("Filter", "m_size", "6"), zel::FileError) << place;
    EXPECT_THROW(store.set("Filter", "m_new", "1"), zel::FileError) << place;
    EXPECT_EQ(store.get("Filter", "m_new", "-"), "-") << place;
  }
  tamble::iniStore store(file.string());
  EXPECT_EQ(store.get("Filter", "m_size", "-"), "5");
  EXPECT_NO_THROW(store.set("Filter", "m_size", "5"));  // nothing to change, nothing written
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\n");
  EXPECT_EQ(readText(dir / "folder.ini" / "keep.txt"), "mine");
  EXPECT_EQ(readText(dir / "plain"), "data");
}

// A change keeps what another process wrote meanwhile.
TEST_F(StoreFile, SetKeepsWhatAnotherProcessWroteMeanwhile) {
  tamble::iniStore store(file.string());
  store.set("Filter", "m_size", "5");
  writeText(file, "[Filter]\nm_size=5\n[Fit]\nm_order=3\n");
  store.set("Filter", "m_gain", "1");
  EXPECT_EQ(readText(file), "[Filter]\nm_size=5\nm_gain=1\n[Fit]\nm_order=3\n");
  EXPECT_EQ(store.get("Fit", "m_order", "-"), "3");
}

// A store behind a symbolic link is written through the link.
TEST_F(StoreFile, WritesThroughASymbolicLink) {
  const fs::path real = dir / "real.ini";
  writeText(real, "[Filter]\nm_size=5\n");
  fs::create_symlink(real, file);
  tamble::iniStore store(file.string());
  store.set("Filter", "m_size", "6");
  EXPECT_TRUE(fs::is_symlink(file));
  EXPECT_EQ(readText(real), "[Filter]\nm_size=6\n");
}

// Junk, very long lines and binary bytes are kept as they are.
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

// The store's place follows TAMBLE_STORE, then XDG_CONFIG_HOME, then HOME.
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
  const struct {
    const char *store, *config, *home, *expected;
  } rows[] = {{"/x/s.ini", "/cfg", "/home/u", "/x/s.ini"},
              {"", "/cfg", "/home/u", "/cfg/tamble/store.ini"},
              {nullptr, "relative", "/home/u", "/home/u/.config/tamble/store.ini"},
              {nullptr, "", "/home/u", "/home/u/.config/tamble/store.ini"},
              {nullptr, nullptr, nullptr, ""}};
  for (const auto& r : rows)
    EXPECT_EQ(with(r.store, r.config, r.home), r.expected) << (r.store ? r.store : "(unset)");
  for (int i = 0; i < 3; ++i)
    saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);
}

}  // namespace

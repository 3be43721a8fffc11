#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/iniFile.h"
#include "api/log.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::readText;
using tamble::testing::writeText;

// The message of the zel error that `action` raises, with its type checked.
template <class E>
std::string failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const E& e) {
    return e.message;
  } catch (...) {
    return "another exception";
  }
  return "no exception";
}

class IniFile : public tamble::testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    file = path("a.ini");
  }

  std::string file;
};

// Opening fails with the reason; a file opened for writing is created.
TEST_F(IniFile, OpenFailuresSayWhy) {
  zel::zel_ini_file ini;
  EXPECT_EQ(failure<zel::FileError>([&] { ini.open("", false); }), "File Name is empty!");
  EXPECT_EQ(failure<zel::FileError>([&] { ini.open(file, true); }),
            "File doesn't exist! Cannot create file because the mode is read-only!");
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(failure<zel::FileError>([&] { ini.open(dir.string(), true); }),
            "Can't open file for reading!");
  EXPECT_EQ(failure<zel::FileError>([&] { ini.open((dir / "no" / "x.ini").string(), false); }),
            "Can't open file for writing!");
  EXPECT_FALSE(ini.isOpened());
  // Not read-only: a missing file is created empty.
  ini.open(file, false);
  EXPECT_TRUE(ini.isOpened());
  EXPECT_TRUE(fs::exists(file));
  EXPECT_EQ(readText(file), "");
}

// Calls check the names, then that the file is open, then that it may be
// written, and refuse what a line cannot hold; the file stays.
TEST_F(IniFile, LookupsCheckNamesThenOpenedThenReadOnly) {
  zel::zel_ini_file closed;
  EXPECT_EQ(failure<zel::AlgoError>([&] { closed.get("", ""); }), "Section's name is empty!");
  EXPECT_EQ(failure<zel::AlgoError>([&] { closed.set("s", "", "v"); }), "Key's name is empty!");
  EXPECT_EQ(failure<zel::AlgoError>([&] { closed.remove("s", "k"); }), "Ini-file wasn't opened!");

  writeText(file, "[s]\nk=1\n");
  zel::zel_ini_file ro;
  ro.open(file, true);
  EXPECT_EQ(ro.get("s", "k"), "1");
  EXPECT_EQ(failure<zel::AlgoError>([&] { ro.set("s", "k", "2"); }), "Data is read-only!");
  EXPECT_EQ(failure<zel::AlgoError>([&] { ro.save(); }), "Data is read-only!");

  zel::zel_ini_file rw;
  rw.open(file, false);
  EXPECT_EQ(failure<zel::AlgoError>([&] { rw.remove("s", "K"); }),
            "Cannot delete non-existent key!");
  EXPECT_EQ(failure<zel::AlgoError>([&] { rw.set("s", "k", "a\nb"); }),
            "Name or value cannot be stored in an ini-file!");
  EXPECT_EQ(readText(file), "[s]\nk=1\n");
  fs::remove_all(dir);
  EXPECT_EQ(failure<zel::FileError>([&] { rw.save(); }), "Can't open file for writing!");
}

// Headers, keys and values are trimmed; the first of a key counts; names
// keep their case.
TEST_F(IniFile, ParsingOfLines) {
  writeText(file,
            "top=ignored\n; [s]\n  [ s ]  trailing words\n  key one =  value with = and ; inside  \n"
            "\tk2\t=\n=no key\n[s\nk3=first\n[s]\nk3=second\nK3=upper\n");
  std::vector<std::string> logged;
  zel::log_sink().setCallback([&](const zel::log_entry& e) { logged.push_back(e.text); });
  zel::zel_ini_file ini;
  ini.open(file, true);
  zel::log_sink().flush();
  zel::log_sink().setCallback({});
  // The two lines of no form are passed over, and the log says where.
  const std::string skipped = ": skipped, neither a section, a key nor a comment";
  EXPECT_EQ(logged, (std::vector<std::string>{file + ":6" + skipped, file + ":7" + skipped}));
  EXPECT_EQ(ini.get("s", "key one"), "value with = and ; inside");
  EXPECT_EQ(ini.get("s", "k2"), "");
  EXPECT_EQ(ini.get("s", "k3"), "first");  // "[s" is no header; the first k3 counts
  EXPECT_EQ(ini.get("s", "K3"), "upper");
  EXPECT_EQ(ini.get("S", "k3"), std::nullopt);
  EXPECT_EQ(ini.get("s", "top"), std::nullopt);
  EXPECT_EQ(ini.get("s", "; [s]"), std::nullopt);
  EXPECT_EQ(ini.lines().size(), 11u);
}

// Names and values are cut at 1023 characters; unset lines stay as they were.
TEST_F(IniFile, NamesAndValuesAreCutAt1023Characters) {
  const std::string longKey(5000, 'k');
  const std::string longValue(100000, 'v');
  writeText(file, "[" + std::string(2000, 's') + "]\n" + longKey + "=" + longValue + "\n");
  zel::zel_ini_file ini;
  ini.open(file, false);
  const std::string section(1023, 's');
  const std::string key(1023, 'k');
  EXPECT_EQ(ini.get(section, key), std::string(1023, 'v'));
  // A rewrite keeps the lines it did not set as they were.
  ini.set(section, "n", "1");
  ini.save();
  EXPECT_EQ(readText(file),
            "[" + std::string(2000, 's') + "]\n" + longKey + "=" + longValue + "\nn=1\n");
}

// A rewrite changes only what was set, keeping comments, blanks and line ends.
TEST_F(IniFile, RewriteChangesOnlyWhatWasSet) {
  writeText(file, "; camera data\r\n[a]\r\nx = 1\r\ny=2\r\n\r\n; about b\r\n[b]\r\nz=3\r\n");
  zel::zel_ini_file ini;
  ini.open(file, false);
  ini.set("a", "x", "10");     // replaced in place
  ini.set("a", "w", "new");    // after the last key of [a], before the blank line
  ini.set("c", "v", "added");  // a new section at the end
  ini.remove("b", "z");
  ini.save();
  EXPECT_EQ(readText(file), "; camera data\r\n[a]\r\nx=10\r\ny=2\r\nw=new\r\n\r\n"
                            "; about b\r\n[b]\r\n[c]\r\nv=added\r\n");
  EXPECT_EQ(ini.get("a", "w"), "new");
  EXPECT_EQ(ini.get("b", "z"), std::nullopt);
}

// A line of a file with "\n" ends may still end in "\r": it is a blank, so
// that the value reads the same after a rewrite.
TEST_F(IniFile, CarriageReturnsAreBlanks) {
  writeText(file, "[s]\nk=v\r\r\n[t]\r\n");
  zel::zel_ini_file ini;
  ini.open(file, false);
  EXPECT_EQ(ini.get("s", "k"), "v");
  EXPECT_EQ(ini.lines()[2].section, "t");
  ini.set("s", "n", "1");
  ini.save();
  EXPECT_EQ(readText(file), "[s]\nk=v\r\nn=1\n[t]\n");
  ini.open(file, true);
  EXPECT_EQ(ini.get("s", "k"), "v");
}

// ini_read answers the default only for an absent key of a readable file.
TEST_F(IniFile, ReadAnswersDefaultOnlyForAnAbsentKey) {
  writeText(file, "[s]\nk=v\n");
  EXPECT_EQ(zel::ini_read(file, "s", "k", "d"), "v");
  EXPECT_EQ(zel::ini_read(file, "s", "other", "d"), "d");
  EXPECT_EQ(zel::ini_read(file, "", "k", "d"), "");
  // A missing file reads as empty, not as the default, and is not created.
  EXPECT_EQ(zel::ini_read((dir / "none.ini").string(), "s", "k", "no key"), "");
  EXPECT_FALSE(fs::exists(dir / "none.ini"));
}

// ini_write creates or rewrites, and answers false on failure.
TEST_F(IniFile, WriteCreatesOrRewritesAndAnswersFalseOnFailure) {
  EXPECT_TRUE(zel::ini_write(file, "sec", "key", "value"));
  EXPECT_EQ(readText(file), "[sec]\nkey=value\n");
  EXPECT_TRUE(zel::ini_write(file, "sec", "key", "other"));
  EXPECT_EQ(readText(file), "[sec]\nkey=other\n");
  EXPECT_FALSE(zel::ini_write(file, "sec", "", "x"));
  EXPECT_FALSE(zel::ini_write((dir / "no" / "x.ini").string(), "s", "k", "v"));
  EXPECT_EQ(readText(file), "[sec]\nkey=other\n");
}

}  // namespace

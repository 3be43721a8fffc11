// The workbench's server side without a browser: the folder it may touch,
// the ROI tool's shapes, the interactions a running command waits on, and
// what the page reads of images and menus.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "api/imagesList.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"
#include "apps/workbench/maskShapes.h"
#include "apps/workbench/requestError.h"
#include "apps/workbench/sessionFolder.h"
#include "apps/workbench/views.h"
#include "apps/workbench/webUi.h"
#include "host/command.h"
#include "host/paramRecord.h"
#include "tests/support/tempFolder.h"

namespace tamble::workbench {
namespace {

namespace fs = std::filesystem;

// ---- the session's folder ----------------------------------------------------------

class folderTest : public testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    fs::create_directories(dir / "inside/sub");
    fs::create_directories(dir / "outside");
    std::ofstream(dir / "inside/a.tif") << "a";
    std::ofstream(dir / "inside/sub/b.imp") << "b";
    std::ofstream(dir / "outside/secret.tif") << "s";
    fs::create_directory_symlink(dir / "outside", dir / "inside/linkOut");
    fs::create_symlink(dir / "outside/secret.tif", dir / "inside/fileOut.tif");
    fs::create_symlink(dir / "inside/a.tif", dir / "inside/linkIn.tif");
  }
};

struct resolveCase {
  const char* path;
  bool mustExist;
  const char* resolvesTo;  // relative to the folder; nullptr: refused
};

TEST_F(folderTest, ResolvesOnlyPathsThatStayInside) {
  const sessionFolder folder(dir / "inside");
  const resolveCase cases[] = {
      {"a.tif", true, "a.tif"},
      {"sub/b.imp", true, "sub/b.imp"},
      {"./sub/b.imp", true, "sub/b.imp"},
      {"linkIn.tif", true, "a.tif"},  // a link inside is followed
      {"new.imp", false, "new.imp"},
      {"sub/new.imp", false, "sub/new.imp"},
      {"new.imp", true, nullptr},      // nothing there to read
      {"nowhere/x.imp", false, nullptr},  // no folder to write into
      {"", false, nullptr},
      {"../outside/secret.tif", true, nullptr},
      {"sub/../a.tif", true, nullptr},  // '..' is refused even when it stays inside
      {"/etc/passwd", true, nullptr},
      {"linkOut/secret.tif", true, nullptr},
      {"linkOut/new.tif", false, nullptr},
      {"fileOut.tif", true, nullptr},
      {"fileOut.tif", false, nullptr},  // writing through a link out
  };
  for (const resolveCase& c : cases) {
    SCOPED_TRACE(c.path);
    if (!c.resolvesTo) {
      EXPECT_THROW(folder.resolve(c.path, c.mustExist), requestError);
      continue;
    }
    EXPECT_EQ(folder.resolve(c.path, c.mustExist), fs::canonical(dir / "inside") / c.resolvesTo);
  }
}

TEST_F(folderTest, ListsFoldersFirstFilteredAndNeverWhatLeadsOut) {
  const sessionFolder folder(dir / "inside");
  const auto names = [](const std::vector<folderEntry>& entries) {
    std::vector<std::string> out;
    for (const folderEntry& e : entries) out.push_back(e.name + (e.folder ? "/" : ""));
    return out;
  };
  EXPECT_EQ(names(folder.list("", {})), (std::vector<std::string>{"sub/", "a.tif", "linkIn.tif"}));
  EXPECT_EQ(names(folder.list("", {".imp"})), (std::vector<std::string>{"sub/"}));
  EXPECT_EQ(names(folder.list("sub", {".imp"})), (std::vector<std::string>{"sub/b.imp"}));
  EXPECT_THROW(folder.list("linkOut", {}), requestError);
  EXPECT_THROW(sessionFolder(dir / "missing"), requestError);
}

TEST(filterExtensions, ReadsThePatternsOfAFileDialogFilter) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"Tamble project (*.vur)|*.vur||", {".vur"}},
      {"Images (*.TIF;*.imp)|*.TIF;*.imp||", {".tif", ".imp"}},
      {"All files (*.*)|*.*||", {}},
      {"", {}},
  };
  for (const auto& [filter, expected] : cases) EXPECT_EQ(filterExtensions(filter), expected) << filter;
}

// ---- the ROI tool's shapes -------------------------------------------------------

struct shapeCase {
  const char* what;
  std::vector<point> polygon;
  std::vector<std::string> rows;  // of a 5 by 4 mask, '#' set
};

TEST(paintPolygon, SetsThePixelsWhoseCentresLieInside) {
  const shapeCase cases[] = {
      {"rectangle on pixel edges", {{1, 1}, {4, 1}, {4, 3}, {1, 3}}, {".....", ".###.", ".###.", "....."}},
      {"rectangle beyond the image", {{-3, -3}, {2, -3}, {2, 9}, {-3, 9}}, {"##...", "##...", "##...", "##..."}},
      {"triangle", {{0, 0}, {4, 0}, {0, 4}}, {"###..", "##...", "#....", "....."}},
      {"corners inside pixels", {{0.6, 0.6}, {2.6, 0.6}, {2.6, 2.4}, {0.6, 2.4}}, {".....", ".##..", ".....", "....."}},
      {"two points are no shape", {{0, 0}, {5, 4}}, {".....", ".....", ".....", "....."}},
  };
  for (const shapeCase& c : cases) {
    SCOPED_TRACE(c.what);
    zel::arrayStore<bool, 2> mask(5, 4);
    mask.fill(false);
    long set = 0;
    for (const std::string& row : c.rows) set += std::count(row.begin(), row.end(), '#');
    EXPECT_EQ(paintPolygon(mask, c.polygon, true), set);
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 5; ++x) EXPECT_EQ(mask(x, y), c.rows[y][x] == '#') << x << "," << y;
  }
}

TEST(paintPolygon, SubtractsWithFalse) {
  zel::arrayStore<bool, 2> mask(4, 4);
  mask.fill(true);
  paintPolygon(mask, {{0, 0}, {2, 0}, {2, 2}, {0, 2}}, false);
  int set = 0;
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) set += mask(x, y);
  EXPECT_EQ(set, 12);
  EXPECT_FALSE(mask(1, 1));
  EXPECT_TRUE(mask(2, 2));
}

// ---- interactions ----------------------------------------------------------------

struct testRecord {
  int m_count = 3;
  float m_scale = 0.5f;
  int m_manual = 0;
  static const recordDescriptor<testRecord>& descriptor() {
    static const recordDescriptor<testRecord> d = greyedBy(
        [](const testRecord& r, const std::string& key) { return key != "m_scale" || r.m_manual != 0; },
        recordDescriptor<testRecord>{"testRecord", "", "Test Dialog",
                                     {{{"m_count", paramType::Int, std::pair{1.0, 9.0}, "Count (1...9)"},
                                       &testRecord::m_count},
                                      {{"m_scale", paramType::Float, std::pair{0.1, 1.0}, "Scale"},
                                       &testRecord::m_scale},
                                      {{"m_manual", paramType::Int, std::pair{0.0, 1.0}, "Manual"},
                                       &testRecord::m_manual}}});
    return d;
  }
};

class interactionTest : public testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    std::ofstream(dir / "run.vur") << "";
    folder = std::make_unique<sessionFolder>(dir);
    ui = std::make_unique<webUi>(*folder, inputs);
  }
  // The pending interaction's id once the worker has asked.
  long waitForInteraction() {
    for (int i = 0; i < 2000; ++i) {
      const json state = ui->state(0);
      if (!state["interaction"].is_null()) return state["interaction"]["id"].get<long>();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ADD_FAILURE() << "nothing was asked";
    return -1;
  }

  cli::inputFiles inputs;
  std::unique_ptr<sessionFolder> folder;
  std::unique_ptr<webUi> ui;
};

TEST_F(interactionTest, AnswersReachTheWaitingCommand) {
  struct answerCase {
    const char* what;
    std::function<std::string(webUi&)> ask;  // on the worker: what it got, as text
    json reply;
    std::string expected;
  };
  const std::string project = fs::canonical(dir / "run.vur").string();
  const answerCase cases[] = {
      {"yes", [](webUi& u) { return std::to_string(u.message("Go on?", true, false)); }, {{"yes", true}}, "1"},
      {"no", [](webUi& u) { return std::to_string(u.message("Go on?", true, false)); }, {{"yes", false}}, "0"},
      {"image", [](webUi& u) { return std::to_string(u.chooseImage("Second", {"a", "b"}, 0)); }, {{"index", 1}}, "1"},
      {"file", [](webUi& u) { return u.chooseFile("Open Project", "P (*.vur)|*.vur||", false, ""); },
       {{"path", "run.vur"}}, project},
      {"cancelled file", [](webUi& u) { return u.chooseFile("Open", "", false, ""); }, {{"cancel", true}}, ""},
  };
  for (const answerCase& c : cases) {
    SCOPED_TRACE(c.what);
    auto got = std::async(std::launch::async, [&] { return c.ask(*ui); });
    json reply = c.reply;
    ui->answer(waitForInteraction(), reply);
    EXPECT_EQ(got.get(), c.expected);
  }
}

TEST_F(interactionTest, RefusedAnswersKeepTheQuestionOpen) {
  auto got = std::async(std::launch::async, [&] { return ui->chooseFile("Open", "", false, ""); });
  const long id = waitForInteraction();
  for (const char* bad : {"../etc/passwd", "/etc/passwd", "missing.vur"}) {
    EXPECT_THROW(ui->answer(id, {{"path", bad}}), requestError) << bad;
    EXPECT_EQ(ui->state(0)["interaction"]["id"], id) << bad;
  }
  EXPECT_THROW(ui->answer(id + 1, {{"path", "run.vur"}}), requestError);  // not the one asked
  ui->answer(id, {{"path", "run.vur"}});
  EXPECT_EQ(got.get(), fs::canonical(dir / "run.vur").string());
  // What was read is never written.
  auto save = std::async(std::launch::async, [&] { return ui->chooseFile("Save", "", true, ""); });
  const long saveId = waitForInteraction();
  EXPECT_THROW(ui->answer(saveId, {{"path", "run.vur"}}), cli::stepError);
  ui->answer(saveId, {{"path", "new.vur"}});
  EXPECT_EQ(save.get(), (fs::canonical(dir) / "new.vur").string());
}

// The page's OK with the values of its controls.
json okWith(const std::map<std::string, std::string>& values) {
  json reply = {{"ok", true}, {"values", json::object()}};
  for (const auto& [key, text] : values) reply["values"][key] = text;
  return reply;
}

TEST_F(interactionTest, TheDialogChecksOkAndGreysAsTheRecordSays) {
  testRecord values;
  boundRecord<testRecord> record(testRecord::descriptor(), values);
  auto got = std::async(std::launch::async, [&] { return ui->editRecord(record); });
  const long id = waitForInteraction();
  const json shown = ui->state(0)["interaction"]["payload"];
  EXPECT_EQ(shown["title"], "Test Dialog");
  EXPECT_EQ(shown["fields"][1]["value"], "0.5");
  EXPECT_FALSE(shown["fields"][1]["enabled"].get<bool>());
  EXPECT_TRUE(ui->edit(id, "m_manual", "1")["fields"][1]["enabled"].get<bool>());
  try {
    ui->answer(id, okWith({{"m_count", "12"}}));
    ADD_FAILURE() << "a count out of range was taken";
  } catch (const requestError& e) {
    EXPECT_NE(std::string(e.what()).find("Count (1...9)"), std::string::npos) << e.what();
  }
  ui->answer(id, okWith({{"m_count", "7"}, {"m_scale", "0,25"}}));
  EXPECT_TRUE(got.get());
  EXPECT_EQ(values.m_count, 7);
  EXPECT_EQ(values.m_scale, 0.25f);
  EXPECT_EQ(values.m_manual, 1);
}

TEST_F(interactionTest, StoppingCancelsWhatWaitsAndNoticesQueue) {
  ui->message("first", false, false);
  ui->message("second", false, true);
  const json notices = ui->state(1)["notices"];
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_EQ(notices[0]["text"], "second");
  EXPECT_TRUE(notices[0]["error"].get<bool>());
  auto got = std::async(std::launch::async, [&] { return ui->message("Wait?", true, false); });
  waitForInteraction();
  ui->cancelAll();
  EXPECT_FALSE(got.get());
}

TEST_F(interactionTest, ProgressAndTheWaitCursorShowUntilTheCommandEnds) {
  EXPECT_FALSE(ui->state(0).contains("progress"));
  ui->progress("Converting the list", 40);
  ui->waitCursor(true);
  const json during = ui->state(0);
  EXPECT_EQ(during["progress"]["what"], "Converting the list");
  EXPECT_EQ(during["progress"]["percent"], 40);
  EXPECT_TRUE(during["wait"].get<bool>());
  ui->resetProgress();
  EXPECT_FALSE(ui->state(0).contains("progress"));
  EXPECT_FALSE(ui->state(0)["wait"].get<bool>());
}

// ---- what the page reads -------------------------------------------------------------

bool hasImage(const zel::imagesList& list) { return list.current() != nullptr; }

TEST(views, MenusGroupRowsAndTellAvailabilityNow) {
  static const commandDescriptor always{"first", "MC", "First...", "tip", "help", {"always", nullptr}, {}, nullptr};
  static const commandDescriptor needsImage{"second", "MC", "Second", "tip 2", "help", {"image_is_present", hasImage},
                                            {}, nullptr};
  static const commandDescriptor other{"third", "Edit", "Third", "tip 3", "help", {"image_is_present", hasImage},
                                       {}, nullptr};
  const std::vector<menuEntry> menu = {{&always}, {nullptr, "MC"}, {&needsImage}, {&other}};
  zel::imagesList list;
  json groups = menuJson(menu, list);
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[0]["name"], "MC");
  EXPECT_EQ(groups[0]["rows"].size(), 3u);
  EXPECT_TRUE(groups[0]["rows"][1]["separator"].get<bool>());
  EXPECT_TRUE(groups[0]["rows"][0]["available"].get<bool>());
  EXPECT_FALSE(groups[0]["rows"][2]["available"].get<bool>());
  EXPECT_EQ(groups[0]["rows"][2]["test"], "image_is_present");
  list.addImage(new zel::image(2, 2));
  list.selectLast();
  groups = menuJson(menu, list);
  EXPECT_TRUE(groups[0]["rows"][2]["available"].get<bool>());
  EXPECT_TRUE(groups[1]["rows"][0]["available"].get<bool>());
}

TEST(views, PixelBytesHoldTheFieldThenBothMasks) {
  zel::image img(3, 2);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) img.field()(x, y) = static_cast<float>(10 * y + x);
  img.bkgr()(2, 1) = true;
  img.ROI()(0, 1) = false;
  const std::string bytes = pixelBytes(img);
  ASSERT_EQ(bytes.size(), 6u * 4 + 6 + 6);
  float v[6];
  std::memcpy(v, bytes.data(), sizeof v);
  EXPECT_EQ(v[4], 11.0f);  // pixel (1, 1)
  EXPECT_EQ(bytes.substr(24, 6), std::string("\0\0\0\0\0\1", 6));
  EXPECT_EQ(bytes.substr(30, 6), std::string("\1\1\1\0\1\1", 6));
}

TEST(views, RenderWordsAreCheckedBeforeAnythingIsDrawn) {
  EXPECT_EQ(renderOptionsOf({{"colormap", "jet"}, {"low", "-1.5"}}).colormap, "jet");
  EXPECT_EQ(renderOptionsOf({{"low", "-1.5"}}).low, -1.5);
  EXPECT_FALSE(renderOptionsOf({{"bar", "0"}}).colorbar);
  for (const std::map<std::string, std::string>& bad :
       {std::map<std::string, std::string>{{"colormap", "rainbow"}}, {{"low", "x"}}, {{"bar", "yes"}}})
    EXPECT_THROW(renderOptionsOf(bad), requestError) << bad.begin()->first;
}

}  // namespace
}  // namespace tamble::workbench

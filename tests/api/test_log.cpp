#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/errors.h"
#include "api/log.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace {

using Line = std::pair<int, std::string>;  // level, text

void recordInto(zel::log_mgr& sink, std::vector<Line>& seen) {
  sink.setCallback([&seen](const zel::log_entry& e) { seen.emplace_back(e.level, e.text); });
}

std::vector<std::string> drained(zel::ring_buffer<zel::log_entry>& ring) {
  std::vector<std::string> texts;
  ring.drain([&texts](const zel::log_entry& e) { texts.emplace_back(e.text); });
  return texts;
}

zel::log_entry& begun(zel::ring_buffer<zel::log_entry>& ring, int number) {
  zel::log_entry& entry = ring.begin();
  std::snprintf(entry.text, sizeof entry.text, "%d", number);
  return entry;
}

// A full ring drops its oldest entry.
TEST(LogRing, FullRingDropsTheOldestEntry) {
  auto ring = std::make_unique<zel::ring_buffer<zel::log_entry>>();
  for (int n = 1; n <= 64; ++n) ring->commit(begun(*ring, n));
  ring->commit(begun(*ring, 65));
  EXPECT_EQ(ring->pending(), 64u);

  std::vector<std::string> expected;
  for (int n = 2; n <= 65; ++n) expected.push_back(std::to_string(n));
  EXPECT_EQ(drained(*ring), expected);
  EXPECT_EQ(ring->pending(), 0u);
}

// Draining stops at an entry begun but not committed.
TEST(LogRing, DrainStopsAtAnUncommittedEntry) {
  auto ring = std::make_unique<zel::ring_buffer<zel::log_entry>>();
  ring->commit(begun(*ring, 1));
  zel::log_entry& open = begun(*ring, 2);
  ring->commit(begun(*ring, 3));
  EXPECT_EQ(drained(*ring), std::vector<std::string>{"1"});
  EXPECT_EQ(ring->pending(), 2u);
  ring->commit(open);
  EXPECT_EQ(drained(*ring), (std::vector<std::string>{"2", "3"}));
}

// An entry is cut at 500 characters, over any number of writes.
TEST(LogAccess, WritesAreCutAtFiveHundredCharacters) {
  std::vector<Line> seen;
  zel::log_ring ring;
  recordInto(ring, seen);
  ring.setDirect(true);
  zel::log_access(ring).write(std::string(600, 'a'));
  zel::log_access(ring).write(std::string(300, 'b')).write(std::string(300, 'c'));
  zel::log_access(ring).write("n=").write(-42).level(3);
  ring.flush();
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].second, std::string(500, 'a'));
  EXPECT_EQ(seen[1].second, std::string(300, 'b') + std::string(200, 'c'));
  EXPECT_EQ(seen[0].first, 5);  // a new entry's level
  EXPECT_EQ(seen[2], Line(3, "n=-42"));
}

// A commit flushes at 42 pending entries, when urgent or batched; direct
// mode only at flush().
TEST(LogSink, CommitFlushesOnThresholdUrgencyOrBatchedMode) {
  int flushed = 0;
  zel::log_ring ring;
  ring.setCallback([&flushed](const zel::log_entry&) { ++flushed; });

  for (int n = 1; n < 42; ++n) zel::log_access(ring).write(n);
  EXPECT_EQ(flushed, 0);
  zel::log_access(ring).write(42);
  EXPECT_EQ(flushed, 42);

  zel::log_access(ring).write("urgent").urgent();
  ring.setBatched(true);
  zel::log_access(ring).write("batched");
  EXPECT_EQ(flushed, 44);
  // Direct mode only marks entries, urgent or not, until flush().
  ring.setDirect(true);
  for (int n = 0; n < 50; ++n) zel::log_access(ring).write(n).urgent();
  EXPECT_EQ(flushed, 44);
  ring.flush();
  EXPECT_EQ(flushed, 94);
}

// A callback may log to its own sink: no deadlock, and its entries are
// delivered by the flush that is running.
TEST(LogSink, CallbackThatLogsIsDrainedBySameFlush) {
  zel::log_ring ring;
  std::vector<std::string> seen;
  ring.setCallback([&](const zel::log_entry& e) {
    seen.emplace_back(e.text);
    if (seen.size() == 1) zel::log_access(ring).write("from callback").urgent();
  });
  zel::log_access(ring).write("first").urgent();
  EXPECT_EQ(seen, (std::vector<std::string>{"first", "from callback"}));
  EXPECT_EQ(ring.pending(), 0u);
}

using LogFile = tamble::testing::tempFolderTest;

// The file gets the lines up to the highest level, appended with their
// prefixes; a file in a missing folder is refused.
TEST_F(LogFile, FileGetsLinesUpToMaxLevelAppended) {
  const std::string file = path("run.log");
  auto contents = [&file] { return tamble::testing::readText(file); };
  tamble::testing::writeText(file, "earlier\n");
  int seen = 0;
  zel::log_ring ring;
  ring.setCallback([&seen](const zel::log_entry&) { ++seen; });
  EXPECT_TRUE(ring.setFile(file, true));
  zel::log_access(ring).level(0).write("fatal");
  zel::log_access(ring).level(2).write("warn");
  zel::log_access(ring).write("default");
  zel::log_access(ring).level(7).write("hidden");
  ring.flush();
  EXPECT_EQ(contents(), "earlier\nF:fatal\nW:warn\nD:default\n");
  EXPECT_EQ(seen, 4);

  ring.setMaxLevel(7);
  zel::log_access(ring).level(7).write("shown");
  ring.flush();
  EXPECT_EQ(contents(), "earlier\nF:fatal\nW:warn\nD:default\nD:shown\n");
  EXPECT_FALSE(ring.setFile(path("missing/x.log"), false));
}

// zel::raise logs the error before it throws.
TEST(LogSink, RaiseWritesTheErrorBeforeThrowing) {
  zel::log_sink().setCallback({});
  zel::log_sink().flush();
  std::vector<Line> seen;
  recordInto(zel::log_sink(), seen);
  auto fail = [] { zel::raise<zel::IndexError>(); };
  bool thrown = false;
  try {
    fail();
  } catch (const zel::IndexError& e) {
    thrown = true;
    // Logged while the error was being built, so before this handler ran.
    const Line expected(2, "Index error! in:" + std::string(e.file) + ":" + std::to_string(e.line));
    EXPECT_NE(std::find(seen.begin(), seen.end(), expected), seen.end());
  }
  EXPECT_TRUE(thrown);
  zel::log_sink().setCallback({});
}

}  // namespace

// Damaged and huge inputs to the ini and marker readers: each ends in the
// documented result or zel::FileError, and the inputs kept from fuzzing
// (tests/fuzz/regressions) are replayed here under the ordinary build.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

#include "api/errors.h"
#include "api/iniFile.h"
#include "api/markerFiles.h"
#include "tests/fuzz/feed.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::readText;
using tamble::testing::writeText;

const std::uint8_t* bytes(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

using ReaderRobustness = tamble::testing::tempFolderTest;

// A million markers go through .mrk and .mpt.
TEST_F(ReaderRobustness, AMillionMarkersGoThroughBothFormats) {
  const int count = 1000000;
  zel::markersArray many;
  many.items.reserve(count);
  for (int i = 0; i < count; ++i)
    many.items.push_back(marker{i * 0.25, 2.0 * i, -1.0, i % 7 * 1.0, i % 3 != 0, i + 1});
  zel::save_markers(path("many.mrk"), many);
  zel::markersArray back;
  zel::load_markers(path("many.mrk"), back, 0);
  ASSERT_EQ(back.count(), count);
  // 249999.75 and 1999998 need more than six digits: they come back rounded.
  EXPECT_EQ(back.items.back(), (marker{250000.0, 2e6, -1.0, 0.0, false, count}));
  EXPECT_EQ(back[1234], (marker{308.5, 2468.0, -1.0, 2.0, true, 1235}));

  std::string table;
  for (int i = 0; i < count; ++i) table += std::to_string(i) + " 1 2\n";
  writeText(path("many.mpt"), table);
  zel::load_markers(path("many.mpt"), back, 0);
  ASSERT_EQ(back.count(), count);
  EXPECT_EQ(back.items.back(), (marker{count - 1.0, 1.0, 2.0, 0.0, true, count}));
}

// Lines, numbers and counts of 100 000 characters end in the documented result.
TEST_F(ReaderRobustness, LinesOf100000Characters) {
  std::string triples;
  while (triples.size() < 100000) triples += "1.5 -2 3e2 ";
  writeText(path("long.mpt"), triples);
  zel::markersArray m;
  zel::load_markers(path("long.mpt"), m, 0);
  EXPECT_EQ(m.count(), static_cast<int>(triples.size() / 11));
  EXPECT_EQ(m.items.back().z, 300.0);

  // A number of 100 000 digits is out of range: the stream stops there.
  writeText(path("long.inm"), "1 2 0 0 1\n" + std::string(100000, '7') + " 2 0 0 1\n");
  zel::load_markers(path("long.inm"), m, 10);
  EXPECT_EQ(m.items, std::vector<marker>{(marker{1, 7, 0, 0, true, 1})});

  // A count of 100 000 digits does not parse: no markers.
  writeText(path("long.mrk"), "<ObjectMarkers><NodesNumber>" + std::string(100000, '9') +
                                  "</NodesNumber></ObjectMarkers>");
  zel::load_markers(path("long.mrk"), m, 10);
  EXPECT_EQ(m.count(), 0);

  writeText(path("long.ini"), "[s]\nk=" + std::string(100000, 'x') + "\n");
  EXPECT_EQ(zel::ini_read(path("long.ini"), "s", "k", ""), std::string(1023, 'x'));
}

// Every prefix of a good file, and bytes of every value, through each reader.
TEST_F(ReaderRobustness, TruncatedAndJunkFilesEndInTheResultOrFileError) {
  const std::string mrk = readText(TAMBLE_TEST_DATA "/markers_xyf.mrk");
  const std::string ini = readText(TAMBLE_TEST_DATA "/camera.cam");
  const std::string mpt = readText(TAMBLE_TEST_DATA "/markers.mpt");
  int readWhole = 0;
  ::testing::internal::CaptureStderr();  // the parser reports each broken file
  for (std::size_t n = 0; n <= mrk.size(); ++n) {
    writeText(path("t.mrk"), mrk.substr(0, n));
    zel::markersArray m;
    try {
      zel::read_mrk(path("t.mrk"), m);
      readWhole += m.count() == 3;
    } catch (const zel::FileError&) {
    }
    tamble::fuzz::feedIni(bytes(ini), n < ini.size() ? n : ini.size());
    tamble::fuzz::feedTextMarkers(bytes(mpt), n < mpt.size() ? n : mpt.size());
  }
  std::mt19937 random(6);
  for (int round = 0; round < 200; ++round) {
    std::string junk(random() % 4000, '\0');
    for (char& c : junk) c = static_cast<char>(random());
    tamble::fuzz::feedIni(bytes(junk), junk.size());
    tamble::fuzz::feedMrk(bytes(junk), junk.size());
    tamble::fuzz::feedTextMarkers(bytes(junk), junk.size());
  }
  ::testing::internal::GetCapturedStderr();
  // The file is only whole from the root's closing tag on (the last line end
  // is not needed).
  EXPECT_EQ(readWhole, 2);
}

}  // namespace

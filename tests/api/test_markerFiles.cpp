// The marker files. Golden files in tests/api/data were written by hand from
// the format description; the time stamp line stands there as <!--TIME-->.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cctype>
#include <filesystem>
#include <string>

#include "api/errors.h"
#include "api/markerFiles.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::readText;
using tamble::testing::writeText;

std::string golden(const std::string& name) { return readText(TAMBLE_TEST_DATA "/" + name); }

// Line 2 must be "<!--YYYY-MM-DD hh:mm:ss-->"; it is replaced by <!--TIME-->.
std::string withoutTimeStamp(const std::string& text) {
  const std::size_t start = text.find('\n') + 1;
  const std::size_t end = text.find('\n', start);
  const std::string stamp = text.substr(start, end - start);
  const std::string shape = "<!--9999-99-99 99:99:99-->";
  bool ok = stamp.size() == shape.size();
  for (std::size_t i = 0; ok && i < shape.size(); ++i)
    ok = shape[i] == '9' ? std::isdigit(static_cast<unsigned char>(stamp[i])) != 0
                         : stamp[i] == shape[i];
  EXPECT_TRUE(ok) << "time stamp line: " << stamp;
  return text.substr(0, start) + "<!--TIME-->" + text.substr(end);
}

marker at(double x, double y, double z, double f, bool active, int id) {
  return marker{x, y, z, f, active, id};
}

// Three markers with numbers that show the six-digit stream format.
zel::markersArray threeMarkers() {
  zel::markersArray a;
  a.items = {at(10.5, 20.25, 9.0, 101325.0, true, 1), at(0.1, 1234567.0, 9.0, -2.5, false, 7),
             at(1e-7, 3.0, 9.0, 1.0 / 3.0, true, 3)};
  a.functionName = "Pressure";
  a.hasZ = false;
  return a;
}

using MarkerFiles = tamble::testing::tempFolderTest;

// The writers match the golden files (save_markers by extension, replacing a
// file whole with its permissions) and the .mrk file reads back to six
// significant digits.
TEST_F(MarkerFiles, WritersMatchTheGoldenFilesAndMrkReadsBack) {
  writeText(path("a.mrk"), "old");
  fs::permissions(path("a.mrk"), fs::perms::owner_read | fs::perms::owner_write);
  zel::save_markers(path("a.mrk"), threeMarkers());
  EXPECT_EQ(withoutTimeStamp(readText(path("a.mrk"))), golden("markers_xyf.mrk"));
  EXPECT_EQ(fs::status(path("a.mrk")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  zel::save_markers(path("a.mpt"), threeMarkers());
  EXPECT_EQ(readText(path("a.mpt")), golden("markers.mpt"));
  zel::markersArray b;
  b.items = {at(1, 3, -0.5, 7, true, 1), at(2, 4, 100, 8, true, 2)};
  b.lengthUnit = "mm";
  b.hasF = false;
  zel::write_mrk(path("b.mrk"), b);
  EXPECT_EQ(withoutTimeStamp(readText(path("b.mrk"))), golden("markers_xyz_unit.mrk"));

  zel::markersArray r;
  r.functionName = "T";
  zel::read_mrk(path("a.mrk"), r);
  EXPECT_EQ(r.name, path("a.mrk"));
  // Six significant digits: 1234567 comes back as 1234570.
  EXPECT_EQ(r.items, (std::vector<marker>{at(10.5, 20.25, 0.0, 101325.0, true, 1),
                                          at(0.1, 1234570.0, 0.0, -2.5, false, 7),
                                          at(1e-7, 3.0, 0.0, 0.333333, true, 3)}));
  EXPECT_EQ(r.functionName, "Pressure");
  // The unit line is not well-formed XML, so such a file does not read, and
  // the markers stay.
  EXPECT_THROW(zel::read_mrk(path("b.mrk"), r), zel::FileError);
  EXPECT_THROW(zel::load_markers(path("b.mrk"), r, 10), zel::FileError);
  EXPECT_EQ(r.count(), 3);
}

struct mrkCase {
  const char* what;
  const char* text;
  std::vector<marker> expected;
  const char* functionName;  // read over "T"
};

// Hand-written .mrk files: blocks of the wrong length are skipped, texts
// that are no numbers keep the defaults, the first "f" block counts, and a
// count that does not parse is no markers.
TEST_F(MarkerFiles, MrkFilesWrittenByHand) {
  const mrkCase cases[] = {
      {"blocks of the wrong length",
       "<?xml version=\"1.0\"?>\n<!-- by hand -->\n<objectmarkers>\n"
       "<NODESNUMBER> 3 </NODESNUMBER>\n<Function id=\"x\">1 2</Function>\n"
       "<function id=\"y\">\n4\tabc\n6\n</function>\n<Function id=\"z\">7 8 9 10</Function>\n"
       "<Function id=\"F\" name=\"p_TO_pst\">0.5 0.25 1e2</Function>\n"
       "<Function id=\"id\">11 12</Function>\n</objectmarkers>\n",
       {at(0, 4, 0, 0.5, true, 1), at(0, 0, 0, 0.25, true, 2), at(0, 6, 0, 100, true, 3)},
       "P_Pstat"},
      {"active flags, function names and numbers",
       "<ObjectMarkers><NodesNumber>3</NodesNumber><Function id=\"active\">0 7 x</Function>"
       "<Function id=\"f\" name=\"Speed\">1 2 3</Function>"
       "<Function id=\"f\" name=\"Cp\">4 5 6</Function>"
       "<Function id=\"id\">30 +20 q</Function></ObjectMarkers>",
       {at(0, 0, 0, 1, false, 30), at(0, 0, 0, 2, true, 20), at(0, 0, 0, 3, false, 3)}, "T"},
      {"no blocks", "<ObjectMarkers><NodesNumber>2</NodesNumber></ObjectMarkers>",
       {at(0, 0, 0, 0, true, 1), at(0, 0, 0, 0, true, 2)}, "T"},
      {"a count that does not parse",
       "<ObjectMarkers><NodesNumber>9e99</NodesNumber></ObjectMarkers>", {}, "T"},
  };
  for (const mrkCase& c : cases) {
    writeText(path("f.mrk"), c.text);
    zel::markersArray r;
    r.functionName = "T";
    zel::read_mrk(path("f.mrk"), r);
    EXPECT_EQ(r.items, c.expected) << c.what;
    EXPECT_EQ(r.functionName, c.functionName) << c.what;
  }
  // A count that cannot be true is refused.
  writeText(path("big.mrk"), "<ObjectMarkers><NodesNumber>2000000000</NodesNumber></ObjectMarkers>");
  zel::markersArray r;
  EXPECT_THROW(zel::read_mrk(path("big.mrk"), r), zel::FileError);
  EXPECT_EQ(r.count(), 0);
}

// Missing .mrk files and empty names read nothing silently; the other
// readers raise; unknown extensions (compared exactly) do nothing; empty
// arrays write nothing; a writer that cannot write raises and leaves
// nothing behind.
TEST_F(MarkerFiles, MissingUnknownAndEmpty) {
  zel::markersArray r;
  r.items = {at(1, 2, 3, 4, true, 5)};
  const auto before = r.items;
  zel::load_markers("", r, 10);
  zel::read_mrk(path("none.mrk"), r);  // silently: only the name changes
  EXPECT_EQ(r.name, path("none.mrk"));
  EXPECT_NO_THROW(zel::load_markers(path("none.mrk"), r, 10));
  EXPECT_THROW(zel::read_mpt(path("none.mpt"), r), zel::FileError);
  EXPECT_THROW(zel::read_inm(path("none.inm"), r, 10), zel::FileError);
  EXPECT_THROW(zel::load_markers(path("none.apm"), r, 10), zel::FileError);
  writeText(path("x.MPT"), "1 2 3\n");
  zel::load_markers(path("x.MPT"), r, 10);
  zel::save_markers(path("y.txt"), r);
  EXPECT_EQ(r.items, before);
  writeText(path("old.mrk"), "old mrk");
  const zel::markersArray empty;
  zel::write_mrk(path("old.mrk"), empty);
  zel::save_markers(path("new.mpt"), empty);
  EXPECT_EQ(readText(path("old.mrk")), "old mrk");
  EXPECT_THROW(zel::write_mpt(path("no/such/folder/m.mpt"), threeMarkers()), zel::FileError);
  EXPECT_THROW(zel::save_markers(path("no/such/folder/m.mrk"), threeMarkers()), zel::FileError);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 2);
}

// Three numbers a marker, whatever the lines say (the writer's five columns
// do not read back as the same markers), up to the first failure.
TEST_F(MarkerFiles, MptReadsTriples) {
  zel::markersArray r;
  r.functionName = "Cp";
  r.lengthUnit = "mm";
  zel::load_markers(TAMBLE_TEST_DATA "/markers.mpt", r, 0);
  EXPECT_EQ(r.items, (std::vector<marker>{at(10.5, 20.25, 0, 0, true, 1), at(0, 1, 0.1, 0, true, 2),
                                          at(1234570, 0, 0, 0, true, 3), at(0, 1e-7, 3, 0, true, 4),
                                          at(0, 0, 1, 0, true, 5)}));
  EXPECT_EQ(r.functionName, "");
  EXPECT_EQ(r.lengthUnit, "mm");
  EXPECT_FALSE(r.hasF);
  writeText(path("t.mpt"), "1 2 3\n4 5 oops 6\n");
  zel::read_mpt(path("t.mpt"), r);
  EXPECT_EQ(r.items, std::vector<marker>{at(1, 2, 3, 0, true, 1)});
}

// .inm counts rows upwards from the image's height, .apm does not; the three
// integers must be integers.
TEST_F(MarkerFiles, InmCountsRowsUpwardsApmDoesNot) {
  const std::string table = "12.5 10 4 5 1\n3 0 7 8 0\n-1 99.5 0 0 -3\n";
  writeText(path("t.inm"), table);
  writeText(path("t.apm"), table);
  zel::markersArray inm, apm;
  inm.functionName = apm.functionName = "T";
  zel::load_markers(path("t.inm"), inm, 100);
  zel::load_markers(path("t.apm"), apm, 100);
  EXPECT_EQ(inm.items, (std::vector<marker>{at(12.5, 89, 0, 0, true, 1), at(3, 99, 0, 0, false, 2),
                                            at(-1, -0.5, 0, 0, true, 3)}));
  EXPECT_EQ(apm.items, (std::vector<marker>{at(12.5, 10, 0, 0, true, 1), at(3, 0, 0, 0, false, 2),
                                            at(-1, 99.5, 0, 0, true, 3)}));
  for (const auto* a : {&inm, &apm}) {
    EXPECT_EQ(a->functionName, "");
    EXPECT_FALSE(a->hasZ || a->hasF);
  }
  writeText(path("u.apm"), "1 2 3 4 5\n6 7 2.5 0 1\n");
  zel::read_inm(path("u.apm"), apm, 100);
  EXPECT_EQ(apm.items, std::vector<marker>{at(1, 2, 0, 0, true, 1)});
}

}  // namespace

// PLOT3D grids and function files: every form reads back what was written
// and is recognised without a hint; files made byte by byte in the known
// layouts read as they should; damaged and lying files are refused with the
// file's name before anything of their claimed size is made.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <new>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "api/errors.h"
#include "host/plot3d.h"
#include "tests/support/meshBlocks.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

// The largest single allocation while `watching`: a reader must not make
// what a header claims before it has checked the claim against the file.
namespace {
std::atomic<bool> watching{false};
std::atomic<std::size_t> largest{0};
}  // namespace

// The replacements pair malloc with free, which g++ cannot see through.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t n) {
  if (watching.load(std::memory_order_relaxed)) {
    std::size_t seen = largest.load();
    while (n > seen && !largest.compare_exchange_weak(seen, n)) {
    }
  }
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

using tamble::plot3dEncoding;
using tamble::plot3dForm;
using tamble::testing::testBlock;

// ---- Round trips over every form -----------------------------------------

struct gridCase {
  plot3dForm form;
  std::vector<std::vector<int>> dims;  // ni nj nk per block
};

std::string caseName(const ::testing::TestParamInfo<gridCase>& info) {
  std::string n = tamble::formText(info.param.form);
  for (char& c : n)
    if (c == ' ' || c == '-') c = '_';
  n += "_" + std::to_string(info.param.dims.size()) + "blocks";
  if (info.param.dims[0][2] > 1) n += "_volume";
  return n;
}

std::vector<gridCase> gridCases() {
  std::vector<gridCase> cases;
  const std::vector<std::vector<int>> surface{{7, 5, 1}}, volume{{4, 3, 5}},
      several{{6, 4, 1}, {3, 3, 2}, {1, 9, 1}};
  for (auto encoding : {plot3dEncoding::unformatted, plot3dEncoding::binary, plot3dEncoding::ascii})
    for (bool dbl : {false, true}) {
      for (bool big : {false, true}) {
        if (encoding == plot3dEncoding::ascii && big) continue;
        cases.push_back({{encoding, dbl, true, big}, several});
      }
      cases.push_back({{encoding, dbl, false, false}, surface});
      cases.push_back({{encoding, dbl, false, false}, volume});
      cases.push_back({{encoding, dbl, true, false}, volume});
    }
  return cases;
}

class Plot3dForms : public tamble::testing::tempFolderTest,
                    public ::testing::WithParamInterface<gridCase> {};

// What a reader may give back for a written value: single precision keeps
// the float.
double stored(double v, const plot3dForm& form) {
  return form.doublePrecision ? v : static_cast<double>(static_cast<float>(v));
}

bool same(double read, double written, const plot3dForm& form) {
  if (form.doublePrecision) return read == written;
  return static_cast<float>(read) == static_cast<float>(written);
}

TEST_P(Plot3dForms, GridReadsBackWithoutAHint) {
  const gridCase& c = GetParam();
  std::vector<zel::meshBlock> blocks;
  for (std::size_t b = 0; b < c.dims.size(); ++b)
    blocks.push_back(testBlock(c.dims[b][0], c.dims[b][1], c.dims[b][2], 0.37 + 2.0 * b));
  const std::string file = path("grid.xyz");
  tamble::writePlot3dGrid(file, blocks, c.form);
  plot3dForm found;
  const auto read = tamble::readPlot3dGrid(file, {}, &found);
  EXPECT_EQ(found.encoding, c.form.encoding);
  EXPECT_EQ(found.multiBlock, c.form.multiBlock);
  if (c.form.encoding != plot3dEncoding::ascii) {
    EXPECT_EQ(found.doublePrecision, c.form.doublePrecision);
    EXPECT_EQ(found.bigEndian, c.form.bigEndian);
  }
  ASSERT_EQ(read.size(), blocks.size());
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    EXPECT_EQ(read[b].ni, blocks[b].ni);
    EXPECT_EQ(read[b].nj, blocks[b].nj);
    EXPECT_EQ(read[b].nk, blocks[b].nk);
    ASSERT_EQ(read[b].count(), blocks[b].count());
    for (std::size_t n = 0; n < blocks[b].count(); ++n) {
      const auto &r = read[b].nodes[n], &w = blocks[b].nodes[n];
      ASSERT_TRUE(same(r.x, w.x, c.form) && same(r.y, w.y, c.form) && same(r.z, w.z, c.form))
          << "block " << b << " node " << n;
    }
  }
  // The hint of the written form reads the same.
  const auto hinted = tamble::readPlot3dGrid(file, c.form);
  ASSERT_EQ(hinted.size(), read.size());
  EXPECT_EQ(hinted.back().nodes.back(), read.back().nodes.back());
}

TEST_P(Plot3dForms, FunctionsReadBackWithTheSentinel) {
  const gridCase& c = GetParam();
  std::vector<tamble::plot3dFunctionBlock> blocks;
  for (std::size_t b = 0; b < c.dims.size(); ++b) {
    tamble::plot3dFunctionBlock f{c.dims[b][0], c.dims[b][1], c.dims[b][2], {}};
    const std::size_t n = static_cast<std::size_t>(f.ni * f.nj * f.nk);
    for (int v = 0; v < 2; ++v) {
      std::vector<double> values(n);
      for (std::size_t i = 0; i < n; ++i)
        values[i] = (i % 3 == 1) ? zel::field_data<double>::missing : 0.1 * i - v + 0.3 * b;
      f.values.push_back(values);
    }
    blocks.push_back(f);
  }
  const std::string file = path("grid.f");
  tamble::writePlot3dFunctions(file, blocks, c.form);
  const auto read = tamble::readPlot3dFunctions(file);
  ASSERT_EQ(read.size(), blocks.size());
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    ASSERT_EQ(read[b].values.size(), 2u);
    EXPECT_EQ(read[b].nk, blocks[b].nk);
    for (std::size_t v = 0; v < 2; ++v)
      for (std::size_t i = 0; i < blocks[b].values[v].size(); ++i)
        ASSERT_TRUE(same(read[b].values[v][i], blocks[b].values[v][i], c.form))
            << "block " << b << " function " << v << " node " << i;
  }
  // -1e10 is exact in single precision too: the missing nodes stay missing.
  EXPECT_EQ(read[0].values[0][1], zel::field_data<double>::missing);
  EXPECT_EQ(stored(zel::field_data<double>::missing, c.form), zel::field_data<double>::missing);
}

INSTANTIATE_TEST_SUITE_P(EveryForm, Plot3dForms, ::testing::ValuesIn(gridCases()), caseName);

// ---- Files made by hand, in the known layouts ----------------------------

// Little-endian bytes of ints and reals, with Fortran record markers when asked.
class bytesOut {
 public:
  bytesOut& i32(std::int32_t v) { return put(std::bit_cast<std::uint32_t>(v), 4); }
  bytesOut& f32(float v) { return put(std::bit_cast<std::uint32_t>(v), 4); }
  bytesOut& f64(double v) { return put(std::bit_cast<std::uint64_t>(v), 8); }
  bytesOut& put(std::uint64_t w, int n) {
    for (int i = 0; i < n; ++i) text.push_back(static_cast<char>((w >> (8 * i)) & 0xff));
    return *this;
  }
  std::string text;
};

std::string record(const std::string& data) {
  bytesOut m;
  m.i32(static_cast<std::int32_t>(data.size()));
  return m.text + data + m.text;
}

// One 2 x 1 x 1 block at (1, 2, 3) and (4, 5, 6): x0 x1 y0 y1 z0 z1.
const double handX[2] = {1.5, 4.0}, handY[2] = {-2.0, 5.25}, handZ[2] = {3.0, 6.5};

std::string handCoordinates(bool dbl) {
  bytesOut o;
  for (const double* c : {handX, handY, handZ})
    for (int i = 0; i < 2; ++i) dbl ? o.f64(c[i]) : o.f32(static_cast<float>(c[i]));
  return o.text;
}

struct handCase {
  const char* name;
  std::string bytes;
};

std::vector<handCase> handCases() {
  const std::string dims = bytesOut().i32(2).i32(1).i32(1).text;
  const std::string one = bytesOut().i32(1).text;
  bytesOut iblank;
  iblank.i32(1).i32(0);
  return {
      {"unformatted_multi_single", record(one) + record(dims) + record(handCoordinates(false))},
      {"unformatted_multi_double", record(one) + record(dims) + record(handCoordinates(true))},
      {"unformatted_one_block_double", record(dims) + record(handCoordinates(true))},
      {"unformatted_with_iblank",
       record(one) + record(dims) + record(handCoordinates(false) + iblank.text)},
      {"binary_multi_double", one + dims + handCoordinates(true)},
      {"binary_one_block_single", dims + handCoordinates(false)},
      {"ascii_multi", "1\n2 1 1\n1.5 4.0\n-2 5.25\n3.0 6.5\n"},
      {"ascii_fortran_exponents", "  1\n  2  1  1\n 0.15D+01 0.4D1 -0.2E+01 5.25 3 6.5D0\n"},
      {"ascii_one_block", "2 1 1\n1.5 4 -2 5.25 3 6.5\n"},
  };
}

class Plot3dHandMade : public tamble::testing::tempFolderTest,
                       public ::testing::WithParamInterface<handCase> {};

TEST_P(Plot3dHandMade, ReadsTheNodes) {
  const std::string file = path("hand.x");
  tamble::testing::writeText(file, GetParam().bytes);
  const auto blocks = tamble::readPlot3dGrid(file);
  ASSERT_EQ(blocks.size(), 1u);
  ASSERT_EQ(blocks[0].ni, 2);
  ASSERT_EQ(blocks[0].nj, 1);
  ASSERT_EQ(blocks[0].nk, 1);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(blocks[0].nodes[static_cast<std::size_t>(i)],
              zel::xyzVec<double>(handX[i], handY[i], handZ[i]))
        << "node " << i;
}

INSTANTIATE_TEST_SUITE_P(KnownLayouts, Plot3dHandMade, ::testing::ValuesIn(handCases()),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Damaged and lying files ---------------------------------------------

struct badCase {
  const char* name;
  std::string bytes;
  const char* why;  // a part of the message
};

std::vector<badCase> badCases() {
  const std::string one = bytesOut().i32(1).text;
  const std::string dims = bytesOut().i32(2).i32(1).i32(1).text;
  const std::string good = record(one) + record(dims) + record(handCoordinates(true));
  // 2^31 nodes claimed by a 100-byte file.
  std::string lying = bytesOut().i32(1).i32(65536).i32(32768).i32(1).text;
  lying.resize(100, '\x01');
  std::string lyingUnformatted =
      record(one) + record(bytesOut().i32(1 << 30).i32(2).i32(1).text);
  lyingUnformatted.resize(100, '\x02');
  std::string badMarker = good;
  badMarker[badMarker.size() - 1] = '\x7f';
  std::string nan = good;
  const double q = std::numeric_limits<double>::quiet_NaN();
  const std::string nanBytes = bytesOut().f64(q).text;
  nan.replace(nan.size() - 4 - 8, 8, nanBytes);
  return {
      {"empty", "", "is empty"},
      {"claims_2e31_nodes_binary", lying, "PLOT3D"},
      {"claims_2e30_nodes_unformatted", lyingUnformatted, "more than the file can hold"},
      {"negative_dimension",
       record(one) + record(bytesOut().i32(2).i32(-1).i32(1).text) + record(handCoordinates(true)),
       "dimensions 2 x -1 x 1"},
      {"zero_blocks", record(bytesOut().i32(0).text) + record(dims), "block count 0"},
      {"truncated", good.substr(0, good.size() - 10), "more than the file holds"},
      {"mismatched_marker", badMarker, "ends in a marker"},
      {"trailing_bytes", good + "abcd", "follow the last block"},
      {"nan_coordinate", nan, "not a finite number"},
      {"record_of_wrong_size",
       record(one) + record(dims) + record(handCoordinates(true).substr(0, 40)),
       "fits neither precision"},
      {"ascii_too_few_numbers", "1\n2 1 1\n1 2 3 4 5\n", "asks for 10 numbers"},
      {"ascii_one_block_too_many", "2 1 1\n1 2 3 4 5 6 7\n", "asks for 9 numbers"},
      {"ascii_not_a_number", "1\n2 1 1\n1 2 3 4 5 6e\n", "\"6e\" is not a number"},
      {"ascii_nan", "1\n2 1 1\n1 2 3 4 5 nan\n", "not a finite number"},
      {"ascii_sign_alone", "1\n2 1 1\n1 2 3 4 5 -\n", "\"-\" is not a number"},
      {"ascii_lying_header", "1\n2000000000 2000000000 1\n1 2 3\n", "more than the file"},
  };
}

class Plot3dRefusals : public tamble::testing::tempFolderTest,
                       public ::testing::WithParamInterface<badCase> {};

TEST_P(Plot3dRefusals, NameTheFileAndTheFault) {
  const std::string file = path("bad.x");
  tamble::testing::writeText(file, GetParam().bytes);
  largest = 0;
  watching = true;
  try {
    tamble::readPlot3dGrid(file);
    watching = false;
    FAIL() << "read";
  } catch (const zel::FileError& e) {
    watching = false;
    const std::string message = e.message;
    EXPECT_NE(message.find(file), std::string::npos) << message;
    EXPECT_NE(message.find(GetParam().why), std::string::npos) << message;
  }
  // Nothing much larger than the file was made: a stream's buffer, texts,
  // the file's bytes, not the gigabytes its header claims.
  EXPECT_LT(largest.load(), 65536u + 8 * GetParam().bytes.size());
}

INSTANTIATE_TEST_SUITE_P(DamagedFiles, Plot3dRefusals, ::testing::ValuesIn(badCases()),
                         [](const auto& info) { return std::string(info.param.name); });

class Plot3dFiles : public tamble::testing::tempFolderTest {};

// A hint is obeyed: a file of another form is refused, not guessed.
TEST_F(Plot3dFiles, AWrongHintIsRefused) {
  const std::string file = path("g.x");
  tamble::writePlot3dGrid(file, {testBlock(3, 2, 1, 0.5)},
                          {plot3dEncoding::unformatted, false, true, false});
  const plot3dForm wrong[] = {{plot3dEncoding::unformatted, true, true, false},
                              {plot3dEncoding::binary, false, true, false},
                              {plot3dEncoding::unformatted, false, false, false},
                              {plot3dEncoding::unformatted, false, true, true}};
  for (const plot3dForm& hint : wrong)
    EXPECT_THROW(tamble::readPlot3dGrid(file, hint), zel::FileError) << tamble::formText(hint);
}

TEST_F(Plot3dFiles, WriterRefusesWhatCannotBeRead) {
  auto bad = testBlock(3, 2, 1, 0.5);
  bad.nodes[4].y = std::nan("");
  auto wrongCount = testBlock(3, 2, 1, 0.5);
  wrongCount.nj = 3;
  const std::string file = path("w.x");
  tamble::testing::writeText(file, "old");
  EXPECT_THROW(tamble::writePlot3dGrid(file, {bad}), zel::FileError);
  EXPECT_THROW(tamble::writePlot3dGrid(file, {wrongCount}), zel::FileError);
  EXPECT_THROW(tamble::writePlot3dGrid(file, {}), zel::FileError);
  EXPECT_THROW(tamble::writePlot3dGrid(file, {testBlock(2, 2, 1, 0), testBlock(2, 2, 1, 1)},
                                       {plot3dEncoding::binary, true, false, false}),
               zel::FileError);
  EXPECT_EQ(tamble::testing::readText(file), "old");
}

TEST(Plot3dFormText, ParsesWordsInAnyOrder) {
  const struct {
    const char* text;
    bool valid;
    plot3dForm form;
  } rows[] = {
      {"", true, {}},
      {"ascii", true, {plot3dEncoding::ascii, true, true, false}},
      {"single, binary", true, {plot3dEncoding::binary, false, true, false}},
      {"big single-block double unformatted", true,
       {plot3dEncoding::unformatted, true, false, true}},
      {"ascii binary", false, {}},
      {"double single", false, {}},
      {"fortran", false, {}},
      {"Binary", false, {}},
  };
  for (const auto& row : rows) {
    const auto form = tamble::parseForm(row.text);
    ASSERT_EQ(form.has_value(), row.valid) << row.text;
    if (form) {
      EXPECT_EQ(*form, row.form) << row.text;
      EXPECT_EQ(tamble::parseForm(tamble::formText(*form)), form) << row.text;
    }
  }
}

}  // namespace

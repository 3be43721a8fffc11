// PLOT3D grids and function files: detection of the form, checks of the
// headers against the file's length, decoding and writing.
#include "host/plot3d.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "api/errors.h"
#include "api/numbers.h"
#include "host/atomicFile.h"

namespace tamble {
namespace {

// What a file holds: a grid has three header ints per block (ni nj nk) and
// three values per node; a function file four ints (ni nj nk nvars) and
// nvars values per node.
enum class content { grid, functions };

struct shape {
  std::int64_t ni = 0, nj = 0, nk = 0, nvars = 3;
  std::uint64_t nodes = 0;
};

// A file read and understood: the form, the blocks' shapes and their values
// (per block, nvars runs of `nodes` values).
struct decoded {
  plot3dForm form;
  std::vector<shape> shapes;
  std::vector<std::vector<double>> values;
};

int headerInts(content c) { return c == content::grid ? 3 : 4; }

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  zel::raise<zel::FileError>(path + ": " + what);
}

std::vector<unsigned char> fileBytes(const std::string& path) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(path, ec);
  if (ec) fail(path, "cannot be read (" + ec.message() + ")");
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(path, "cannot be opened");
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
  if (size > 0 && !in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size)))
    fail(path, "cannot be read");
  return bytes;
}

// Little- or big-endian numbers at byte offsets of the file.
class byteView {
 public:
  byteView(const std::vector<unsigned char>& b, bool big) : bytes(b), bigEndian(big) {}
  std::size_t size() const { return bytes.size(); }
  std::int32_t int32(std::size_t at) const { return std::bit_cast<std::int32_t>(load<4>(at)); }
  double real(std::size_t at, bool dbl) const {
    if (dbl) return std::bit_cast<double>(load<8>(at));
    return static_cast<double>(std::bit_cast<float>(load<4>(at)));
  }

 private:
  template <int N>
  std::conditional_t<N == 4, std::uint32_t, std::uint64_t> load(std::size_t at) const {
    using word = std::conditional_t<N == 4, std::uint32_t, std::uint64_t>;
    word w = 0;
    for (int i = 0; i < N; ++i) {
      const int shift = bigEndian ? 8 * (N - 1 - i) : 8 * i;
      w |= static_cast<word>(bytes[at + static_cast<std::size_t>(i)]) << shift;
    }
    return w;
  }
  const std::vector<unsigned char>& bytes;
  bool bigEndian;
};

// Shapes from the header's ints. Every dimension at least 1, and no block
// with more nodes than `limit` (the file could not hold them): a lying
// header is refused here, before anything of its size exists.
std::string shapesOf(const std::vector<std::int64_t>& ints, content c, std::uint64_t limit,
                     std::vector<shape>& out) {
  const int per = headerInts(c);
  out.clear();
  for (std::size_t b = 0; b * per < ints.size(); ++b) {
    const std::int64_t* d = &ints[b * static_cast<std::size_t>(per)];
    const std::string block = "block " + std::to_string(b + 1);
    shape s{d[0], d[1], d[2], c == content::grid ? 3 : d[3], 0};
    if (s.ni < 1 || s.nj < 1 || s.nk < 1)
      return block + " has the dimensions " + std::to_string(s.ni) + " x " + std::to_string(s.nj) +
             " x " + std::to_string(s.nk);
    if (s.nvars < 1 || static_cast<std::uint64_t>(s.nvars) > limit)
      return block + " claims " + std::to_string(s.nvars) + " functions";
    std::uint64_t n = 1;
    for (std::int64_t dim : {s.ni, s.nj, s.nk}) {
      if (static_cast<std::uint64_t>(dim) > limit / n)
        return block + " claims " + std::to_string(s.ni) + " x " + std::to_string(s.nj) + " x " +
               std::to_string(s.nk) + " nodes, more than the file can hold";
      n *= static_cast<std::uint64_t>(dim);
    }
    if (static_cast<std::uint64_t>(s.nvars) > limit / n)
      return block + " claims more values than the file can hold";
    s.nodes = n;
    out.push_back(s);
  }
  return {};
}

bool finite(double v) { return std::isfinite(v); }

std::string badValue(content c, std::size_t block) {
  return "block " + std::to_string(block + 1) + " holds a " +
         (c == content::grid ? "coordinate" : "value") + " that is not a finite number";
}

// ---- Layouts ---------------------------------------------------------------

// Where the values of each block stand in one reading of the file: byte
// offsets (binary forms) or token indices (ASCII). `why` is empty when the
// reading fits the file exactly.
struct layout {
  plot3dForm form;
  bool iblank = false;
  std::vector<shape> shapes;
  std::vector<std::size_t> starts;
  std::string why;
};

layout refused(layout l, std::string why) {
  l.why = std::move(why);
  return l;
}

std::vector<std::int64_t> intsAt(const byteView& v, std::size_t at, std::size_t count) {
  std::vector<std::int64_t> ints(count);
  for (std::size_t i = 0; i < count; ++i) ints[i] = v.int32(at + 4 * i);
  return ints;
}

// The Fortran record at `pos`: a 4-byte length, the data, the same length.
// Answers the data's offset and length, or why there is no such record.
std::string recordAt(const byteView& v, std::size_t pos, std::size_t& offset,
                     std::size_t& length) {
  if (pos + 4 > v.size()) return "a record is cut off at byte " + std::to_string(pos);
  const std::int32_t n = v.int32(pos);
  if (n < 0 || static_cast<std::size_t>(n) > v.size() - pos - 4 ||
      v.size() - pos - 4 - static_cast<std::size_t>(n) < 4)
    return "the record at byte " + std::to_string(pos) + " claims " + std::to_string(n) +
           " bytes, more than the file holds";
  const std::size_t end = pos + 4 + static_cast<std::size_t>(n);
  if (v.int32(end) != n)
    return "the record at byte " + std::to_string(pos) + " ends in a marker of " +
           std::to_string(v.int32(end)) + " where " + std::to_string(n) + " was expected";
  offset = pos + 4;
  length = static_cast<std::size_t>(n);
  return {};
}

// Fortran unformatted: [count], dimensions, then one record per block whose
// length gives the precision (and whether an iblank array follows).
layout planUnformatted(const byteView& v, plot3dForm form, content c) {
  layout l{form, false, {}, {}, {}};
  std::size_t pos = 0, offset = 0, length = 0, blocks = 1;
  const std::size_t per = static_cast<std::size_t>(headerInts(c));
  std::string why;
  if (form.multiBlock) {
    if (!(why = recordAt(v, pos, offset, length)).empty()) return refused(l, why);
    if (length != 4)
      return refused(l, "the first record holds " + std::to_string(length) +
                            " bytes, not a block count");
    const std::int32_t nb = v.int32(offset);
    if (nb < 1 || static_cast<std::size_t>(nb) > v.size() / 16)
      return refused(l, "the block count " + std::to_string(nb) + " does not fit the file");
    blocks = static_cast<std::size_t>(nb);
    pos = offset + length + 4;
  }
  if (!(why = recordAt(v, pos, offset, length)).empty()) return refused(l, why);
  if (length != 4 * per * blocks)
    return refused(l, "the dimensions record holds " + std::to_string(length) + " bytes where " +
                          std::to_string(blocks) + " block(s) need " +
                          std::to_string(4 * per * blocks));
  if (!(why = shapesOf(intsAt(v, offset, per * blocks), c, v.size(), l.shapes)).empty())
    return refused(l, why);
  pos = offset + length + 4;
  for (std::size_t b = 0; b < blocks; ++b) {
    const shape& s = l.shapes[b];
    if (!(why = recordAt(v, pos, offset, length)).empty()) return refused(l, why);
    const std::uint64_t reals = s.nodes * static_cast<std::uint64_t>(s.nvars);
    const std::uint64_t iblank = c == content::grid ? 4 * s.nodes : 0;
    bool dbl = false, withIblank = false;
    if (length == 8 * reals || length == 4 * reals) {
      dbl = length == 8 * reals;
    } else if (iblank && (length == 8 * reals + iblank || length == 4 * reals + iblank)) {
      dbl = length == 8 * reals + iblank;
      withIblank = true;
    } else {
      return refused(l, "block " + std::to_string(b + 1) + " has a record of " +
                            std::to_string(length) + " bytes, which fits neither precision");
    }
    if (b > 0 && (dbl != l.form.doublePrecision || withIblank != l.iblank))
      return refused(l, "block " + std::to_string(b + 1) + " is written unlike block 1");
    l.form.doublePrecision = dbl;
    l.iblank = withIblank;
    l.starts.push_back(offset);
    pos = offset + length + 4;
  }
  if (pos != v.size())
    return refused(l, std::to_string(v.size() - pos) + " bytes follow the last block");
  return l;
}

// Plain binary: the same numbers without record markers; the header's
// shapes must account for the file's length exactly.
layout planBinary(const byteView& v, const plot3dForm& form, bool iblank, content c) {
  layout l{form, iblank, {}, {}, {}};
  const std::size_t per = static_cast<std::size_t>(headerInts(c));
  std::size_t blocks = 1, pos = 0;
  if (form.multiBlock) {
    if (v.size() < 4) return refused(l, "the file is too short for a block count");
    const std::int32_t nb = v.int32(0);
    if (nb < 1 || static_cast<std::size_t>(nb) > v.size() / 16)
      return refused(l, "the block count " + std::to_string(nb) + " does not fit the file");
    blocks = static_cast<std::size_t>(nb);
    pos = 4;
  }
  if (pos + 4 * per * blocks > v.size()) return refused(l, "the header is cut off");
  std::string why = shapesOf(intsAt(v, pos, per * blocks), c, v.size(), l.shapes);
  if (!why.empty()) return refused(l, why);
  std::uint64_t at = pos + 4 * per * blocks;
  for (const shape& s : l.shapes) {
    l.starts.push_back(static_cast<std::size_t>(at));
    at += s.nodes * static_cast<std::uint64_t>(s.nvars) * (form.doublePrecision ? 8 : 4) +
          (iblank ? 4 * s.nodes : 0);
  }
  if (at != v.size())
    return refused(l, "the header asks for " + std::to_string(at) + " bytes, the file holds " +
                          std::to_string(v.size()));
  return l;
}

decoded decodeBinary(const std::vector<unsigned char>& bytes, const layout& l, content c,
                     const std::string& path) {
  const byteView v(bytes, l.form.bigEndian);
  decoded out{l.form, l.shapes, {}};
  const bool dbl = l.form.doublePrecision;
  for (std::size_t b = 0; b < l.shapes.size(); ++b) {
    const shape& s = l.shapes[b];
    std::vector<double> values(static_cast<std::size_t>(s.nodes * static_cast<std::uint64_t>(s.nvars)));
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = v.real(l.starts[b] + i * (dbl ? 8 : 4), dbl);
      if (!finite(values[i])) fail(path, badValue(c, b));
    }
    out.values.push_back(std::move(values));
  }
  return out;
}

// A file that opens with a record marker (4 before a block count, the
// header's size before a single block's dimensions) closed by the same
// number, in either byte order: the unformatted form it was meant to be.
std::optional<plot3dForm> opensWithRecord(const std::vector<unsigned char>& bytes, content c) {
  for (bool big : {false, true}) {
    const byteView v(bytes, big);
    if (v.size() < 8) return std::nullopt;
    const std::int32_t m = v.int32(0);
    if ((m == 4 || m == 4 * headerInts(c)) && v.size() >= static_cast<std::size_t>(m) + 8 &&
        v.int32(static_cast<std::size_t>(m) + 4) == m)
      return plot3dForm{plot3dEncoding::unformatted, true, m == 4, big};
  }
  return std::nullopt;
}

decoded readBinaryForms(const std::vector<unsigned char>& bytes,
                        const std::optional<plot3dForm>& hint, content c,
                        const std::string& path) {
  std::vector<layout> tried;
  for (bool big : {false, true})
    for (bool multi : {true, false}) {
      plot3dForm unf{plot3dEncoding::unformatted, true, multi, big};
      if (!hint || (hint->encoding == unf.encoding && hint->multiBlock == multi &&
                    hint->bigEndian == big)) {
        layout l = planUnformatted(byteView(bytes, big), unf, c);
        if (hint && l.why.empty() && l.form.doublePrecision != hint->doublePrecision)
          l.why = std::string("is not in ") + (hint->doublePrecision ? "double" : "single") +
                  " precision";
        tried.push_back(std::move(l));
      }
      for (bool dbl : {true, false})
        for (bool iblank : {false, true}) {
          const plot3dForm bin{plot3dEncoding::binary, dbl, multi, big};
          if ((iblank && c != content::grid) || (hint && !(*hint == bin))) continue;
          tried.push_back(planBinary(byteView(bytes, big), bin, iblank, c));
        }
    }
  std::vector<const layout*> fits;
  for (const layout& l : tried)
    if (l.why.empty()) fits.push_back(&l);
  if (fits.size() > 1)
    fail(path, "fits both \"" + formText(fits[0]->form) + "\" and \"" + formText(fits[1]->form) +
                   "\"; give its form");
  if (fits.size() == 1) return decodeBinary(bytes, *fits[0], c, path);
  if (hint) fail(path, tried.front().why);
  // Say why the likeliest reading failed.
  if (const auto meant = opensWithRecord(bytes, c))
    for (const layout& l : tried)
      if (l.form.encoding == plot3dEncoding::unformatted &&
          l.form.multiBlock == meant->multiBlock && l.form.bigEndian == meant->bigEndian)
        fail(path, "as a Fortran unformatted file: " + l.why);
  fail(path, "is no PLOT3D file of any form (as plain binary: " + tried[1].why + ")");
}

// ---- ASCII ----------------------------------------------------------------

bool isBlank(unsigned char ch) {
  return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\r' || ch == ',';
}

std::vector<std::string_view> tokensOf(const std::vector<unsigned char>& bytes) {
  std::vector<std::string_view> tokens;
  const char* text = reinterpret_cast<const char*>(bytes.data());
  std::size_t i = 0;
  while (i < bytes.size()) {
    while (i < bytes.size() && isBlank(bytes[i])) ++i;
    const std::size_t start = i;
    while (i < bytes.size() && !isBlank(bytes[i])) ++i;
    if (i > start) tokens.emplace_back(text + start, i - start);
  }
  return tokens;
}

// How many numbers the first line that holds any holds.
std::size_t firstLineNumbers(const std::vector<unsigned char>& bytes) {
  std::size_t count = 0, i = 0;
  while (i < bytes.size()) {
    while (i < bytes.size() && isBlank(bytes[i]) && !(count > 0 && bytes[i] == '\n')) ++i;
    if (i == bytes.size() || bytes[i] == '\n') break;
    ++count;
    while (i < bytes.size() && !isBlank(bytes[i])) ++i;
  }
  return count;
}

std::optional<std::int64_t> intToken(std::string_view t) {
  std::int64_t v = 0;
  const auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
  if (ec != std::errc() || end != t.data() + t.size()) return std::nullopt;
  return v;
}

// A real written by C or Fortran: "1.5", "-2e3", "1.5D+02".
std::optional<double> realToken(std::string_view t) {
  char buffer[64];
  if (t.size() >= sizeof buffer) return std::nullopt;
  for (std::size_t i = 0; i < t.size(); ++i)
    buffer[i] = (t[i] == 'd' || t[i] == 'D') ? 'e' : t[i];
  std::string_view s(buffer, t.size());
  if (!s.empty() && s.front() == '+') s.remove_prefix(1);
  double v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
  return v;
}

// ASCII as multi- or single-block: the number of numbers in the file must
// be exactly what the header asks for.
layout planAscii(const std::vector<std::string_view>& tokens, bool multi, bool iblank, content c) {
  layout l{{plot3dEncoding::ascii, true, multi, false}, iblank, {}, {}, {}};
  const std::size_t per = static_cast<std::size_t>(headerInts(c));
  std::size_t blocks = 1, pos = 0;
  if (multi) {
    const auto nb = tokens.empty() ? std::nullopt : intToken(tokens[0]);
    if (!nb || *nb < 1 || static_cast<std::size_t>(*nb) > tokens.size() / 4)
      return refused(l, "the first number is no block count that fits the file");
    blocks = static_cast<std::size_t>(*nb);
    pos = 1;
  }
  if (pos + per * blocks > tokens.size()) return refused(l, "the header is cut off");
  std::vector<std::int64_t> ints;
  for (std::size_t i = 0; i < per * blocks; ++i) {
    const auto v = intToken(tokens[pos + i]);
    if (!v) return refused(l, "the header holds \"" + std::string(tokens[pos + i]) + "\"");
    ints.push_back(*v);
  }
  std::string why = shapesOf(ints, c, tokens.size(), l.shapes);
  if (!why.empty()) return refused(l, why);
  std::uint64_t at = pos + per * blocks;
  for (const shape& s : l.shapes) {
    l.starts.push_back(static_cast<std::size_t>(at));
    at += s.nodes * static_cast<std::uint64_t>(s.nvars) + (iblank ? s.nodes : 0);
  }
  if (at != tokens.size())
    return refused(l, "the header asks for " + std::to_string(at) + " numbers, the file holds " +
                          std::to_string(tokens.size()));
  return l;
}

decoded readAscii(const std::vector<unsigned char>& bytes, const std::optional<plot3dForm>& hint,
                  content c, const std::string& path) {
  const auto tokens = tokensOf(bytes);
  // A block count stands alone on the first line; a single block's
  // dimensions fill it. Other first lines leave both readings open.
  const std::size_t first = firstLineNumbers(bytes);
  std::vector<layout> fits;
  std::string firstWhy;
  for (bool multi : {true, false}) {
    if (hint && hint->multiBlock != multi) continue;
    if (!hint && first == 1 && !multi) continue;
    if (!hint && first == static_cast<std::size_t>(headerInts(c)) && multi) continue;
    for (bool iblank : {false, true}) {
      if (iblank && c != content::grid) continue;
      layout l = planAscii(tokens, multi, iblank, c);
      if (l.why.empty())
        fits.push_back(std::move(l));
      else if (firstWhy.empty())
        firstWhy = l.why;
    }
  }
  if (fits.empty()) fail(path, firstWhy);
  if (fits.size() > 1) fail(path, "reads as more than one ASCII layout; give its form");
  const layout& l = fits[0];
  decoded out{l.form, l.shapes, {}};
  if (hint) out.form.doublePrecision = hint->doublePrecision;
  for (std::size_t b = 0; b < l.shapes.size(); ++b) {
    const shape& s = l.shapes[b];
    std::vector<double> values(static_cast<std::size_t>(s.nodes * static_cast<std::uint64_t>(s.nvars)));
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string_view t = tokens[l.starts[b] + i];
      const auto v = realToken(t);
      if (!v) fail(path, "\"" + std::string(t) + "\" is not a number");
      if (!finite(*v)) fail(path, badValue(c, b));
      values[i] = *v;
    }
    out.values.push_back(std::move(values));
  }
  return out;
}

// ---- Detection ------------------------------------------------------------

// Text: the first 64 bytes are printable characters, blanks and line ends.
// A binary file's first int (a count, a dimension or a record marker) has a
// zero byte.
bool looksAscii(const std::vector<unsigned char>& bytes) {
  const std::size_t n = std::min<std::size_t>(bytes.size(), 64);
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned char ch = bytes[i];
    if (!((ch >= 0x20 && ch < 0x7f) || ch == '\t' || ch == '\n' || ch == '\r')) return false;
  }
  return n > 0;
}

decoded readAny(const std::string& path, const std::optional<plot3dForm>& hint, content c) {
  const std::vector<unsigned char> bytes = fileBytes(path);
  if (bytes.empty()) fail(path, "is empty");
  const bool ascii = hint ? hint->encoding == plot3dEncoding::ascii : looksAscii(bytes);
  return ascii ? readAscii(bytes, hint, c, path) : readBinaryForms(bytes, hint, c, path);
}

// ---- Writing --------------------------------------------------------------

class encoder {
 public:
  explicit encoder(const plot3dForm& f) : form(f) {}

  void integers(const std::vector<std::int32_t>& values) {
    beginRecord(4 * values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::int32_t v = values[i];
      if (form.encoding == plot3dEncoding::ascii)
        text += std::to_string(v) + (i + 1 == values.size() ? "\n" : " ");
      else
        put(std::bit_cast<std::uint32_t>(v), 4);
    }
    endRecord(4 * values.size());
  }
  // One record of reals; `count` values from `at(i)`.
  template <class At>
  void reals(std::size_t count, At at) {
    const std::size_t bytes = count * (form.doublePrecision ? 8 : 4);
    beginRecord(bytes);
    for (std::size_t i = 0; i < count; ++i) {
      const double v = at(i);
      if (form.encoding == plot3dEncoding::ascii) {
        text += form.doublePrecision ? zel::numberText(v) : zel::numberText(static_cast<float>(v));
        text += (i % 6 == 5 || i + 1 == count) ? "\n" : " ";
      } else if (form.doublePrecision) {
        put(std::bit_cast<std::uint64_t>(v), 8);
      } else {
        put(std::bit_cast<std::uint32_t>(static_cast<float>(v)), 4);
      }
    }
    endRecord(bytes);
  }
  std::string text;

 private:
  void beginRecord(std::size_t bytes) {
    if (form.encoding == plot3dEncoding::unformatted) put(static_cast<std::uint32_t>(bytes), 4);
  }
  void endRecord(std::size_t bytes) { beginRecord(bytes); }
  void put(std::uint64_t word, int n) {
    for (int i = 0; i < n; ++i) {
      const int shift = form.bigEndian ? 8 * (n - 1 - i) : 8 * i;
      text.push_back(static_cast<char>((word >> shift) & 0xff));
    }
  }
  plot3dForm form;
};

void writeText(const std::string& path, const std::string& text) {
  writeAtomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

// A Fortran record holds at most 2^31 - 1 bytes behind its 4-byte markers.
void checkRecord(const std::string& path, std::uint64_t bytes) {
  if (bytes > 0x7fffffffu) fail(path, "a block is too large for a 4-byte record marker");
}

void checkBlockCount(const std::string& path, std::size_t count, const plot3dForm& form) {
  if (count == 0) fail(path, "no block to write");
  if (!form.multiBlock && count != 1)
    fail(path, std::to_string(count) + " blocks cannot be written without a block count");
}

}  // namespace

std::string formText(const plot3dForm& form) {
  static const char* const encodings[] = {"unformatted", "binary", "ascii"};
  return std::string(encodings[static_cast<int>(form.encoding)]) +
         (form.doublePrecision ? " double" : " single") +
         (form.multiBlock ? " multi" : " single-block") + (form.bigEndian ? " big" : " little");
}

std::optional<plot3dForm> parseForm(const std::string& text) {
  plot3dForm form;
  bool seen[4] = {};
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && (text[i] == ' ' || text[i] == ',' || text[i] == '\t')) ++i;
    const std::size_t start = i;
    while (i < text.size() && text[i] != ' ' && text[i] != ',' && text[i] != '\t') ++i;
    const std::string word = text.substr(start, i - start);
    if (word.empty()) break;
    int group;
    if (word == "unformatted" || word == "binary" || word == "ascii") {
      group = 0;
      form.encoding = word == "unformatted" ? plot3dEncoding::unformatted
                      : word == "binary"    ? plot3dEncoding::binary
                                            : plot3dEncoding::ascii;
    } else if (word == "single" || word == "double") {
      group = 1;
      form.doublePrecision = word == "double";
    } else if (word == "multi" || word == "single-block") {
      group = 2;
      form.multiBlock = word == "multi";
    } else if (word == "little" || word == "big") {
      group = 3;
      form.bigEndian = word == "big";
    } else {
      return std::nullopt;
    }
    if (seen[group]) return std::nullopt;
    seen[group] = true;
  }
  return form;
}

std::vector<zel::meshBlock> readPlot3dGrid(const std::string& path,
                                           const std::optional<plot3dForm>& hint,
                                           plot3dForm* found) {
  decoded d = readAny(path, hint, content::grid);
  std::vector<zel::meshBlock> blocks;
  for (std::size_t b = 0; b < d.shapes.size(); ++b) {
    const shape& s = d.shapes[b];
    zel::meshBlock block{static_cast<int>(s.ni), static_cast<int>(s.nj), static_cast<int>(s.nk), {}};
    const std::size_t n = static_cast<std::size_t>(s.nodes);
    const std::vector<double>& v = d.values[b];
    block.nodes.resize(n);
    for (std::size_t i = 0; i < n; ++i) block.nodes[i] = {v[i], v[n + i], v[2 * n + i]};
    blocks.push_back(std::move(block));
  }
  if (found) *found = d.form;
  return blocks;
}

void writePlot3dGrid(const std::string& path, const std::vector<zel::meshBlock>& blocks,
                     const plot3dForm& form) {
  checkBlockCount(path, blocks.size(), form);
  encoder e(form);
  if (form.multiBlock) e.integers({static_cast<std::int32_t>(blocks.size())});
  std::vector<std::int32_t> dims;
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    const zel::meshBlock& block = blocks[b];
    if (block.ni < 1 || block.nj < 1 || block.nk < 1 ||
        static_cast<std::uint64_t>(block.ni) * block.nj * block.nk != block.count())
      fail(path, "block " + std::to_string(b + 1) + " holds " + std::to_string(block.count()) +
                     " nodes, not " + std::to_string(block.ni) + " x " +
                     std::to_string(block.nj) + " x " + std::to_string(block.nk));
    checkRecord(path, block.count() * 3 * (form.doublePrecision ? 8 : 4));
    for (const auto& p : block.nodes)
      if (!finite(p.x) || !finite(p.y) || !finite(p.z)) fail(path, badValue(content::grid, b));
    dims.insert(dims.end(), {block.ni, block.nj, block.nk});
  }
  e.integers(dims);
  for (const zel::meshBlock& block : blocks) {
    const std::size_t n = block.count();
    e.reals(3 * n, [&](std::size_t i) {
      const auto& p = block.nodes[i % n];
      return i < n ? p.x : i < 2 * n ? p.y : p.z;
    });
  }
  writeText(path, e.text);
}

std::vector<plot3dFunctionBlock> readPlot3dFunctions(const std::string& path,
                                                     const std::optional<plot3dForm>& hint,
                                                     plot3dForm* found) {
  decoded d = readAny(path, hint, content::functions);
  std::vector<plot3dFunctionBlock> blocks;
  for (std::size_t b = 0; b < d.shapes.size(); ++b) {
    const shape& s = d.shapes[b];
    plot3dFunctionBlock block{static_cast<int>(s.ni), static_cast<int>(s.nj),
                              static_cast<int>(s.nk), {}};
    const auto n = static_cast<std::ptrdiff_t>(s.nodes);
    const auto& v = d.values[b];
    for (std::int64_t f = 0; f < s.nvars; ++f)
      block.values.emplace_back(v.begin() + f * n, v.begin() + (f + 1) * n);
    blocks.push_back(std::move(block));
  }
  if (found) *found = d.form;
  return blocks;
}

void writePlot3dFunctions(const std::string& path, const std::vector<plot3dFunctionBlock>& blocks,
                          const plot3dForm& form) {
  checkBlockCount(path, blocks.size(), form);
  encoder e(form);
  if (form.multiBlock) e.integers({static_cast<std::int32_t>(blocks.size())});
  std::vector<std::int32_t> dims;
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    const plot3dFunctionBlock& block = blocks[b];
    const std::uint64_t n = static_cast<std::uint64_t>(block.ni) * block.nj * block.nk;
    bool fits = block.ni >= 1 && block.nj >= 1 && block.nk >= 1 && !block.values.empty();
    for (const auto& f : block.values) fits = fits && f.size() == n;
    if (!fits)
      fail(path, "block " + std::to_string(b + 1) + " has no function, or one whose size is not " +
                     std::to_string(block.ni) + " x " + std::to_string(block.nj) + " x " +
                     std::to_string(block.nk));
    checkRecord(path, n * block.values.size() * (form.doublePrecision ? 8 : 4));
    for (const auto& f : block.values)
      for (double v : f)
        if (!finite(v)) fail(path, badValue(content::functions, b));
    dims.insert(dims.end(),
                {block.ni, block.nj, block.nk, static_cast<std::int32_t>(block.values.size())});
  }
  e.integers(dims);
  for (const plot3dFunctionBlock& block : blocks) {
    const std::size_t n = block.values[0].size();
    e.reals(n * block.values.size(), [&](std::size_t i) { return block.values[i / n][i % n]; });
  }
  writeText(path, e.text);
}

}  // namespace tamble

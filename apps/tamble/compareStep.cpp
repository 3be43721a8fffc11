// `tamble compare`: how far an image lies from a true one, over the pixels
// that both hold as valid, optionally away from the model's edge and from
// the markers; the difference can become an image of its own to render.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"

namespace tamble::cli {
namespace {

struct compareOptions {
  int edge = 0;       // pixels this near the edge of the true image's valid region are left out
  double away = 0.0;  // pixels this near a marker of the found image are left out
  std::string diff;   // name of the difference image to add, if any
};

compareOptions compareOptionsOf(const std::vector<std::string>& words) {
  compareOptions o;
  for (const std::string& word : words) {
    const auto [key, text] = splitPair(word, "edge=N, away=R or diff=NAME");
    const auto value = parseNumber(text);
    if (key == "diff") {
      o.diff = text;
    } else if ((key == "edge" || key == "away") && value && *value >= 0) {
      if (key == "edge")
        o.edge = static_cast<int>(*value);
      else
        o.away = *value;
    } else {
      throw usageError("'" + word + "': give edge=N, away=R (not negative) or diff=NAME");
    }
  }
  return o;
}

bool valid(const zel::image& img, int x, int y) {
  return (!img.hasBkgr() || !img.bkgr()(x, y)) && (!img.hasROI() || img.ROI()(x, y));
}

// The pixels compared: valid in both, `edge` pixels inside the true image's
// valid region along both axes, farther than `away` from every marker.
std::vector<bool> judged(const zel::image& found, const zel::image& truth,
                         const compareOptions& o) {
  const int W = truth.width(), H = truth.height(), e = o.edge;
  auto inside = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < W && y < H && valid(truth, x, y);
  };
  std::vector<bool> keep(static_cast<std::size_t>(W) * H, false);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      keep[static_cast<std::size_t>(y) * W + x] = valid(found, x, y) && inside(x, y) &&
                                                  inside(x - e, y) && inside(x + e, y) &&
                                                  inside(x, y - e) && inside(x, y + e);
  if (o.away <= 0) return keep;
  const int r = static_cast<int>(std::ceil(o.away));
  for (const marker& m : found.markers.items)
    for (int y = static_cast<int>(m.y) - r; y <= static_cast<int>(m.y) + r; ++y)
      for (int x = static_cast<int>(m.x) - r; x <= static_cast<int>(m.x) + r; ++x)
        if (x >= 0 && y >= 0 && x < W && y < H && std::hypot(x - m.x, y - m.y) <= o.away)
          keep[static_cast<std::size_t>(y) * W + x] = false;
  return keep;
}

}  // namespace

void compareStep(session& s, const stepArgs& a) {
  const compareOptions o = compareOptionsOf(a.words);
  const zel::image& found = s.image(a.name);
  const zel::image& truth = s.image(a.command);
  if (found.width() != truth.width() || found.height() != truth.height())
    throw stepError("'" + a.name + "' is " + sizeText(found.width(), found.height()) + ", '" +
                    a.command + "' is " + sizeText(truth.width(), truth.height()));
  const std::vector<bool> keep = judged(found, truth, o);
  auto difference = std::make_unique<zel::image>(found.width(), found.height());
  double sum = 0, sumSquares = 0, worst = -1;
  int worstX = 0, worstY = 0;
  std::size_t n = 0;
  for (int y = 0; y < found.height(); ++y)
    for (int x = 0; x < found.width(); ++x) {
      const bool k = keep[static_cast<std::size_t>(y) * found.width() + x];
      const double d = static_cast<double>(found.field()(x, y)) - truth.field()(x, y);
      difference->field()(x, y) = k ? static_cast<float>(d) : 0.0f;
      difference->bkgr()(x, y) = !k;
      if (!k) continue;
      sum += d, sumSquares += d * d, ++n;
      if (std::fabs(d) > worst) worst = std::fabs(d), worstX = x, worstY = y;
    }
  if (n == 0) throw stepError("no pixel is valid in both '" + a.name + "' and '" + a.command + "'");
  auto text = [](double v) { return numberText(v, 4, zel::decimalMark::point); };
  std::printf("pixels=%zu rms=%s worst=%s at %d %d mean=%s\n", n,
              text(std::sqrt(sumSquares / n)).c_str(), text(worst).c_str(), worstX, worstY,
              text(sum / n).c_str());
  if (o.diff.empty()) return;
  if (s.list.find(o.diff)) throw stepError("an image named '" + o.diff + "' is open already");
  difference->setFieldName(o.diff);
  s.list.checkPoint("compare");
  s.list.addImage(difference.release());
  s.list.selectLast();
}

}  // namespace tamble::cli

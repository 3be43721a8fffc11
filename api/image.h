// One picture as the user sees it: a float value plane with its background
// mask and region of interest, its markers, file data and display limits.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "api/arrayWorks.h"
#include "api/bitmap_new.h"
#include "api/markers.h"
#include "api/object.h"

namespace zel {

// Where an image came from. The words are kept and copied for the host's
// file formats; the image model itself reads none of them.
class file_info : public ObjectId {
 public:
  std::int32_t kind = 5;
  std::int16_t version = 1;
  double offset = 0.0;
  double scale = 1.0;
  std::uint64_t words[3] = {};
  std::int16_t tail[2] = {0, 1};

  file_info() : ObjectId("Unnamed") {}
};

// Display limits.
class draw_options {
 public:
  double low = 0.0;
  double high = 0.0;
  double fullLow = 0.0;
  double fullHigh = 0.0;
  double gain = 1.0;
  double offset = 0.0;
  double scale = 1.0;
  std::int32_t step = 1;
  std::int32_t stepY = 1;
  std::int32_t selected = -1;

  draw_options() = default;
  draw_options(double lo, double hi) : low(lo), high(hi), fullLow(lo), fullHigh(hi) {}
  draw_options(const draw_options&) = default;
  draw_options& operator=(const draw_options&) = default;
  virtual void setLimits(const std::pair<double, double>& limits) {
    setLimits(limits.first, limits.second);
  }
  virtual void setLimits(double lo, double hi) {
    low = lo;
    high = hi;
  }
  virtual void setFullLimits(const std::pair<double, double>& limits) {
    fullLow = limits.first;
    fullHigh = limits.second;
  }
  // A new object with both pairs at the present low and high.
  virtual draw_options* clone() const { return new draw_options(low, high); }
  virtual ~draw_options() = default;
};

// A vector plane with its mask; the masks of fresh planes are true.
struct vectorPlane {
  arrayStore<idx<2, float>, 2> data;
  arrayStore<bool, 2> mask;
};

// Three vector planes and their gains. Nothing here makes them; they are only
// carried along when an image is copied.
struct vectorGroup {
  vectorPlane planes[3];
  float gains[2] = {1.0f, 1.0f};
  std::int32_t reserved = 0;
};

class image : public ObjectId {
 public:
  file_info fileInfo;
  markersArray markers;
  // Display flag: the image takes part in a project's conversion (a source
  // or a result); hosts mark such images in their lists.
  bool converted = false;

  image() = default;
  // All three layers, with their first contents (see resetLayers).
  image(int width, int height);
  // Deep: layers, markers, file data, limits. The object's own name is not
  // copied; what identifies an image is the name of its field layer.
  image(const image& other) : ObjectId() { copyFrom(other); }
  image& operator=(const image& other) {
    copyFrom(other);
    return *this;
  }
  ~image() override { clearLayers(); }

  std::size_t size() const override;

  int width() const { return dims[0]; }
  int height() const { return dims[1]; }
  const std::vector<int>& shape() const { return shape_; }

  // Layer accessors: zel::AlgoError "Algorithm error!" if the layer is absent.
  arrayStore<float, 2>& field();
  const arrayStore<float, 2>& field() const;
  arrayStore<bool, 2>& bkgr();
  const arrayStore<bool, 2>& bkgr() const;
  arrayStore<bool, 2>& ROI();
  const arrayStore<bool, 2>& ROI() const;
  vectorGroup& vectorLayers();
  const vectorGroup& vectorLayers() const;

  bool hasField() const { return field_ != nullptr; }
  bool hasBkgr() const { return bkgr_ != nullptr; }
  bool hasROI() const { return roi_ != nullptr; }
  bool hasVectorLayers() const { return vectors_ != nullptr; }

  // The identifying name: that of the field layer.
  const std::string& fieldName() const { return field().name; }
  void setFieldName(const std::string& n) { field().name = n; }

  // The one construction step: sets the extent and allocates the chosen
  // layers uninitialised; file data and limits go back to their defaults.
  void makeLayers(const int (&extent)[2], bool withField, bool withBkgr, bool withROI,
                  int kind = 5);
  void clearLayers();
  // field 0, bkgr false, ROI true everywhere; vector planes zero, masks true.
  void resetLayers();
  void resize(int width, int height);
  void resize(const std::pair<int, int>& extent) { resize(extent.first, extent.second); }
  void resize(const std::vector<int>& extent);
  void copyFrom(const image& other);

  // Limits over the pixels that are not background and lie in the ROI.
  void resetLimits();
  void setLimits(double low, double high);
  std::pair<double, double> limits();
  const draw_options* drawOptions() const { return draw_; }

  // Per-pixel operators. The left image's ROI, where it has one, is the mask.
  // Each needs field and bkgr on the images involved, or zel::AlgoError.
  image& assign(const image& r);
  image& operator+=(const image& r);
  image& operator-=(const image& r);
  image& operator*=(const image& r);
  image& operator/=(const image& r);
  // Over the part of this image that the plain store covers: in the ROI and
  // not background, values are replaced or added to.
  image& assign(const arrayStore<float, 2>& values);
  image& assign(const arrayStore<int, 2>& values);
  image& operator+=(const arrayStore<float, 2>& values);
  image& operator+=(const arrayStore<int, 2>& values);
  image& markBelow(float c);
  image& clipAbove(float c);
  image& clipBelow(float c);
  image& assign(float c);
  image& operator+=(float c);
  image& operator-=(float c);
  image& operator*=(float c);
  image& operator/=(float c);

  void fillField(float value);
  void fillBkgr(bool flag);
  void fillROI(bool flag);

  // The working pair over field and bkgr (zel::AlgoError if either is absent).
  bitmap layers();

 private:
  const mask2d* roiMask() const { return roi_; }
  bool canReuseLayersFor(const image& other) const;
  static bitmap readLayers(const image& r);
  template <class V>
  image& storeOp(const arrayStore<V, 2>& values, bool add);

  draw_options* draw_ = nullptr;
  bool ownsDraw_ = false;
  arrayStore<float, 2>* field_ = nullptr;
  bool ownsField_ = false;
  arrayStore<bool, 2>* bkgr_ = nullptr;
  bool ownsBkgr_ = false;
  arrayStore<bool, 2>* roi_ = nullptr;
  bool ownsROI_ = false;
  int dims[2] = {0, 0};
  vectorGroup* vectors_ = nullptr;
  std::vector<int> shape_ = {0, 0};
};

}  // namespace zel

#include "plugin/memoryCell.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "api/imagesList.h"
#include "api/parallel.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/session.h"

namespace tamble {
namespace {

const char* const cellFree = "Memory Cell is Free";
const char* const noImage = "No Current Image Available";
const char* const differentDimensions = "Different Dimensions";

// The memory-cell notices go to a plain box, which here is a notice.
void notice(const char* text) { message(text, false); }

bool cellIsFree() { return memoryField().width() == 0 || memoryField().height() == 0; }

bool zeroSized(const zel::image& img) { return img.width() == 0 || img.height() == 0; }

// Holds the wait cursor for the length of a command, on every path.
struct waitCursor {
  waitCursor() { wait_cursor(true); }
  ~waitCursor() { wait_cursor(false); }
};

template <class T>
bool sameExtentOrTell(const zel::arrayStore<T, 2>& from, const zel::arrayStore<T, 2>& to,
                      const char* horizontal, const char* vertical) {
  const char* text = nullptr;
  if (from.width() != to.width())
    text = horizontal;
  else if (from.height() != to.height())
    text = vertical;
  if (!text) return true;
  if (!session().quietMode) message(text, false);
  return false;
}

template <class T>
void copyElements(const zel::arrayStore<T, 2>& from, zel::arrayStore<T, 2>& to) {
  if (from.count) std::memcpy(to.data, from.data, from.count * sizeof(T));
}

void rebuild(zel::arrayStore<float, 2>& f, zel::arrayStore<bool, 2>& b, zel::arrayStore<bool, 2>& r,
             int width, int height) {
  f = zel::arrayStore<float, 2>(width, height);
  b = zel::arrayStore<bool, 2>(width, height);
  r = zel::arrayStore<bool, 2>(width, height);
}

// Gives the image the cell's extent with fresh layers. The image stays the
// same image to the user: its name and file data are kept.
void resizeKeepingIdentity(zel::image& img, int width, int height) {
  const std::string name = img.fieldName();
  const zel::file_info file = img.fileInfo;
  img.resize(width, height);
  img.setFieldName(name);
  img.fileInfo = file;
}

void copyImageToCell(zel::image& img) {
  rebuild(memoryField(), memoryBkgr(), memoryROI(), img.width(), img.height());
  copy_bms(img.field(), img.bkgr(), img.ROI(), img.markers, memoryField(), memoryBkgr(),
           memoryROI(), memoryMarkers());
}

// The guard all arithmetic commands share. Answers the image to work on, or
// null after the notice.
zel::image* arithmeticGuard(zel::imagesList& list, bool changesImage) {
  zel::image* img = list.current();
  if (changesImage) list.saveCurrent(true, "");
  if (cellIsFree()) {
    notice(cellFree);
    return nullptr;
  }
  if (!img || zeroSized(*img)) {
    notice(noImage);
    return nullptr;
  }
  if (img->width() != memoryField().width() || img->height() != memoryField().height()) {
    notice(differentDimensions);
    return nullptr;
  }
  list.snapshot();
  return img;
}

// Every pixel, background included: the cell is the one place that computes
// under the mask. `op` updates its first argument from the second.
template <class Op>
bool arithmetic(zel::imagesList& list, bool changesImage, Op op) {
  waitCursor cursor;
  zel::image* img = arithmeticGuard(list, changesImage);
  if (!img) return true;
  zel::arrayStore<float, 2>& x = img->field();
  zel::arrayStore<float, 2>& m = memoryField();
  zel::arrayStore<float, 2>& target = changesImage ? x : m;
  const zel::arrayStore<float, 2>& other = changesImage ? m : x;
  const int w = x.width();
  zel::forEachRow(x.height(), x.count, [&](int y) {
    float* t = target.row(y);
    const float* o = other.row(y);
    for (int i = 0; i < w; ++i) t[i] = op(t[i], o[i]);
  });
  return true;
}

// A divisor "below" 1e-6 is one whose magnitude is strictly smaller.
float safeDivide(float a, float b) { return std::fabs(b) < 1e-6f ? 0.0f : a / b; }

}  // namespace

zel::arrayStore<float, 2>& memoryField() { return session().memory.field; }
zel::arrayStore<bool, 2>& memoryBkgr() { return session().memory.bkgr; }
zel::arrayStore<bool, 2>& memoryROI() { return session().memory.roi; }
zel::markersArray& memoryMarkers() { return session().memory.markers; }
zel::arrayStore<bool, 2>& roiBuffer() { return session().memory.roiBuffer; }
zel::markersArray& markersBuffer() { return session().memory.markersBuffer; }

bool copy_bms(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
              const zel::arrayStore<bool, 2>& roi, const zel::markersArray& markers,
              zel::arrayStore<float, 2>& toField, zel::arrayStore<bool, 2>& toBkgr,
              zel::arrayStore<bool, 2>& toRoi, zel::markersArray& toMarkers) {
  if (!sameExtentOrTell(field, toField, "(copy_bms) BitMaps Have Different Horizontal Dimensions!",
                        "(copy_bms) BitMaps Have Different Vertical Dimensions!"))
    return false;
  copyElements(field, toField);
  copyElements(bkgr, toBkgr);
  copyElements(roi, toRoi);
  toMarkers = markers;
  return true;
}

bool copy_ROI(const zel::arrayStore<bool, 2>& from, zel::arrayStore<bool, 2>& to) {
  if (!sameExtentOrTell(from, to, "(copy_ROI) BitMaps Have Different Horizontal Dimensions!",
                        "(copy_ROI) BitMaps Have Different Vertical Dimensions!"))
    return false;
  copyElements(from, to);
  return true;
}

bool ImageToMemory(zel::imagesList& list) {
  if (!dlgViewImage(list)) return true;
  return CopyToMemory(list);
}

bool CopyToMemory(zel::imagesList& list) {
  zel::image* img = list.current();
  waitCursor cursor;
  if (!img || zeroSized(*img)) {
    notice(noImage);
    return true;
  }
  list.snapshot();
  copyImageToCell(*img);
  return true;
}

bool CopyFromMemory(zel::imagesList& list) {
  zel::image* img = list.current();
  waitCursor cursor;
  list.saveCurrent(true, "");
  if (cellIsFree()) {
    notice(cellFree);
    return true;
  }
  list.snapshot();
  resizeKeepingIdentity(*img, memoryField().width(), memoryField().height());
  copy_bms(memoryField(), memoryBkgr(), memoryROI(), memoryMarkers(), img->field(), img->bkgr(),
           img->ROI(), img->markers);
  return true;
}

bool SwapWithMemory(zel::imagesList& list) {
  zel::image* img = list.current();
  waitCursor cursor;
  if (!img || zeroSized(*img)) {
    notice(noImage);
    return true;
  }
  if (cellIsFree()) {
    notice(cellFree);
    return true;
  }
  list.snapshot();
  zel::arrayStore<float, 2> oldField(memoryField());
  zel::arrayStore<bool, 2> oldBkgr(memoryBkgr());
  zel::arrayStore<bool, 2> oldROI(memoryROI());
  zel::markersArray oldMarkers(memoryMarkers());
  copyImageToCell(*img);
  resizeKeepingIdentity(*img, oldField.width(), oldField.height());
  copy_bms(oldField, oldBkgr, oldROI, oldMarkers, img->field(), img->bkgr(), img->ROI(),
           img->markers);
  return true;
}

bool MemoryPlusImage(zel::imagesList& list) {
  return arithmetic(list, false, [](float m, float x) { return m + x; });
}
bool MemoryMinusImage(zel::imagesList& list) {
  return arithmetic(list, false, [](float m, float x) { return m - x; });
}
bool MemoryTimesImage(zel::imagesList& list) {
  return arithmetic(list, false, [](float m, float x) { return m * x; });
}
bool MemoryByImage(zel::imagesList& list) { return arithmetic(list, false, safeDivide); }
bool ImageMinusMemory(zel::imagesList& list) {
  return arithmetic(list, true, [](float x, float m) { return x - m; });
}
bool ImageByMemory(zel::imagesList& list) { return arithmetic(list, true, safeDivide); }
bool DeviationFromMemory(zel::imagesList& list) {
  return arithmetic(list, true, [](float x, float m) { return (x - m) * (x - m); });
}

bool ROICopy(zel::imagesList& list) {
  const zel::arrayStore<bool, 2>& roi = list.current()->ROI();
  roiBuffer() = zel::arrayStore<bool, 2>(roi.width(), roi.height());
  copy_ROI(roi, roiBuffer());
  return true;
}

bool ROIPaste(zel::imagesList& list) {
  zel::image* img = list.current();
  const zel::arrayStore<bool, 2>& buffer = roiBuffer();
  const zel::arrayStore<bool, 2>& roi = img->ROI();
  const bool selects =
      std::find(buffer.data, buffer.data + buffer.count, false) != buffer.data + buffer.count;
  if (!selects || !buffer.sameExtent(roi)) return true;
  list.snapshot();
  img->ROI() = zel::arrayStore<bool, 2>(buffer.width(), buffer.height());
  img->ROI().name = "ROI";
  copy_ROI(buffer, img->ROI());
  return true;
}

bool MarkersCopy(zel::imagesList& list) {
  const zel::markersArray& markers = list.current()->markers;
  markersBuffer().resize(markers.count());
  markersBuffer() = markers;
  return true;
}

// More than 1000 markers are not pasted: the limit guards against pasting a
// runaway search result onto an image.
bool MarkersPaste(zel::imagesList& list) {
  const int n = markersBuffer().count();
  if (n == 0 || n > 1000) return true;
  zel::image* img = list.current();
  list.snapshot();
  img->markers.resize(n);
  img->markers = markersBuffer();
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"image-to-m", "MC", "Image -> M ...",
                         "Copies ViewList Image into Memory Cell",
                         "filters.chm::/html/filters_mc0.htm", available::image_is_present,
                         {}, ImageToMemory, {{userChoice::kind::image, "Image"}}}),
    commandRegistration({"x-to-m", "MC", "  X -> M",
                         "Copies Current Image into Memory Cell",
                         "filters.chm::/html/filters_mc1.htm", available::image_is_present,
                         {}, CopyToMemory}),
    commandRegistration({"m-to-x", "MC", "  M -> X",
                         "Copies Memory Cell to Current Image",
                         "filters.chm::/html/filters_mc2.htm", available::image_is_present,
                         {}, CopyFromMemory}),
    commandRegistration({"x-swap-m", "MC", "  X <-> M",
                         "Changes Memory Cell with Current Image",
                         "filters.chm::/html/filters_mc3.htm", available::image_is_present,
                         {}, SwapWithMemory}),
    commandRegistration({"m-plus-x", "MC", "  M + X",
                         "Adds Current Image to Memory Cell",
                         "filters.chm::/html/filters_mc4.htm", available::image_is_present,
                         {}, MemoryPlusImage}),
    commandRegistration({"m-minus-x", "MC", "  M - X",
                         "Subtracts Current Image from Memory Cell",
                         "filters.chm::/html/filters_mc5.htm", available::image_is_present,
                         {}, MemoryMinusImage}),
    commandRegistration({"m-times-x", "MC", "  M * X",
                         "Multiplies Current Image with Memory Cell",
                         "filters.chm::/html/filters_mc7.htm", available::image_is_present,
                         {}, MemoryTimesImage}),
    commandRegistration({"m-by-x", "MC", "  M / X",
                         "Divides Memory Cell by Current Image",
                         "filters.chm::/html/filters_mc8.htm", available::image_is_present,
                         {}, MemoryByImage}),
    commandRegistration({"x-minus-m", "MC", "  X - M",
                         "Subtracts Memory Cell from Current Image",
                         "filters.chm::/html/filters_mc6.htm", available::image_is_present,
                         {}, ImageMinusMemory}),
    commandRegistration({"x-by-m", "MC", "  X / M",
                         "Divides Current Image by Memory Cell",
                         "filters.chm::/html/filters_mc9.htm", available::image_is_present,
                         {}, ImageByMemory}),
    commandRegistration({"x-minus-m-squared", "MC", "  (X-M)^2",
                         "Calculates Deviation of Current Image from Memory Cell",
                         "filters.chm::/html/filters_mc10.htm", available::image_is_present,
                         {}, DeviationFromMemory}),
    commandRegistration({"roi-copy", "B Convert", "ROI Copy",
                         "Copy ROI from Image OnScreen to Buffer",
                         "BConvert.chm::/html/BConvert_setref.htm", available::roi_is_set,
                         {}, ROICopy}),
    commandRegistration({"roi-paste", "B Convert", "ROI Paste",
                         "Copy ROI from Buffer to Image OnScreen",
                         "BConvert.chm::/html/BConvert_setref.htm", available::roi_buffer_is_set,
                         {}, ROIPaste}),
    commandRegistration({"markers-copy", "B Convert", "Markers Copy",
                         "Copy Markers from Image OnScreen to Buffer",
                         "BConvert.chm::/html/BConvert_setref.htm", available::markers_present,
                         {}, MarkersCopy}),
    commandRegistration({"markers-paste", "B Convert", "Markers Paste",
                         "Copy Markers from Buffer to Image OnScreen",
                         "BConvert.chm::/html/BConvert_setref.htm", available::markers_buffer_filled,
                         {}, MarkersPaste}),
};
}  // namespace

}  // namespace tamble

#include "apps/workbench/edits.h"

#include <cmath>
#include <memory>

#include "api/imagesList.h"
#include "apps/tamble/session.h"
#include "apps/workbench/maskShapes.h"
#include "apps/workbench/requestError.h"
#include "host/platform.h"

namespace tamble::workbench {
namespace {

double finiteNumber(const json& request, const char* key) {
  if (!request.contains(key) || !request[key].is_number())
    throw requestError(std::string("give \"") + key + "\" as a number");
  const double v = request[key].get<double>();
  if (!std::isfinite(v)) throw requestError(std::string("\"") + key + "\" must be finite");
  return v;
}

std::vector<point> polygonOf(const json& request) {
  if (!request.contains("points") || !request["points"].is_array())
    throw requestError("give the shape's \"points\" as [[x, y], ...]");
  std::vector<point> polygon;
  for (const json& p : request["points"]) {
    if (!p.is_array() || p.size() != 2 || !p[0].is_number() || !p[1].is_number())
      throw requestError("each point is [x, y]");
    polygon.push_back({p[0].get<double>(), p[1].get<double>()});
    if (!std::isfinite(polygon.back().x) || !std::isfinite(polygon.back().y))
      throw requestError("a point's coordinates must be finite");
  }
  if (polygon.size() < 3) throw requestError("a shape needs at least three points");
  return polygon;
}

int markerIndex(const zel::image& img, const json& request) {
  if (!request.contains("id") || !request["id"].is_number_integer())
    throw requestError("give the marker's \"id\"");
  const int index = img.markers.indexOf(request["id"].get<int>());
  if (index < 0) throw requestError("the image has no marker " + request["id"].dump(), 404);
  return index;
}

}  // namespace

long editRoi(zel::imagesList& list, zel::image& img, const json& request) {
  if (!img.hasROI()) throw requestError("the image has no ROI layer");
  const std::string mode = request.value("mode", std::string());
  if (mode == "all") {
    list.saveImage(&img, true, "ROI all");
    img.ROI().fill(true);
    return static_cast<long>(img.width()) * img.height();
  }
  if (mode != "add" && mode != "subtract") throw requestError("\"mode\" is add, subtract or all");
  const std::vector<point> polygon = polygonOf(request);
  list.saveImage(&img, true, "ROI " + mode);
  return paintPolygon(img.ROI(), polygon, mode == "add");
}

int editMarker(zel::imagesList& list, zel::image& img, const json& request) {
  const std::string action = request.value("action", std::string());
  if (action == "add") {
    marker m;
    m.x = finiteNumber(request, "x");
    m.y = finiteNumber(request, "y");
    m.active = true;
    list.saveImage(&img, true, "marker add");
    img.markers.add(m);
    return img.markers[img.markers.count() - 1].id;
  }
  if (action != "move" && action != "toggle") throw requestError("\"action\" is add, move or toggle");
  const int index = markerIndex(img, request);
  if (action == "move") {
    const double x = finiteNumber(request, "x"), y = finiteNumber(request, "y");
    list.saveImage(&img, true, "marker move");
    img.markers[index].x = x;
    img.markers[index].y = y;
  } else {
    list.saveImage(&img, true, "marker toggle");
    img.markers[index].active = !img.markers[index].active;
  }
  return img.markers[index].id;
}

void openImage(cli::session& s, const std::filesystem::path& path) {
  std::unique_ptr<zel::image> img = read_image(path.string());
  if (s.list.find(img->fieldName()))
    throw requestError("an image named '" + img->fieldName() + "' is open already", 409);
  s.inputs.add(path.string());
  s.list.checkPoint("open " + path.string());
  s.list.addImage(img.release());
  s.list.selectLast();
}

void saveImage(cli::session& s, const zel::image& img, const std::filesystem::path& path) {
  s.inputs.checkWritable(path.string());
  write_image(path.string(), img);
}

void saveMask(cli::session& s, zel::image& img, const std::string& layer,
              const std::filesystem::path& path) {
  if (layer != "bkgr" && layer != "ROI") throw requestError("\"layer\" is bkgr or ROI");
  s.inputs.checkWritable(path.string());
  write_array(path.string(), layer == "bkgr" ? img.bkgr() : img.ROI());
}

}  // namespace tamble::workbench

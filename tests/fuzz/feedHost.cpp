#include "tests/fuzz/feedHost.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "api/camera.h"
#include "api/errors.h"
#include "api/image.h"
#include "api/markerFiles.h"
#include "host/platform.h"
#include "host/plot3d.h"
#include "host/project.h"
#include "tests/fuzz/feedSupport.h"

namespace tamble::fuzz {
namespace {

bool sameBits(const zel::arrayStore<float, 2>& a, const zel::arrayStore<float, 2>& b) {
  return a.sameExtent(b) && std::memcmp(a.data, b.data, a.count * sizeof(float)) == 0;
}

bool sameMask(const zel::arrayStore<bool, 2>& a, const zel::arrayStore<bool, 2>& b) {
  if (!a.sameExtent(b)) return false;
  for (std::size_t i = 0; i < a.count; ++i)
    if (a.data[i] != b.data[i]) return false;
  return true;
}

void feedImage(const std::uint8_t* data, std::size_t size, const char* name) {
  std::unique_ptr<zel::image> img;
  try {
    img = read_image(put(name, data, size));
  } catch (const zel::FileError&) {
    return;
  }
  require(img && img->width() > 0 && img->height() > 0 && img->hasField(),
          "an image read without a size or a field");
  const std::string copy = scratch("copy.imp");
  write_image(copy, *img);
  const auto back = read_image(copy);
  require(sameBits(back->field(), img->field()), "an image written as .imp reads back other values");
  require(sameMask(back->bkgr(), img->bkgr()) && sameMask(back->ROI(), img->ROI()),
          "an image written as .imp reads back other masks");
}

// What a project may name: written once into the scratch folder.
void projectFiles() {
  static const bool made = [] {
    zel::image img(4, 3);
    img.fillField(100.0f);
    for (const char* name : {"a.tif", "b.tif", "c.tif", "d.tif"}) write_image(scratch(name), img);
    zel::markersArray markers;
    markers.add({1.0, 2.0, 0.0, 0.0, true, 0});
    zel::write_mrk(scratch("m.mrk"), markers);
    zel::write_camera(scratch("c.cam"), zel::cameraFeatures{});
    return true;
  }();
  (void)made;
}

}  // namespace

void feedTiff(const std::uint8_t* data, std::size_t size) { feedImage(data, size, "in.tif"); }
void feedPng(const std::uint8_t* data, std::size_t size) { feedImage(data, size, "in.png"); }
void feedImp(const std::uint8_t* data, std::size_t size) { feedImage(data, size, "in.imp"); }

void feedMask(const std::uint8_t* data, std::size_t size) {
  zel::arrayStore<bool, 2> mask;
  try {
    read_array(put("mask.imp", data, size), mask);
  } catch (const zel::FileError&) {
    return;
  }
  const std::string copy = scratch("copy_mask.imp");
  write_array(copy, mask);
  zel::arrayStore<bool, 2> back;
  read_array(copy, back);
  require(sameMask(back, mask), "a mask written reads back other pixels");
}

void feedProject(const std::uint8_t* data, std::size_t size) {
  projectFiles();
  const std::string path = put("in.vur", data, size);
  try {
    read_vur_data(path, false, {});
  } catch (const zel::FileError&) {
    clear_vur();
    return;
  }
  const std::string copy = scratch("copy.vur");
  try {
    write_vur_data(copy, get_vur(), get_paint(), get_flow());
  } catch (const zel::FileError& e) {
    std::fprintf(stderr, "%s\n", e.message);
    require(false, "a project that reads cannot be written");
  }
  const zel::paintFeatures paint = get_paint();
  read_vur_data(copy, false, {});
  for (int i = 0; i < 9; ++i)
    require(get_paint().c[i] == paint.c[i] || (paint.c[i] != paint.c[i]),
            "a project written reads back another calibration");
  clear_vur();
}

void feedPlot3d(const std::uint8_t* data, std::size_t size) {
  std::vector<zel::meshBlock> blocks;
  try {
    blocks = readPlot3dGrid(put("in.x", data, size));
  } catch (const zel::FileError&) {
    return;
  }
  require(!blocks.empty(), "a grid read without blocks");
  for (const zel::meshBlock& b : blocks)
    require(b.ni > 0 && b.nj > 0 && b.nk > 0 &&
                static_cast<std::size_t>(b.ni) * b.nj * b.nk == b.count(),
            "a block read with a count that its dimensions do not give");
  const std::string copy = scratch("copy.x");
  writePlot3dGrid(copy, blocks);
  const std::vector<zel::meshBlock> again = readPlot3dGrid(copy);
  require(again.size() == blocks.size(), "a grid written reads back other blocks");
  for (std::size_t b = 0; b < blocks.size(); ++b)
    require(again[b].nodes == blocks[b].nodes, "a grid written reads back other nodes");
}

}  // namespace tamble::fuzz

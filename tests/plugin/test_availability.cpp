// The availability tests of the plug-in's commands, on lists built by hand.
#include <gtest/gtest.h>

#include <vector>

#include "api/imagesList.h"
#include "host/fieldData.h"
#include "plugin/availability.h"
#include "plugin/memoryCell.h"
#include "plugin/projectState.h"

namespace {

using namespace tamble;

zel::image* named(const char* name) {
  auto* img = new zel::image(4, 3);
  img->setFieldName(name);
  return img;
}

// A ROI selects something only with a false pixel.
TEST(Availability, RoiIsSetOnlyWithAFalseElement) {
  zel::imagesList list;
  EXPECT_FALSE(roi_is_set(list));
  list.addImage(named("a"));
  EXPECT_FALSE(roi_is_set(list));
  list.current()->ROI()(3, 2) = false;
  EXPECT_TRUE(roi_is_set(list));
}

// Background, markers, snapshot and the transfer buffers answer for their contents.
TEST(Availability, BackgroundMarkersUndoAndBuffers) {
  zel::imagesList list;
  list.addImage(named("a"));
  EXPECT_FALSE(bkgr_is_set(list) || markers_present(list) || undo_available(list));
  list.current()->bkgr()(0, 0) = true;
  list.current()->markers.add(marker{});
  list.snapshot();
  EXPECT_TRUE(bkgr_is_set(list) && markers_present(list) && undo_available(list));
  EXPECT_FALSE(list_markers_present(list));  // the list's own markers, not the image's
  roiBuffer() = zel::arrayStore<bool, 2>(2, 2);
  roiBuffer().fill(true);
  EXPECT_FALSE(roi_buffer_is_set(list));
  roiBuffer()[3] = false;
  EXPECT_TRUE(roi_buffer_is_set(list));
  roiBuffer().reset();
  EXPECT_FALSE(markers_buffer_filled(list));
  markersBuffer().resize(2);
  EXPECT_TRUE(markers_buffer_filled(list));
  markersBuffer().resize(0);
}

// The run's images a test asks for depend on the paint kind; any other
// spelling of a kind ("Double") makes every kind-bound test false.
TEST(Availability, RunImagesByPaintKind) {
  using names = std::vector<const char*>;
  const names pair = {"wind_off_sens", "wind_on_sens"};
  const names four = {"wind_off_sens", "wind_on_sens", "wind_off_refe", "wind_on_refe"};
  const names darkSens = {"wind_on_dark_sens", "wind_off_dark_sens"};
  const struct {
    const char* kind;
    names images;
    bool (*test)(const zel::imagesList&);
    bool expected;
  } rows[] = {
      {"double", pair, project_images_present, false},
      {"double", four, project_images_present, true},
      {"single", pair, project_images_present, true},
      {"Double", four, project_images_present, false},
      {"Tsingle", pair, single_paint_images_present, true},
      {"double", four, single_paint_images_present, false},
      {"Tsingle", darkSens, dark_images_present, true},
      {"double", darkSens, dark_images_present, false},
      {"Tsingle", {"flat_sens"}, flat_images_present, false},
      {"Tsingle", {"T"}, output_fields_present, true},
  };
  for (const auto& row : rows) {
    zel::imagesList list;
    for (const char* name : row.images) list.addImage(named(name));
    paintKind() = row.kind;
    EXPECT_EQ(row.test(list), row.expected) << row.kind << " with " << row.images.back();
  }
  paintKind().clear();
}

// The output fields with the mesh need the mesh held as well.
TEST(Availability, OutputFieldsAndMeshNeedTheMesh) {
  zel::imagesList list;
  list.addImage(named("T"));
  paintKind() = "Tsingle";
  EXPECT_FALSE(output_fields_and_mesh_present(list));
  auto& mesh = get_field_data();
  mesh.blocks.resize(1);
  mesh.blocks[0].nodes.resize(5);
  mesh.meshMarkers.resize(3);
  mesh.imageMarkers.resize(3);
  EXPECT_TRUE(output_fields_and_mesh_present(list));
  get_field_data() = zel::field_data<double>();
  paintKind().clear();
}

// Markers of another image do not count as the wind-off image's.
TEST(Availability, WindOffMarkersAreThoseOfTheWindOffImage) {
  zel::imagesList list;
  list.addImage(named("wind_on_sens"));
  list.current()->markers.add(marker{});
  list.addImage(named("wind_off_sens"));
  EXPECT_FALSE(wind_off_markers_present(list));
  list.find("wind_off_sens")->markers.add(marker{});
  EXPECT_TRUE(wind_off_markers_present(list));
}

}  // namespace

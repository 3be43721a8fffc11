#include <gtest/gtest.h>

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

struct kindScope {
  explicit kindScope(const char* kind) { paintKind() = kind; }
  ~kindScope() { paintKind().clear(); }
};

TEST(Availability, RoiIsSetOnlyWithAFalseElement) {
  zel::imagesList list;
  EXPECT_FALSE(roi_is_set(list));
  list.addImage(named("a"));
  EXPECT_FALSE(roi_is_set(list));
  list.current()->ROI()(3, 2) = false;
  EXPECT_TRUE(roi_is_set(list));
  auto* noRoi = new zel::image();
  noRoi->makeLayers({2, 2}, true, true, false);
  noRoi->setFieldName("b");
  list.addImage(noRoi, 0.0, 1.0);
  list.setCurrent(1);
  EXPECT_THROW(roi_is_set(list), zel::AlgoError);
}

TEST(Availability, BackgroundMarkersAndUndo) {
  zel::imagesList list;
  list.addImage(named("a"));
  EXPECT_FALSE(bkgr_is_set(list));
  EXPECT_FALSE(markers_present(list));
  EXPECT_FALSE(undo_available(list));
  list.current()->bkgr()(0, 0) = true;
  list.current()->markers.add(marker{});
  list.snapshot();
  EXPECT_TRUE(bkgr_is_set(list));
  EXPECT_TRUE(markers_present(list));
  EXPECT_TRUE(undo_available(list));
  EXPECT_FALSE(list_markers_present(list));
  list.markers.add(marker{});
  EXPECT_TRUE(list_markers_present(list));
}

TEST(Availability, BuffersAnswerForTheirContents) {
  zel::imagesList list;
  roiBuffer() = zel::arrayStore<bool, 2>(2, 2);
  roiBuffer().fill(true);
  EXPECT_FALSE(roi_buffer_is_set(list));
  roiBuffer()[3] = false;
  EXPECT_TRUE(roi_buffer_is_set(list));
  roiBuffer().reset();
  markersBuffer().resize(0);
  EXPECT_FALSE(markers_buffer_filled(list));
  markersBuffer().resize(2);
  EXPECT_TRUE(markers_buffer_filled(list));
  markersBuffer().resize(0);
}

TEST(Availability, ProjectImagesDependOnThePaintKind) {
  zel::imagesList list;
  list.addImage(named("wind_off_sens"));
  list.addImage(named("wind_on_sens"));
  {
    kindScope k("double");
    EXPECT_FALSE(project_images_present(list));
    EXPECT_FALSE(single_paint_images_present(list));
  }
  {
    kindScope k("single");
    EXPECT_TRUE(project_images_present(list));
    EXPECT_TRUE(single_paint_images_present(list));
  }
  {
    kindScope k("Double");  // any other spelling: every kind-bound test is false
    list.addImage(named("wind_off_refe"));
    list.addImage(named("wind_on_refe"));
    list.addImage(named("Pressure"));
    EXPECT_FALSE(project_images_present(list));
    EXPECT_FALSE(output_fields_present(list));
    EXPECT_FALSE(dark_images_present(list));
  }
  kindScope k("double");
  EXPECT_TRUE(project_images_present(list));
  EXPECT_FALSE(single_paint_images_present(list));
}

TEST(Availability, DarkAndFlatFrames) {
  zel::imagesList list;
  list.addImage(named("wind_on_dark_sens"));
  list.addImage(named("wind_off_dark_sens"));
  list.addImage(named("flat_sens"));
  kindScope single("Tsingle");
  EXPECT_TRUE(dark_images_present(list));
  EXPECT_FALSE(flat_images_present(list));
  list.addImage(named("flat_refe"));
  EXPECT_TRUE(flat_images_present(list));
  paintKind() = "double";
  EXPECT_FALSE(dark_images_present(list));
}

TEST(Availability, OutputFieldsByPaintKind) {
  zel::imagesList list;
  list.addImage(named("T"));
  kindScope k("single");
  EXPECT_FALSE(output_fields_present(list));
  paintKind() = "Tsingle";
  EXPECT_TRUE(output_fields_present(list));
  EXPECT_FALSE(output_fields_and_mesh_present(list));  // no mesh held
  get_field_data().grid.resize(1);
  get_field_data().functions.resize(1);
  get_field_data().count = 5;
  EXPECT_TRUE(output_fields_and_mesh_present(list));
  get_field_data() = zel::field_data<double>();
}

TEST(Availability, WindOffMarkers) {
  zel::imagesList list;
  list.addImage(named("wind_on_sens"));
  list.current()->markers.add(marker{});
  EXPECT_FALSE(wind_off_markers_present(list));
  list.addImage(named("wind_off_sens"));
  EXPECT_FALSE(wind_off_markers_present(list));
  list.find("wind_off_sens")->markers.add(marker{});
  EXPECT_TRUE(wind_off_markers_present(list));
}

}  // namespace

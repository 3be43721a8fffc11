// The plug-in's own availability tests of the command table. Each answers
// whether a row may be picked on the list as it stands.
#pragma once

#include "host/command.h"
#include "host/interaction.h"

namespace zel {
class imagesList;
}

namespace tamble {

bool undo_available(const zel::imagesList& list);
bool markers_present(const zel::imagesList& list);
bool roi_is_set(const zel::imagesList& list);
bool bkgr_is_set(const zel::imagesList& list);
bool roi_buffer_is_set(const zel::imagesList& list);
bool markers_buffer_filled(const zel::imagesList& list);
bool project_is_empty(const zel::imagesList& list);
bool list_markers_present(const zel::imagesList& list);
bool wind_off_markers_present(const zel::imagesList& list);
bool flat_images_present(const zel::imagesList& list);
bool dark_images_present(const zel::imagesList& list);
bool project_images_present(const zel::imagesList& list);
bool single_paint_images_present(const zel::imagesList& list);
// The sources of the paint are present and wind_off_sens has markers.
bool source_markers_present(const zel::imagesList& list);
bool output_fields_present(const zel::imagesList& list);
bool output_fields_and_mesh_present(const zel::imagesList& list);

// The tests as the descriptors name them; the first three are the host's.
namespace available {
inline constexpr availabilityTest always{"always", ::always};
inline constexpr availabilityTest never{"never", ::never};
inline constexpr availabilityTest image_is_present{"image_is_present", ::image_is_present};
inline constexpr availabilityTest undo_available{"undo_available", tamble::undo_available};
inline constexpr availabilityTest markers_present{"markers_present", tamble::markers_present};
inline constexpr availabilityTest roi_is_set{"roi_is_set", tamble::roi_is_set};
inline constexpr availabilityTest bkgr_is_set{"bkgr_is_set", tamble::bkgr_is_set};
inline constexpr availabilityTest roi_buffer_is_set{"roi_buffer_is_set", tamble::roi_buffer_is_set};
inline constexpr availabilityTest markers_buffer_filled{"markers_buffer_filled",
                                                        tamble::markers_buffer_filled};
inline constexpr availabilityTest project_is_empty{"project_is_empty", tamble::project_is_empty};
inline constexpr availabilityTest list_markers_present{"list_markers_present",
                                                       tamble::list_markers_present};
inline constexpr availabilityTest wind_off_markers_present{"wind_off_markers_present",
                                                           tamble::wind_off_markers_present};
inline constexpr availabilityTest flat_images_present{"flat_images_present",
                                                      tamble::flat_images_present};
inline constexpr availabilityTest dark_images_present{"dark_images_present",
                                                      tamble::dark_images_present};
inline constexpr availabilityTest project_images_present{"project_images_present",
                                                         tamble::project_images_present};
inline constexpr availabilityTest single_paint_images_present{"single_paint_images_present",
                                                              tamble::single_paint_images_present};
inline constexpr availabilityTest source_markers_present{"source_markers_present",
                                                         tamble::source_markers_present};
inline constexpr availabilityTest output_fields_present{"output_fields_present",
                                                        tamble::output_fields_present};
inline constexpr availabilityTest output_fields_and_mesh_present{
    "output_fields_and_mesh_present", tamble::output_fields_and_mesh_present};
}  // namespace available

}  // namespace tamble

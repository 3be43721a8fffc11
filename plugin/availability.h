// The plug-in's own availability tests of the command table. Each answers
// whether a row may be picked on the list as it stands.
#pragma once

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
bool output_fields_present(const zel::imagesList& list);
bool output_fields_and_mesh_present(const zel::imagesList& list);

}  // namespace tamble

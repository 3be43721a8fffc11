// What the fuzz targets of the host's readers do with one input (see feed.h
// for the rules): image files through read_image as the host reads them,
// mask files through read_array, project files through read_vur_data.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tamble::fuzz {

// read_image of a ".tif", ".png" or ".imp" file; an image that reads is
// written as a container and must read back bit for bit.
void feedTiff(const std::uint8_t* data, std::size_t size);
void feedPng(const std::uint8_t* data, std::size_t size);
void feedImp(const std::uint8_t* data, std::size_t size);
// read_array; a mask that reads is written and must read back the same.
void feedMask(const std::uint8_t* data, std::size_t size);
// read_vur_data beside a small image, markers and a camera file that a
// project may name; a project that reads is written and must read again.
void feedProject(const std::uint8_t* data, std::size_t size);
// readPlot3dGrid with the form told from the bytes; a grid that reads is
// written (unformatted, double) and must read back node for node.
void feedPlot3d(const std::uint8_t* data, std::size_t size);

}  // namespace tamble::fuzz

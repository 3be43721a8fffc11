// The host functions of files and the parameter store that the plug-in
// calls by name; those of user interaction are in host/interaction.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/arrayWorks.h"
#include "api/image.h"

// The parameter store: section and key to text.
std::string reg_get_string(const std::string& section, const std::string& key,
                           const std::string& def);
void reg_set_string(const std::string& section, const std::string& key, const std::string& value);
// Several keys of one section, written to the store file in one go.
void reg_set_strings(const std::string& section,
                     const std::vector<std::pair<std::string, std::string>>& values);

// Image files (see docs/file-formats.md). Failures raise zel::FileError with
// a text that names the file and what is wrong.
std::unique_ptr<zel::image> read_image(const std::string& path);
void write_image(const std::string& path, const zel::image& img);
void read_array(const std::string& path, zel::arrayStore<bool, 2>& mask);
void write_array(const std::string& path, const zel::arrayStore<bool, 2>& mask);

// A camera frame as a 16-bit unsigned grey TIFF: each value becomes the
// nearest whole number (halves to even). Values outside 0 to 65535 and NaN
// are clamped to the nearer end (NaN to 0), or refused with zel::FileError
// before anything is written. The page is stored uncompressed, so the bytes
// depend on the values alone; `description` goes to ImageDescription. The
// answer is the number of values clamped.
enum class tiff16Range { clamp, refuse };
std::uint64_t write_tiff16(const std::string& path, const zel::arrayStore<float, 2>& field,
                           tiff16Range range, const std::string& description = {});

// Writes a synthetic run into a folder as a project that "Open Project..."
// reads: the frames, the cameras, the marker and tap files, the true fields
// and a text of every parameter, and run.vur naming them.
#pragma once

#include <string>
#include <vector>

#include "apps/synth/options.h"

namespace tamble::synth {

struct syntheticRun;

// The files a run of these options writes, relative to its folder, in the
// order written; run.vur comes last.
std::vector<std::string> runFiles(const syntheticRun& run);

// Writes the files into `folder` (made when missing). Every file is written
// under a temporary name and renamed into place; files of an earlier run
// that this one does not write stay as they were. zel::FileError on failure.
void writeRun(const syntheticRun& run, const std::string& folder);

// The text of truth.txt: an ini file of every number the run was made with.
std::string truthText(const syntheticRun& run);

inline constexpr const char* projectFileName = "run.vur";

}  // namespace tamble::synth

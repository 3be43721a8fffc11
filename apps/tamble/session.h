// What carries from one step to the next in one process: the images list, the
// plug-in (whose memory cell, buffers and snapshot live inside it), the user
// interface, and the files read so far.
#pragma once

#include <sys/types.h>

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "api/imagesList.h"
#include "apps/tamble/cliUi.h"
#include "apps/tamble/plugin.h"

namespace tamble::cli {

// The files this process has read. None of them is ever written: a result
// aimed at one of them is refused.
class inputFiles {
 public:
  void add(const std::string& path);
  // A stepError when `path` is (a link to) a file read before.
  void checkWritable(const std::string& path) const;

 private:
  std::set<std::pair<dev_t, ino_t>> files;
};

class session {
 public:
  // Installs the session's user interface; the list records host undo steps.
  session();
  ~session();
  session(const session&) = delete;
  session& operator=(const session&) = delete;

  // Loaded at first use, so that steps on images alone work without it.
  loadedPlugin& plugin();
  // Loads the plug-in at `path` in place of the default one, for a host that
  // knows where its plug-in lies (the Python package beside its module).
  void loadPlugin(const std::string& path);
  // The image named `name`, or a stepError naming the images there are.
  zel::image& image(const std::string& name) const;
  // A stepError unless `name` is a name no image has yet.
  void checkNewName(const std::string& name) const;
  // Adds `img` and makes it current: one host undo step, named `step`.
  zel::image& addImage(std::unique_ptr<zel::image> img, const std::string& step);
  // Reads an image file into the list, under `name` when given (checked
  // before the file is read) or the file's own.
  zel::image& openImage(const std::string& path, const std::string& name);
  // Writes the image `name` to `path` (its format by the extension); never
  // over a file that was read.
  void saveImage(const std::string& name, const std::string& path) const;

  zel::imagesList list;
  inputFiles inputs;
  cliUi ui{inputs};

 private:
  std::unique_ptr<loadedPlugin> loaded;
};

}  // namespace tamble::cli

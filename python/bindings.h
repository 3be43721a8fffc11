// The pieces of the extension module, one file per family: errors, images,
// commands, the session with its projects, synthetic runs.
#pragma once

#include <pybind11/pybind11.h>

#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "python/core.h"

namespace tamble::py {

namespace pyb = pybind11;

// What Python holds: the core, shared with the images and views lent out of
// it. A session that Python lets go of is closed, whatever still refers to
// its core, so that the next one may open.
struct sessionHandle {
  std::shared_ptr<core> shared;

  explicit sessionHandle(std::shared_ptr<core> c) : shared(std::move(c)) {}
  sessionHandle(sessionHandle&&) = default;
  sessionHandle(const sessionHandle&) = delete;
  sessionHandle& operator=(const sessionHandle&) = delete;
  ~sessionHandle() {
    if (!shared) return;
    std::lock_guard<std::mutex> lock(shared->busy);
    shared->close();
  }
};

// An image of a session by its name: looked up anew on every use, so that
// it follows commands that replace the image.
struct imageHandle {
  std::shared_ptr<core> shared;
  std::string name;
};

void bindErrors(pyb::module_& m);
void bindSession(pyb::module_& m);
void bindImages(pyb::module_& m, pyb::class_<sessionHandle>& session);
void bindCommands(pyb::module_& m, pyb::class_<sessionHandle>& session);
void bindProjects(pyb::class_<sessionHandle>& session);
void bindSynth(pyb::module_& m);

// Hands what a command told to Python's logging: notices, reports and notes
// at INFO, questions and answers at DEBUG.
void logTold(const std::vector<toldItem>& told);

// Runs `work` on the session under its lock with Python's lock released,
// so that other Python threads go on meanwhile. What the work told is handed
// to Python's logging (logger "tamble") and answered; a failure passes on
// after that.
template <class Work>
std::vector<toldItem> withSession(core& c, Work&& work) {
  std::exception_ptr failure;
  std::vector<toldItem> told;
  {
    pyb::gil_scoped_release released;
    std::lock_guard<std::mutex> lock(c.busy);
    c.settle();
    try {
      work(c.session());
    } catch (...) {
      failure = std::current_exception();
    }
    told = c.takeTold();
  }
  logTold(told);
  if (failure) std::rethrow_exception(failure);
  return told;
}

// The texts of the notices, reports and notes among `told` (the questions
// and their answers are only logged).
std::vector<std::string> noticesOf(const std::vector<toldItem>& told);

// A keyword's value as the text a user would type: True as 1, numbers as
// the shortest text that reads back the same, texts as they are.
std::string wordValue(const std::string& key, pyb::handle value);
// key=value words from keyword arguments.
std::vector<std::string> wordsOf(const pyb::kwargs& options);

}  // namespace tamble::py

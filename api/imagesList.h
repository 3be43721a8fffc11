// The images of a session, the current one, the host's undo records and the
// plug-in's one-step snapshot.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "api/image.h"
#include "api/markers.h"

namespace zel {

class imagesList;

// One undo record of the host.
class imagesListAction {
 public:
  std::string text;

  explicit imagesListAction(std::string t = {}) : text(std::move(t)) {}
  virtual void undo(imagesList& list) = 0;
  virtual ~imagesListAction() = default;
  // Whether undo() stops after this record.
  virtual bool stops() const = 0;
};

// An image as it was before a change; undo puts it back in place of the list
// image with the same name.
class imagesListAltered : public imagesListAction {
 public:
  std::unique_ptr<image> saved;
  double low = 0.0;
  double high = 0.0;
  bool stop = false;

  imagesListAltered(std::unique_ptr<image> copy, double lo, double hi, bool stopHere, std::string t)
      : imagesListAction(std::move(t)), saved(std::move(copy)), low(lo), high(hi), stop(stopHere) {}
  void undo(imagesList& list) override;
  bool stops() const override { return stop; }
};

// An image that was added; undo removes and deletes that very image.
class imagesListCreated : public imagesListAction {
 public:
  const image* created = nullptr;  // not owned

  explicit imagesListCreated(const image* img) : created(img) {}
  void undo(imagesList& list) override;
  bool stops() const override { return false; }
};

class imagesListCheckPoint : public imagesListAction {
 public:
  using imagesListAction::imagesListAction;
  void undo(imagesList&) override {}
  bool stops() const override { return true; }
};

class imagesList {
 public:
  markersArray markers;  // of the list as a whole: the pressure ports
  int undoIndex = -1;
  int currentIndex = -1;
  bool recording = false;  // the host decides whether undo records are made

  imagesList() = default;
  imagesList(const imagesList&) = delete;
  imagesList& operator=(const imagesList&) = delete;
  ~imagesList();

  int size() const { return static_cast<int>(images.size()); }
  image* operator[](int i) const { return images[static_cast<std::size_t>(i)].get(); }
  image* current() const;
  int setCurrent(int i);
  int selectFirst();
  int selectNext();
  int selectLast();
  int indexOf(const std::string& name) const;
  image* find(const std::string& name) const;
  int select(const std::string& name);

  // The list takes ownership of every image handed to it.
  void addImage(image* img, bool record = true);
  void addImage(image* img, double low, double high, bool record = true);
  void replaceImage(image* img, bool record = true);
  void replaceImage(image* img, double low, double high, bool record = true);
  void removeImage(int i, bool record = true);
  void clear();

  // Host undo records; each does nothing unless `recording`.
  void saveCurrent(bool stop, const std::string& text);
  void saveImage(const image* img, bool stop, const std::string& text);
  void checkPoint(const std::string& text);
  void undo();
  std::string nextUndoText() const;
  const std::deque<std::unique_ptr<imagesListAction>>& actions() const { return actions_; }

  // The plug-in's one-step undo: snapshot() keeps a deep copy of the whole
  // list, restoreSnapshot() puts it back once and empties it.
  void snapshot();
  bool restoreSnapshot();
  bool undoAvailable() const { return !undoImages.empty(); }

 private:
  struct limits {
    bool given;
    double low, high;
  };
  void insert(image* img, limits lim, bool record);
  void put(image* img, limits lim, bool record);
  void pushAltered(std::unique_ptr<image> old, bool stop, const std::string& text);
  void applyLimits(image& img, limits lim);

  std::vector<std::unique_ptr<image>> images;
  std::vector<std::unique_ptr<image>> undoImages;
  std::deque<std::unique_ptr<imagesListAction>> actions_;
};

}  // namespace zel

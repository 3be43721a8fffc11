#include "api/imagesList.h"

#include <algorithm>

namespace zel {

void imagesListAltered::undo(imagesList& list) {
  list.replaceImage(saved.release(), low, high, false);
}

void imagesListCreated::undo(imagesList& list) {
  for (int i = 0; i < list.size(); ++i)
    if (list[i] == created) {
      list.removeImage(i, false);
      return;
    }
}

imagesList::~imagesList() = default;

image* imagesList::current() const {
  if (currentIndex < 0 || currentIndex >= size()) return nullptr;
  return images[static_cast<std::size_t>(currentIndex)].get();
}

int imagesList::setCurrent(int i) {
  if (images.empty()) return -1;
  currentIndex = std::clamp(i, 0, size() - 1);
  return currentIndex;
}

int imagesList::selectFirst() {
  currentIndex = images.empty() ? -1 : 0;
  return currentIndex;
}

int imagesList::selectNext() {
  if (images.empty()) return currentIndex = -1;
  if (++currentIndex >= size()) currentIndex = 0;
  return currentIndex;
}

int imagesList::selectLast() {
  currentIndex = size() - 1;
  return currentIndex;
}

int imagesList::indexOf(const std::string& name) const {
  for (int i = 0; i < size(); ++i)
    if ((*this)[i]->field().name == name) return i;
  return -1;
}

image* imagesList::find(const std::string& name) const {
  int i = indexOf(name);
  return i < 0 ? nullptr : (*this)[i];
}

int imagesList::select(const std::string& name) {
  if (images.empty()) return -1;
  int i = indexOf(name);
  if (i >= 0) setCurrent(i);
  return currentIndex;
}

void imagesList::applyLimits(image& img, limits lim) {
  if (lim.given)
    img.setLimits(lim.low, lim.high);
  else
    img.resetLimits();
}

void imagesList::insert(image* img, limits lim, bool record) {
  std::unique_ptr<image> owned(img);
  if (record && recording) actions_.push_back(std::make_unique<imagesListCreated>(img));
  images.push_back(std::move(owned));
  applyLimits(*img, lim);
  if (currentIndex == -1) currentIndex = 0;
}

void imagesList::addImage(image* img, bool record) { insert(img, {false, 0.0, 0.0}, record); }

void imagesList::addImage(image* img, double low, double high, bool record) {
  insert(img, {true, low, high}, record);
}

void imagesList::pushAltered(std::unique_ptr<image> old, bool stop, const std::string& text) {
  actions_.push_back(std::make_unique<imagesListAltered>(std::move(old), 0.0, 0.0, stop, text));
}

void imagesList::put(image* img, limits lim, bool record) {
  std::unique_ptr<image> owned(img);
  const int i = indexOf(img->field().name);
  if (i < 0) {
    insert(owned.release(), lim, record);
    return;
  }
  std::unique_ptr<image>& slot = images[static_cast<std::size_t>(i)];
  if (slot.get() != img) {
    // The old image goes into the undo record, or is deleted.
    if (record && recording) pushAltered(std::move(slot), false, {});
    slot = std::move(owned);
  } else {
    owned.release();  // already ours: an image changed in place
  }
  applyLimits(*img, lim);
}

void imagesList::replaceImage(image* img, bool record) { put(img, {false, 0.0, 0.0}, record); }

void imagesList::replaceImage(image* img, double low, double high, bool record) {
  put(img, {true, low, high}, record);
}

void imagesList::removeImage(int i, bool record) {
  if (i < 0 || i >= size()) return;
  auto slot = images.begin() + i;
  if (record && recording) pushAltered(std::move(*slot), false, {});
  images.erase(slot);
  if (!images.empty()) currentIndex = std::min(i, size() - 1);
}

void imagesList::clear() {
  images.clear();
  currentIndex = -1;
  actions_.clear();
}

void imagesList::saveCurrent(bool stop, const std::string& text) {
  if (recording && current()) pushAltered(std::make_unique<image>(*current()), stop, text);
}

void imagesList::saveImage(const image* img, bool stop, const std::string& text) {
  if (!recording) return;
  for (const auto& held : images)
    if (held.get() == img) {
      pushAltered(std::make_unique<image>(*img), stop, text);
      return;
    }
}

void imagesList::checkPoint(const std::string& text) {
  if (recording) actions_.push_back(std::make_unique<imagesListCheckPoint>(text));
}

void imagesList::undo() {
  if (!recording) return;
  while (!actions_.empty()) {
    std::unique_ptr<imagesListAction> action = std::move(actions_.back());
    actions_.pop_back();
    const bool last = action->stops();
    action->undo(*this);
    if (last) break;
  }
}

std::string imagesList::nextUndoText() const {
  if (!recording) return {};
  for (auto it = actions_.rbegin(); it != actions_.rend(); ++it)
    if (!(*it)->text.empty()) return (*it)->text;
  return {};
}

void imagesList::snapshot() {
  undoIndex = currentIndex;
  // Copies go into the previous snapshot's images where there are any: each
  // command takes a snapshot, and reusing their blocks saves the allocations.
  undoImages.resize(images.size());
  for (std::size_t i = 0; i < images.size(); ++i) {
    if (undoImages[i])
      undoImages[i]->copyFrom(*images[i]);
    else
      undoImages[i] = std::make_unique<image>(*images[i]);
  }
  setCurrent(undoIndex);
}

bool imagesList::restoreSnapshot() {
  if (undoImages.empty()) return false;  // nothing to go back to: keep the list
  clear();
  // The snapshot's copies are handed over whole; they are already deep copies.
  for (auto& kept : undoImages) addImage(kept.release(), true);
  undoImages.clear();
  setCurrent(undoIndex);
  return true;
}

}  // namespace zel

#include "api/log.h"

#include <algorithm>
#include <cstring>

namespace zel {

void log_entry::reset() {
  text[0] = '\0';
  length = 0;
  urgent = false;
  level = 5;
}

const char* log_prefix(int level) {
  switch (level) {
    case 0: return "F:";
    case 1: return "C:";
    case 2: return "W:";
    case 3: return "N:";
    case 4: return "I:";
    default: return "D:";
  }
}

log_entry& log_mgr::beginEntry() {
  log_entry& entry = ring.begin();
  entry.reset();
  return entry;
}

void log_mgr::commitEntry(log_entry& entry) {
  ring.commit(entry);
  if (direct) return;
  if (!entry.urgent && ring.pending() < flushThreshold && !batched) return;
  flush();
}

log_ring::~log_ring() {
  flush();
  if (file) std::fclose(file);
}

void log_ring::flush() {
  // A callback that logs would flush again from inside this flush; its
  // entries are taken by the loop that is already running instead.
  thread_local bool flushingHere = false;
  if (flushingHere) return;
  std::lock_guard<std::mutex> lock(flushing);
  flushingHere = true;
  struct clear {
    bool& flag;
    ~clear() { flag = false; }
  } clearAfter{flushingHere};
  ring.drain([this](const log_entry& entry) {
    if (onEntry) onEntry(entry);
    if (file && entry.level <= maxLevel) {
      std::fputs(log_prefix(entry.level), file);
      std::fputs(entry.text, file);
      std::fputc('\n', file);
    }
  });
  if (file) std::fflush(file);
}

bool log_ring::setFile(const std::string& path, bool directMode) {
  flush();
  if (file) std::fclose(file);
  file = nullptr;
  direct = directMode;
  if (path.empty()) return true;
  file = std::fopen(path.c_str(), "a");
  return file != nullptr;
}

log_access::~log_access() {
  if (entry) sink->commitEntry(*entry);
}

log_access& log_access::level(int n) {
  entry->level = n;
  return *this;
}

log_access& log_access::urgent() {
  entry->urgent = true;
  return *this;
}

log_access& log_access::write(const char* text) {
  if (!text) return *this;
  std::size_t room = static_cast<std::size_t>(log_entry::maxText - entry->length);
  std::size_t n = std::min(std::strlen(text), room);
  std::memcpy(entry->text + entry->length, text, n);
  entry->length += static_cast<int>(n);
  entry->text[entry->length] = '\0';
  return *this;
}

log_access& log_access::write(int value) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%d", value);
  return write(digits);
}

log_mgr& log_sink() {
  static log_ring sink;
  return sink;
}

log_access get_log() { return log_access(log_sink()); }

}  // namespace zel

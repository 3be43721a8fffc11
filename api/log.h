// The log: a ring of fixed-size entries drained into a sink.
//
// Writers take an entry with get_log(), fill it and let the access object go
// out of scope, which commits it. Only the ring counters are shared, and they
// move by atomic adds, so writers on several threads do not block each other.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>

namespace zel {

struct log_entry {
  static constexpr int maxText = 500;
  char text[maxText + 1] = {};  // zero-terminated at `length`
  int level = 5;
  int length = 0;
  bool urgent = false;  // must be written at once (errors)

  void reset();
};

// Prefix of a level: 0 "F:", 1 "C:", 2 "W:", 3 "N:", 4 "I:", anything else "D:".
const char* log_prefix(int level);

template <class Entry>
class ring_buffer {
 public:
  static constexpr std::uint32_t capacity = 64;

  // Takes the next slot. A full ring drops its oldest entries first.
  Entry& begin() {
    while (head - tail >= capacity) {
      ready[tail % capacity] = 0;
      tail.fetch_add(1);
    }
    std::uint32_t number = head.fetch_add(1);
    current = number % capacity;
    ready[current] = 0;
    return entries[current];
  }
  void commit(const Entry& entry) { ready[slotOf(entry)] = 1; }
  std::uint32_t pending() const { return head - tail; }

  // Hands committed entries to `take` oldest first; stops at an unfinished one.
  template <class Take>
  void drain(Take&& take) {
    while (tail != head) {
      std::uint32_t slot = tail % capacity;
      if (!ready[slot]) return;
      take(entries[slot]);
      ready[slot] = 0;
      tail.fetch_add(1);
    }
  }

  std::atomic<std::uint32_t> head{0};
  std::atomic<std::uint32_t> tail{0};
  std::uint32_t current = 0;

 private:
  std::uint32_t slotOf(const Entry& entry) const {
    return static_cast<std::uint32_t>(&entry - entries);
  }
  Entry entries[capacity];
  std::atomic<unsigned char> ready[capacity];
};

// A sink with its ring. The host decides where lines go.
class log_mgr {
 public:
  using callback = std::function<void(const log_entry&)>;

  virtual ~log_mgr() = default;
  virtual log_entry& beginEntry();
  virtual void commitEntry(log_entry& entry);
  virtual void setMaxLevel(int level) { maxLevel = level; }
  virtual void flush() = 0;
  virtual void setCallback(callback cb) { onEntry = std::move(cb); }
  virtual bool setFile(const std::string& path, bool direct) = 0;
  // Direct: a commit only marks the entry; lines go out on flush().
  virtual void setDirect(bool on) { direct = on; }
  // Batched: every commit drains the ring at once.
  virtual void setBatched(bool on) { batched = on; }

  int maxLevel = 6;
  std::uint32_t pending() const { return ring.pending(); }

  static constexpr std::uint32_t flushThreshold = 42;

 protected:
  ring_buffer<log_entry> ring;
  callback onEntry;
  bool direct = false;
  bool batched = false;
};

// Writes entries to a text file, one line each: prefix, text, line end.
class log_ring : public log_mgr {
 public:
  ~log_ring() override;
  void flush() override;
  // Closes any open file and appends to the new one; an empty path means no
  // file. Answers whether the file could be opened.
  bool setFile(const std::string& path, bool direct) override;

 private:
  std::FILE* file = nullptr;
  std::mutex flushing;  // one drainer at a time
};

// What the code writes through: one entry, committed on destruction.
class log_access {
 public:
  explicit log_access(log_mgr& sink) : sink(&sink), entry(&sink.beginEntry()) {}
  log_access(const log_access&) = delete;
  log_access& operator=(const log_access&) = delete;
  log_access(log_access&& other) noexcept : sink(other.sink), entry(other.entry) {
    other.entry = nullptr;
  }
  ~log_access();

  log_access& level(int n);
  log_access& urgent();
  // Appends up to a total of 500 characters; the rest is cut silently.
  log_access& write(const char* text);
  log_access& write(const std::string& text) { return write(text.c_str()); }
  log_access& write(int value);

 private:
  log_mgr* sink;
  log_entry* entry;
};

// The process-wide sink: a log_ring with no file until the host sets one.
log_mgr& log_sink();
log_access get_log();

}  // namespace zel

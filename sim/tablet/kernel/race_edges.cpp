#include "sim/tablet/kernel/race_edges.h"

// Parts of ThreadSanitizer's run-time library that no header of clang 14 declares.
extern "C" {
[[gnu::weak]] void AnnotateIgnoreReadsBegin(const char* file, int line);
[[gnu::weak]] void AnnotateIgnoreReadsEnd(const char* file, int line);
[[gnu::weak]] void AnnotateIgnoreWritesBegin(const char* file, int line);
[[gnu::weak]] void AnnotateIgnoreWritesEnd(const char* file, int line);
[[gnu::weak]] void AnnotateIgnoreSyncBegin(const char* file, int line);
[[gnu::weak]] void AnnotateIgnoreSyncEnd(const char* file, int line);
[[gnu::weak]] void __tsan_acquire(void* address);
[[gnu::weak]] void __tsan_release(void* address);
}

namespace tablet::race_edges {

namespace {

thread_local unsigned t_left = 0;

void Hide() {
  AnnotateIgnoreReadsBegin(__FILE__, 1);
  AnnotateIgnoreWritesBegin(__FILE__, 1);
  AnnotateIgnoreSyncBegin(__FILE__, 1);
}

void Show() {
  AnnotateIgnoreSyncEnd(__FILE__, 1);
  AnnotateIgnoreWritesEnd(__FILE__, 1);
  AnnotateIgnoreReadsEnd(__FILE__, 1);
}

}  // namespace

void Leave() {
  if (t_left++ == 0) Hide();
}

void Return() {
  if (--t_left == 0) Show();
}

unsigned Suspend() {
  unsigned const left = t_left;
  t_left = 0;
  if (left != 0) Show();
  return left;
}

void Resume(unsigned n) {
  t_left = n;
  if (n != 0) Hide();
}

// What is out of sight states no order either: a statement lets the thread be seen for its own length.

void Release(const void* channel) {
  InsideProduct const seen;
  __tsan_release(const_cast<void*>(channel));
}

void Acquire(const void* channel) {
  InsideProduct const seen;
  __tsan_acquire(const_cast<void*>(channel));
}

}  // namespace tablet::race_edges

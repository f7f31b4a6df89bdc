// What ThreadSanitizer is told about the threads of the simulation; without it nothing here does anything.
//
// Simulated threads run one at a time, handed on by a baton: to ThreadSanitizer that hand-over orders everything, and
// no race of the simulated program could ever be found. So the whole stand-in, the baton with it, is kept out of its
// sight, and the few orders that Windows promises to a program are stated one by one. sim/winapi/README.md lists them.
#pragma once

namespace tablet {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kRacesAreWatched = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool kRacesAreWatched = true;
#else
inline constexpr bool kRacesAreWatched = false;
#endif
#else
inline constexpr bool kRacesAreWatched = false;
#endif

namespace race_edges {
void Leave();             ///< accesses and atomics of the calling thread are not seen from here on
void Return();            ///< undoes one Leave
unsigned Suspend();       ///< undoes every Leave of the calling thread; tells how many there were
void Resume(unsigned n);  ///< undoes Suspend
void Release(const void* channel);
void Acquire(const void* channel);
}  // namespace race_edges

/// While one exists, its thread is at work for the stand-in: nothing of what it does is seen. They may be nested. A
/// process must not exit while its exiting thread has one.
class OutsideProduct {
 public:
  OutsideProduct() {
    if constexpr (kRacesAreWatched) race_edges::Leave();
  }
  ~OutsideProduct() {
    if constexpr (kRacesAreWatched) race_edges::Return();
  }
  OutsideProduct(const OutsideProduct&) = delete;
  OutsideProduct& operator=(const OutsideProduct&) = delete;
};

/// The stand-in calls back: while one exists, the thread is seen, whatever OutsideProduct stands around it.
class InsideProduct {
 public:
  InsideProduct() {
    if constexpr (kRacesAreWatched) left_ = race_edges::Suspend();
  }
  ~InsideProduct() {
    if constexpr (kRacesAreWatched) race_edges::Resume(left_);
  }
  InsideProduct(const InsideProduct&) = delete;
  InsideProduct& operator=(const InsideProduct&) = delete;

 private:
  [[maybe_unused]] unsigned left_ = 0;
};

/// What the calling thread did until now comes before whatever relies on the same channel later. A channel is the
/// address of an object of the tablet that stands for the promise.
inline void Promise(const void* channel) {
  if constexpr (kRacesAreWatched) race_edges::Release(channel);
}
/// All that was promised on the channel until now comes before what the calling thread does from here on.
inline void Rely(const void* channel) {
  if constexpr (kRacesAreWatched) race_edges::Acquire(channel);
}

}  // namespace tablet

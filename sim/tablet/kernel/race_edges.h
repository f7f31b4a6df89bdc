// What ThreadSanitizer sees of the simulated threads. In other builds nothing here has an effect.
//
// Simulated threads run one at a time and pass a baton. ThreadSanitizer would see everything ordered by it and find no
// race. So the whole stand-in, the baton too, is hidden from it, and the few orders that Windows documents are stated
// one by one. sim/winapi/README.md lists them.
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
unsigned Suspend();       ///< undoes every Leave of the calling thread; returns their number
void Resume(unsigned n);  ///< undoes Suspend
void Release(const void* channel);
void Acquire(const void* channel);
}  // namespace race_edges

/// While one exists, its thread works for the stand-in and is not seen. May be nested. A process must not exit while
/// its exiting thread has one.
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

/// For callbacks of the stand-in: while one exists, the thread is seen again, however many OutsideProduct it has.
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

// Happens-before annotations. A channel is the address of an object of the tablet.

/// Releases: what the calling thread did until now happens before every later HappensAfter on the channel.
inline void HappensBefore(const void* channel) {
  if constexpr (kRacesAreWatched) race_edges::Release(channel);
}
/// Acquires: every earlier HappensBefore on the channel happens before what the calling thread does from here on.
inline void HappensAfter(const void* channel) {
  if constexpr (kRacesAreWatched) race_edges::Acquire(channel);
}

}  // namespace tablet

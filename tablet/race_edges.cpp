#include "tablet/race_edges.h"

#include <semaphore>
#include <thread>
#include <utility>

namespace tablet {

struct HostThreads::Maker {
  std::binary_semaphore wanted{0};
  std::binary_semaphore made{0};
  std::function<void()> body;  ///< empty: the maker ends
  std::thread thread;

  void Run() {
    OutsideProduct const outside;
    for (;;) {
      wanted.acquire();
      if (!body) return;
      std::thread(std::move(body)).detach();
      body = nullptr;
      made.release();
    }
  }
};

HostThreads::HostThreads() {
  if constexpr (kRacesAreWatched) {
    maker_ = std::make_unique<Maker>();
    maker_->thread = std::thread([maker = maker_.get()] { maker->Run(); });
  }
}

HostThreads::~HostThreads() {
  if (!maker_) return;
  maker_->wanted.release();
  maker_->thread.join();
}

void HostThreads::Start(std::function<void()> body) {
  if (!maker_) {
    std::thread(std::move(body)).detach();
    return;
  }
  maker_->body = std::move(body);
  maker_->wanted.release();
  maker_->made.acquire();
}

}  // namespace tablet

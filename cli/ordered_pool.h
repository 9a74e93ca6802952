// Work on numbered items by several threads, its results in the order of the items.
#ifndef FENRA_CLI_ORDERED_POOL_H
#define FENRA_CLI_ORDERED_POOL_H

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace cli {

// Threads that are worth starting on this machine.
inline unsigned worker_count() {
  const unsigned count = std::thread::hardware_concurrency();
  return count == 0 ? 1 : count;
}

template <typename Result>
class OrderedPool {
 public:
  // Starts a thread for each of the `workers`, which are borrowed, called as
  // worker(item) for one item at a time and give a Result; what they throw is thrown
  // by next(). Not more than `window` items are at work or waiting to be taken.
  template <typename Worker>
  OrderedPool(size_t items, size_t window, std::vector<Worker>& workers)
      : items_(items), slots_(window) {
    for (Worker& worker : workers) {
      threads_.emplace_back([this, &worker] { work(worker); });
    }
  }

  // Ends the work; items that have not been begun are left out.
  ~OrderedPool() {
    {
      const std::lock_guard<std::mutex> hold(mutex_);
      items_ = begun_;
    }
    room_.notify_all();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }
  OrderedPool(const OrderedPool&) = delete;
  OrderedPool& operator=(const OrderedPool&) = delete;

  // The result of the next item. Called as often as there are items at most.
  Result next() {
    std::unique_lock<std::mutex> hold(mutex_);
    Slot& slot = slots_[taken_ % slots_.size()];
    done_.wait(hold, [&slot] { return slot.result || slot.thrown; });
    Slot taken;
    std::swap(taken, slot);
    ++taken_;
    hold.unlock();
    room_.notify_one();
    if (taken.thrown) {
      std::rethrow_exception(taken.thrown);
    }
    return std::move(*taken.result);
  }

 private:
  struct Slot {
    std::optional<Result> result;
    std::exception_ptr thrown;
  };

  template <typename Worker>
  void work(Worker& worker) {
    std::unique_lock<std::mutex> hold(mutex_);
    for (;;) {
      room_.wait(hold, [this] { return begun_ >= items_ || begun_ - taken_ < slots_.size(); });
      if (begun_ >= items_) {
        return;
      }
      const size_t item = begun_++;
      hold.unlock();
      Slot slot;
      try {
        slot.result.emplace(worker(item));
      } catch (...) {
        slot.thrown = std::current_exception();
      }
      hold.lock();
      slots_[item % slots_.size()] = std::move(slot);
      if (item == taken_) {
        done_.notify_one();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable room_;
  std::condition_variable done_;
  size_t items_;
  size_t begun_ = 0;
  size_t taken_ = 0;
  std::vector<Slot> slots_;  // of item n: n modulo their number
  std::vector<std::thread> threads_;
};

}  // namespace cli

#endif  // FENRA_CLI_ORDERED_POOL_H

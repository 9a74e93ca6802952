// Work on items by several threads, its results in the order of the items.
#ifndef FENRA_CLI_ORDERED_POOL_H
#define FENRA_CLI_ORDERED_POOL_H

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace cli {

// Threads that are worth starting on this machine.
inline unsigned worker_count() {
  const unsigned count = std::thread::hardware_concurrency();
  return count == 0 ? 1 : count;
}

template <typename Item, typename Result>
class OrderedPool {
 public:
  using Pull = std::function<std::optional<Item>()>;

  // Starts a thread for each of the `workers`, which are borrowed, called as
  // worker(item) for one item at a time and give a Result; what they and `pull` throw is thrown
  // by next(). `pull` gives the items until it gives nothing or throws, to one thread at a time.
  // Not more than `window` items are at work or waiting to be taken.
  template <typename Worker>
  OrderedPool(Pull pull, size_t window, std::vector<Worker>& workers)
      : pull_(std::move(pull)), slots_(window) {
    for (Worker& worker : workers) {
      threads_.emplace_back([this, &worker] { work(worker); });
    }
  }

  // Ends the work; items that have not been begun are left out.
  ~OrderedPool() {
    {
      const std::lock_guard<std::mutex> hold(mutex_);
      ended_ = true;
    }
    room_.notify_all();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }
  OrderedPool(const OrderedPool&) = delete;
  OrderedPool& operator=(const OrderedPool&) = delete;

  // The result of the next item; nothing when there are no more.
  std::optional<Result> next() {
    std::unique_lock<std::mutex> hold(mutex_);
    Slot& slot = slots_[taken_ % slots_.size()];
    done_.wait(hold, [&] { return slot.result || slot.thrown || (ended_ && taken_ == begun_); });
    if (!slot.result && !slot.thrown) {
      return std::nullopt;
    }
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
    std::unique_ptr<Result> result;
    std::exception_ptr thrown;
  };

  template <typename Worker>
  void work(Worker& worker) {
    std::unique_lock<std::mutex> hold(mutex_);
    for (;;) {
      room_.wait(hold, [this] { return ended_ || begun_ - taken_ < slots_.size(); });
      std::optional<Item> item;
      try {
        item = ended_ ? std::nullopt : pull_();
      } catch (...) {
        slots_[begun_++ % slots_.size()].thrown = std::current_exception();
      }
      if (!item) {
        ended_ = true;
        done_.notify_one();
        room_.notify_all();
        return;
      }
      const size_t number = begun_++;
      hold.unlock();
      Slot slot;
      try {
        slot.result = std::make_unique<Result>(worker(std::move(*item)));
      } catch (...) {
        slot.thrown = std::current_exception();
      }
      hold.lock();
      slots_[number % slots_.size()] = std::move(slot);
      if (number == taken_) {
        done_.notify_one();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable room_;
  std::condition_variable done_;
  Pull pull_;
  bool ended_ = false;
  size_t begun_ = 0;
  size_t taken_ = 0;
  std::vector<Slot> slots_;  // of item n: n modulo their number
  std::vector<std::thread> threads_;
};

}  // namespace cli

#endif  // FENRA_CLI_ORDERED_POOL_H

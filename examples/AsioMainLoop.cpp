// Runs the kit's main queue in the application's own loop, here Asio's: the kit's callbacks then run between
// the application's other events, on the thread of the loop.

#include <iostream>
#include <thread>
#include <utility>

#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "geoloom/platform/foundation/Dispatch.h"

using geoloom::platform::DispatchQueue;
using geoloom::platform::MainQueue;

int main() {
  // Never destroyed, since sessions post to it until the process ends.
  asio::io_context& loop = *new asio::io_context;

  // Before any other use of the kit: the main queue cannot be handed over after its first task.
  if (!MainQueue::handOver([&loop](std::function<void()> task) { asio::post(loop, std::move(task)); })) {
    std::cerr << "the main queue is already in use\n";
    return 1;
  }

  // A loop without work returns; this one must wait for tasks of the kit.
  auto keepRunning = asio::make_work_guard(loop);

  // Stands for a session: works on its own queue and reports on the main queue.
  const std::thread::id mainThread = std::this_thread::get_id();
  bool arrived = false;
  DispatchQueue::serial("com.example.work")->async([&] {
    DispatchQueue::main()->async([&] {
      arrived = std::this_thread::get_id() == mainThread;
      std::cout << "reported on the " << (arrived ? "main" : "wrong") << " thread\n";
      keepRunning.reset();
    });
  });

  loop.run();
  return arrived ? 0 : 1;
}

// An application with a loop of its own, here one of Asio, takes the kit's main queue into it: what the kit
// reports on the main queue then arrives between the application's other events, on the thread that runs the
// loop.

#include <iostream>
#include <thread>
#include <utility>

#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "geoloom/platform/foundation/Dispatch.h"

using geoloom::platform::DispatchQueue;
using geoloom::platform::MainQueue;

int main() {
  // Never destroyed: sessions go on posting until the process ends.
  asio::io_context& loop = *new asio::io_context;

  // Before anything else of the kit: the first task of the main queue settles where it runs.
  if (!MainQueue::handOver([&loop](std::function<void()> task) { asio::post(loop, std::move(task)); })) {
    std::cerr << "the main queue is in use already\n";
    return 1;
  }

  // A loop without work returns; this one must wait for what the kit will post.
  auto keepRunning = asio::make_work_guard(loop);

  // Stands for a session: it works on a queue of its own and reports on the main queue.
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

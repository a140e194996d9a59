// An application with GLib's main loop, as every GTK application has, takes the kit's main queue into it:
// what the kit reports on the main queue then arrives between the application's other events, on the thread
// that runs the loop.

#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <utility>

#include <glib.h>

#include "geoloom/platform/foundation/Dispatch.h"

using geoloom::platform::DispatchQueue;
using geoloom::platform::MainQueue;

namespace {

using Task = std::function<void()>;

/// Has the default loop run the task, whatever thread this is: never at once, not even on the loop's own.
/// Tasks of one priority run in the order given. The priority of an idle task would let redrawing and input
/// hold a session's statuses up.
void postToLoop(Task task) {
  const GSourceFunc run = [](gpointer posted) -> gboolean {
    (*static_cast<Task*>(posted))();
    return G_SOURCE_REMOVE;
  };
  const GDestroyNotify destroy = [](gpointer posted) { delete static_cast<Task*>(posted); };
  g_idle_add_full(G_PRIORITY_DEFAULT, run, new Task(std::move(task)), destroy);
}

}  // namespace

int main() {
  // Before anything else of the kit: the first task of the main queue settles where it runs.
  if (!MainQueue::handOver(postToLoop)) {
    std::cerr << "the main queue is in use already\n";
    return 1;
  }

  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);

  // Stands for a session: it works on a queue of its own and reports on the main queue.
  const std::thread::id mainThread = std::this_thread::get_id();
  std::string reports;
  const auto report = [&](char what) {
    DispatchQueue::main()->async(
        [&reports, mainThread, what] { reports += std::this_thread::get_id() == mainThread ? what : '!'; });
  };
  DispatchQueue::serial("com.example.work")->async([&] {
    for (const char what : {'a', 'b', 'c'}) report(what);
    DispatchQueue::main()->async([loop] { g_main_loop_quit(loop); });
  });

  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  const bool inOrder = reports == "abc";
  std::cout << "reported on the " << (inOrder ? "main thread, in order" : "wrong thread, or out of order")
            << "\n";
  return inOrder ? 0 : 1;
}

// Runs the kit's main queue in GLib's main loop, which every GTK application has: the kit's callbacks then
// run between the application's other events, on the thread of the loop.

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

/// Posts the task to the default loop, from any thread. Tasks of one priority run in order. With the priority
/// of idle tasks, redrawing and input would delay a session's statuses.
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
  // Before any other use of the kit: the main queue cannot be handed over after its first task.
  if (!MainQueue::handOver(postToLoop)) {
    std::cerr << "the main queue is already in use\n";
    return 1;
  }

  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);

  // Stands for a session: works on its own queue and reports on the main queue.
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

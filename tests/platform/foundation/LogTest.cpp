#include <algorithm>
#include <atomic>
#include <cstdio>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "geoloom/base/Descriptor.h"
#include "geoloom/platform/foundation/Journal.h"
#include "geoloom/platform/foundation/Log.h"

#include "tests/support/MemoryVolume.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

/// Captures a standard stream until `finish`.
class Captured {
 public:
  explicit Captured(int descriptor) : descriptor_(descriptor), original_(::dup(descriptor)) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    ::dup2(ends[1], descriptor_);
    ::close(ends[1]);
    reader_ = std::async(std::launch::async, [end = ends[0]] {
      std::string all;
      char bytes[1 << 16];
      for (ssize_t count = 0; (count = ::read(end, bytes, sizeof bytes)) > 0;)
        all.append(bytes, static_cast<std::size_t>(count));
      ::close(end);
      return all;
    });
  }
  /// Restores the stream and returns the captured text.
  std::string finish() {
    ::dup2(original_, descriptor_);
    ::close(original_);
    return reader_.get();
  }

 private:
  int descriptor_;
  int original_;
  std::future<std::string> reader_;
};

TEST(Log, LinesOfConcurrentWritersStayWhole) {
  constexpr int WRITERS = 4;
  constexpr int LINES = 100;
  // Longer than an atomic write to a pipe.
  constexpr std::size_t LENGTH = 9000;
  Captured output(STDOUT_FILENO);
  std::vector<std::thread> threads;
  for (int i = 0; i < WRITERS; ++i)
    threads.emplace_back([letter = static_cast<char>('a' + i)] {
      const std::string line(LENGTH, letter);
      for (int n = 0; n < LINES; ++n) Console::print(line);
    });
  for (std::thread& thread : threads) thread.join();
  const std::string all = output.finish();
  ASSERT_EQ(all.size(), WRITERS * LINES * (LENGTH + 1));
  for (std::size_t start = 0; start < all.size(); start += LENGTH + 1) {
    ASSERT_EQ(all.find_first_not_of(all[start], start), start + LENGTH);
    ASSERT_EQ(all[start + LENGTH], '\n');
  }
}

/// The receiving end of the journal's socket.
class FakeJournal {
 public:
  explicit FakeJournal(const std::filesystem::path& path) : socket_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("no socket");
  }

  /// The fields of the next entry.
  std::map<std::string, std::string> receive() {
    std::string entry(1 << 20, '\0');
    const ssize_t size = ::recv(socket_.get(), entry.data(), entry.size(), 0);
    entry.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    std::map<std::string, std::string> fields;
    for (std::size_t at = 0; at < entry.size();) {
      const std::size_t nameEnd = entry.find('\n', at);
      std::uint64_t length = 0;
      std::memcpy(&length, entry.data() + nameEnd + 1, sizeof length);
      const std::string value = entry.substr(nameEnd + 1 + sizeof length, length);
      fields[entry.substr(at, nameEnd - at)] = value;
      at = nameEnd + 1 + sizeof length + value.size();
      EXPECT_EQ(entry.at(at), '\n');
      ++at;
    }
    return fields;
  }

 private:
  base::Descriptor socket_;
};

TEST(Log, WritesOneJournalEntryPerLine) {
  const test::TemporaryDirectory directory;
  const std::string socket = directory.path() / "socket";
  EXPECT_FALSE(sendToJournal("no journal", socket.c_str()));
  FakeJournal journal(socket);
  for (const std::string line : {"plain", "", "two\nlines\n", "MESSAGE=other\nPRIORITY=0", "\xff\x01"}) {
    ASSERT_TRUE(sendToJournal(line, socket.c_str()));
    EXPECT_EQ(journal.receive(),
              (std::map<std::string, std::string>{
                  {"MESSAGE", line}, {"PRIORITY", "6"}, {"SYSLOG_IDENTIFIER", "test_foundation"}}));
  }
}

TEST(Log, SystemLogUsesTheJournalOrStandardError) {
  if (const auto why = test::mountInMemory("/run", 0, ""); !why.empty()) GTEST_SKIP() << why;
  std::filesystem::create_directories("/run/systemd/journal");
  Captured errors(STDERR_FILENO);
  SystemLog::log("before\nthere is one");
  {
    FakeJournal journal("/run/systemd/journal/socket");
    SystemLog::log("for the\njournal");
    EXPECT_EQ(journal.receive()["MESSAGE"], R"(for the\njournal)");
    SystemLog::setSink([](std::string_view line) { Console::print(line); });
    Captured output(STDOUT_FILENO);
    SystemLog::log("for the sink\x1b[2J");
    EXPECT_EQ(output.finish(), "for the sink\\u{1b}[2J\n");
    SystemLog::setSink({});
  }
  SystemLog::log("after it");
  EXPECT_EQ(errors.finish(), "before\\nthere is one\nafter it\n");
}

TEST(Log, LinesPrintedByASinkGoToTheDefault) {
  Captured output(STDOUT_FILENO);
  Console::setSink([](std::string_view line) {
    Console::print("from the sink: " + std::string(line));
    SystemLog::log(line);
  });
  SystemLog::setSink(
      [](std::string_view line) { Console::print("by way of the log: " + std::string(line)); });
  Console::print("x");
  Console::setSink({});
  SystemLog::setSink({});
  EXPECT_EQ(output.finish(), "from the sink: x\nby way of the log: x\n");
}

TEST(Log, ReplacingASinkWaitsForItsLastCall) {
  std::promise<void> entered;
  std::promise<void> release;
  std::atomic<bool> finished{false};
  Console::setSink([&](std::string_view /*line*/) {
    entered.set_value();
    release.get_future().wait();
    finished = true;
  });
  std::thread writer([] { Console::print("slow"); });
  entered.get_future().wait();
  std::thread opener([&] { release.set_value(); });
  Console::setSink([](std::string_view /*line*/) {});
  EXPECT_TRUE(finished);
  writer.join();
  opener.join();
  Console::setSink({});
}

}  // namespace
}  // namespace geoloom::platform

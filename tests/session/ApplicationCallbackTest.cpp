#include "geoloom/session/ApplicationCallback.h"
#include "geoloom/session/WaitNotice.h"

#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using platform::DispatchQueue;

TEST(ApplicationCallback, LogsExceptions) {
  const LineRecorder lines;
  callApplication("first", std::function<void()>());
  callApplication("second", std::function([] { throw std::runtime_error("mine"); }));
  callApplication("third", std::function([](int number) { throw number; }), 7);
  EXPECT_THAT(lines.entries(),
              ::testing::ElementsAre("! exception out of the second callback: mine",
                                     "! exception out of the third callback: not a std::exception"));
}

TEST(ApplicationCallback, MayBlockWithoutDelayingOtherQueues) {
  // More callbacks than the pool has threads.
  const int callbacks = 2 * std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
  Recorder<int> waiting;
  Recorder<int> ended;
  const auto answered = std::make_shared<Gate>();
  const std::function<void()> callback = [&] {
    waiting.add(1);
    EXPECT_TRUE(answered->wait());
  };
  for (int i = 0; i < callbacks; ++i) {
    DispatchQueue::serial("callback")->async([&] {
      callApplication("test", callback);
      ended.add(1);
    });
  }
  ASSERT_TRUE(waiting.waitForCount(static_cast<std::size_t>(callbacks)));
  DispatchQueue::global()->async([answered] { answered->open(); });
  EXPECT_TRUE(ended.waitForCount(static_cast<std::size_t>(callbacks)));
}

TEST(WaitNotice, NamesEachReasonOnceAfterFiveSeconds) {
  using std::chrono::seconds;
  WaitNotice notice;
  const auto lineAt = [&](int second, const char* reason) {
    return notice.update(reason, seconds(second)).value_or("");
  };
  EXPECT_EQ(lineAt(0, "a"), "");
  EXPECT_EQ(lineAt(4, "a"), "");
  EXPECT_EQ(lineAt(6, "a"), "localization has been waiting 6 s for a");
  EXPECT_EQ(lineAt(7, "a"), "");
  EXPECT_EQ(lineAt(8, "b"), "");
  EXPECT_EQ(lineAt(12, "b"), "") << "counts from the change";
  EXPECT_EQ(lineAt(13, "b"), "localization has been waiting 5 s for b");
  EXPECT_EQ(lineAt(20, ""), "");
  EXPECT_EQ(lineAt(30, ""), "");
  EXPECT_EQ(lineAt(31, "a"), "");
  EXPECT_EQ(lineAt(40, "a"), "") << "once for each reason";
}

}  // namespace
}  // namespace geoloom::test

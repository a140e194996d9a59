// The shared library as the loader and other libraries of a process see it. This program links none of the
// kit, so that loading is what a test does, and exports the functions below, so that they stand before libc's
// in the lookup of every library it loads.

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <regex>

#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/socket.h>

namespace {

bool isWatching = false;
std::vector<std::string>& calls() {
  static auto& instance = *new std::vector<std::string>;
  return instance;
}

void note(const char* what, const char* name) {
  if (isWatching) calls().push_back(std::string(what) + " " + name);
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

mode_t modeOf(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

#define GEOLOOM_WATCH_OPEN(function)                                           \
  int function(const char* path, int flags, ...) {                             \
    va_list arguments;                                                         \
    va_start(arguments, flags);                                                \
    const mode_t mode = modeOf(flags, arguments);                              \
    va_end(arguments);                                                         \
    note("file", path);                                                        \
    return next<int (*)(const char*, int, ...)>(#function)(path, flags, mode); \
  }
GEOLOOM_WATCH_OPEN(open)
GEOLOOM_WATCH_OPEN(open64)

int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  note("file", path);
  return next<int (*)(int, const char*, int, ...)>("openat")(folder, path, flags, mode);
}

FILE* fopen(const char* path, const char* mode) {
  note("file", path);
  return next<FILE* (*)(const char*, const char*)>("fopen")(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  note("file", path);
  return next<FILE* (*)(const char*, const char*)>("fopen64")(path, mode);
}

int socket(int domain, int type, int protocol) noexcept {
  note("socket", "");
  return next<int (*)(int, int, int)>("socket")(domain, type, protocol);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
  note("thread", "");
  return next<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create")(
      thread, attributes, run, argument);
}

}  // extern "C"

namespace {

std::vector<std::string> linesOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string text;
  std::array<char, 4096> block{};
  for (std::size_t n = 0; (n = fread(block.data(), 1, block.size(), pipe.get())) > 0;)
    text.append(block.data(), n);
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::ptrdiff_t entries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

std::vector<std::string> neededBy(const std::string& library) {
  static const std::regex needed(R"(\(NEEDED\).*\[(.*)\])");
  std::vector<std::string> names;
  for (const auto& line : linesOf("readelf --dynamic '" + library + "'")) {
    std::smatch match;
    if (std::regex_search(line, match, needed)) names.push_back(match[1]);
  }
  return names;
}

/// What is done when a library is loaded whose dependencies are there: calls on the way, and what stays open
/// or runs.
std::vector<std::string> doneByLoading(const std::string& library) {
  for (const auto& name : neededBy(library))
    EXPECT_NE(dlopen(name.c_str(), RTLD_NOW | RTLD_GLOBAL), nullptr) << name;
  const auto threads = entries("/proc/self/task");
  const auto files = entries("/proc/self/fd");
  isWatching = true;
  const void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_GLOBAL);
  isWatching = false;
  EXPECT_NE(handle, nullptr) << library;
  auto done = calls();
  if (entries("/proc/self/task") != threads) done.emplace_back("thread that stays");
  if (entries("/proc/self/fd") != files) done.emplace_back("file that stays");
  return done;
}

TEST(Library, LoadingOpensNoFileAndNoSocketAndStartsNoThread) {
  EXPECT_THAT(doneByLoading(GEOLOOM_TEST_LIBRARY), testing::IsEmpty());
}

TEST(Library, NothingThatAnotherLibraryDoesWhileItIsLoadedIsMissed) {
  EXPECT_THAT(doneByLoading(GEOLOOM_TEST_NOISY_LIBRARY),
              testing::UnorderedElementsAre("file /dev/null", "file /dev/zero", "socket ", "thread ",
                                            "thread that stays", "file that stays"));
}

TEST(Library, NeedsNoObjectiveCRuntime) {
  using testing::HasSubstr;
  const auto names = neededBy(GEOLOOM_TEST_LIBRARY);
  EXPECT_THAT(names, testing::Not(testing::IsEmpty()));
  EXPECT_THAT(names, testing::Each(testing::Not(
                         testing::AnyOf(HasSubstr("objc"), HasSubstr("gnustep"), HasSubstr("Blocks")))));
}

TEST(Library, ExportsItsOwnNamesOnly) {
  static const std::regex own(
      // A template's name begins with what it returns.
      "((typeinfo|typeinfo name|vtable|VTT|guard variable) for |(non-)?virtual thunk to |void )?"
      "geoloom::.*");
  const auto symbols = linesOf("nm --dynamic --defined-only --format=posix '" GEOLOOM_TEST_LIBRARY "'");
  std::vector<std::string> foreign;
  for (const auto& line : symbols) {
    const std::string symbol = line.substr(0, line.find(' '));
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, nullptr), std::free);
    const std::string shown = name == nullptr ? symbol : name.get();
    if (!std::regex_match(shown, own)) foreign.push_back(shown);
  }
  EXPECT_THAT(foreign, testing::IsEmpty());
  EXPECT_GT(symbols.size(), 100U);
}

}  // namespace

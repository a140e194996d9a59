// The shared library from the view of the loader and of other libraries. This program does not link the kit;
// the tests load it.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <regex>

#include <cxxabi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>

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

TEST(Library, LoadingStartsNoThreadAndKeepsNoFileOpen) {
  for (const auto& name : neededBy(GEOLOOM_TEST_LIBRARY))
    EXPECT_NE(dlopen(name.c_str(), RTLD_NOW | RTLD_GLOBAL), nullptr) << name;
  const auto threads = entries("/proc/self/task");
  const auto files = entries("/proc/self/fd");
  EXPECT_NE(dlopen(GEOLOOM_TEST_LIBRARY, RTLD_NOW | RTLD_GLOBAL), nullptr);
  EXPECT_EQ(entries("/proc/self/task"), threads);
  EXPECT_EQ(entries("/proc/self/fd"), files);
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
      // The name of a template instance begins with its return type.
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

// Puts figures of Google Benchmark's JSON files beside their peers, as peers.txt pairs them: a table on
// standard output and the same as JSON.
//
//     benchmark_table PEERS RESULTS OUT
//
// RESULTS holds one <program>.json for every program that was run; the figures of others are left out, with a
// line that names them.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

/// Invalid input; the text is one line with the file and the place.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Pair {
  std::string figure;
  std::string program;
  std::string own;
  std::string peer;
  std::string measure;
  std::string peerIs;
};

std::vector<std::string> columnsOf(std::string line) {
  const std::string separator = " | ";
  std::vector<std::string> columns;
  for (std::size_t end = 0; (end = line.find(separator)) != std::string::npos;) {
    columns.push_back(line.substr(0, end));
    line.erase(0, end + separator.size());
  }
  columns.push_back(line);
  return columns;
}

std::vector<Pair> readPairs(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw InputError(path + ": cannot be read");
  std::vector<Pair> pairs;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.empty() || line.front() == '#') continue;
    const auto columns = columnsOf(line);
    if (columns.size() != 6) throw InputError(fmt::format("{}:{}: not six columns", path, number));
    pairs.push_back({columns[0], columns[1], columns[2], columns[3], columns[4], columns[5]});
  }
  return pairs;
}

/// One program's figures: the median of each benchmark's repetitions, or its only run.
class Results {
 public:
  explicit Results(const std::filesystem::path& path) : path_(path.string()) {
    std::ifstream file(path);
    const Json all = Json::parse(file, nullptr, false);
    if (!all.is_object() || !all.contains("benchmarks"))
      throw InputError(path_ + ": no results of benchmarks");
    context_ = all.value("context", Json::object());
    for (const Json& run : all["benchmarks"]) {
      const bool isMedian = run.value("aggregate_name", "") == "median";
      if (!isMedian && run.value("run_type", "") != "iteration") continue;
      if (run.value("error_occurred", false)) {
        throw InputError(
            fmt::format("{}: {}: {}", path_, run.value("run_name", ""), run.value("error_message", "")));
      }
      const std::string name = run.value("run_name", "");
      if (isMedian || runs_.count(name) == 0) runs_[name] = run;
    }
  }

  struct Value {
    double number = 0;
    std::string unit;  ///< of times; counters have none
  };

  [[nodiscard]] Value value(const std::string& benchmark, const std::string& measure) const {
    const auto run = runs_.find(benchmark);
    if (run == runs_.end()) throw InputError(path_ + ": no benchmark \"" + benchmark + "\"");
    const bool isTime = measure == "real" || measure == "cpu";
    const std::string key = isTime ? measure + "_time" : measure;
    if (!run->second.contains(key)) {
      throw InputError(path_ + ": \"" + benchmark + "\" has no \"" + measure + "\"");
    }
    return {run->second[key].get<double>(), isTime ? run->second.value("time_unit", "") : ""};
  }

  [[nodiscard]] double load() const {
    const Json loads = context_.value("load_avg", Json::array());
    return loads.empty() ? 0 : loads.front().get<double>();
  }
  [[nodiscard]] int processors() const { return context_.value("num_cpus", 0); }

 private:
  std::string path_;
  Json context_;
  std::map<std::string, Json> runs_;
};

/// Three digits and a suitable unit.
std::string shown(Results::Value value) {
  static const std::vector<std::string> units = {"ns", "us", "ms", "s"};
  auto unit = std::find(units.begin(), units.end(), value.unit);
  while (unit != units.end() && value.number >= 1000 && unit + 1 != units.end()) {
    value.number /= 1000;
    ++unit;
  }
  while (unit != units.end() && value.number < 1 && unit != units.begin()) {
    value.number *= 1000;
    --unit;
  }
  const int decimals = value.number >= 100 ? 0 : value.number >= 10 ? 1 : 2;
  return fmt::format("{:.{}f}{}", value.number, decimals, unit == units.end() ? "" : " " + *unit);
}

void run(const std::string& peers, const std::filesystem::path& folder, const std::string& out) {
  std::map<std::string, std::optional<Results>> programs;
  Json figures = Json::array();
  std::set<std::string> absent;
  double load = 0;
  int processors = 0;
  constexpr const char* ROW = "{:<48} {:>10} {:>10} {:>7}  {}\n";
  fmt::print(ROW, "figure", "Geoloom", "peer", "ratio", "the peer");
  for (const Pair& pair : readPairs(peers)) {
    const auto path = folder / (pair.program + ".json");
    if (!std::filesystem::exists(path)) {
      absent.insert(pair.program);
      continue;
    }
    auto& results = programs[pair.program];
    if (!results) results.emplace(path);
    load = std::max(load, results->load());
    processors = results->processors();
    const auto own = results->value(pair.own, pair.measure);
    const auto peer = results->value(pair.peer, pair.measure);
    if (own.unit != peer.unit) throw InputError(peers + ": two units in \"" + pair.figure + "\"");
    const double ratio = own.number / peer.number;
    fmt::print(ROW, pair.figure, shown(own), shown(peer),
               ratio < 0.1 ? fmt::format("{:.2g}", ratio) : fmt::format("{:.2f}", ratio), pair.peerIs);
    figures.push_back({{"figure", pair.figure},
                       {"geoloom", own.number},
                       {"peer", peer.number},
                       {"unit", own.unit},
                       {"ratio", ratio},
                       {"the_peer", pair.peerIs}});
  }
  fmt::print("\n{} processors; load at the start of a program at most {:.1f}\n", processors, load);
  for (const auto& program : absent) fmt::print("not run, and left out: {}\n", program);
  std::ofstream(out) << Json{{"processors", processors}, {"load", load}, {"figures", figures}}.dump(2)
                     << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    fmt::print(stderr, "usage: benchmark_table PEERS RESULTS OUT\n");
    return 2;
  }
  try {
    run(argv[1], argv[2], argv[3]);
  } catch (const std::exception& problem) {
    fmt::print(stderr, "benchmark_table: {}\n", problem.what());
    return 1;
  }
  return 0;
}

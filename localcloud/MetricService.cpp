#include "localcloud/MetricService.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include "localcloud/Metrics.h"
#include "localcloud/Text.h"

namespace geoloom::localcloud {

namespace {

constexpr const char* CONTENT_TYPE = "application/x-amz-json-1.0";
constexpr const char* MISSING = "com.amazonaws.cloudwatch.v2010_08_01#MissingRequiredParameterException";
constexpr const char* INVALID = "com.amazonaws.cloudwatch.v2010_08_01#InvalidParameterValueException";
constexpr const char* NOT_JSON = "com.amazon.coral.service#SerializationException";
constexpr const char* UNKNOWN = "com.amazon.coral.service#UnknownOperationException";

class Refusal : public std::runtime_error {
 public:
  Refusal(const char* type, const std::string& message) : std::runtime_error(message), type_(type) {}
  [[nodiscard]] const char* type() const { return type_; }

 private:
  const char* type_;
};

const Value& member(const Value& object, const char* name) {
  if (!object.is_object()) throw Refusal(INVALID, "The parameter must be an object.");
  const auto found = object.find(name);
  if (found == object.end() || found->is_null()) {
    throw Refusal(MISSING, fmt::format("The parameter {} is required.", name));
  }
  return *found;
}

std::string text(const Value& object, const char* name) {
  const Value& value = member(object, name);
  if (!value.is_string() || value.get_ref<const std::string&>().empty()) {
    throw Refusal(INVALID, fmt::format("The parameter {} must be text.", name));
  }
  return value.get<std::string>();
}

const Value& array(const Value& object, const char* name) {
  const Value& value = member(object, name);
  if (!value.is_array()) throw Refusal(INVALID, fmt::format("The parameter {} must be an array.", name));
  return value;
}

/// In order of name, so that each set of dimensions has exactly one text.
std::string dimensionsText(const Value& datum) {
  std::vector<std::pair<std::string, std::string>> dimensions;
  if (datum.contains("Dimensions")) {
    for (const Value& element : array(datum, "Dimensions")) {
      dimensions.emplace_back(text(element, "Name"), text(element, "Value"));
    }
  }
  std::sort(dimensions.begin(), dimensions.end());
  Body list = Body::array();
  for (const auto& [name, value] : dimensions) list.push_back({{"Name", name}, {"Value", value}});
  return write(list);
}

std::string putMetricData(Store& store, const Value& body) {
  const std::string space = text(body, "Namespace");
  std::vector<MetricRecord> records;
  for (const Value& datum : array(body, "MetricData")) {
    const std::string name = text(datum, "MetricName");
    for (const char* const unsupported : {"Values", "Counts", "StatisticValues"}) {
      if (datum.contains(unsupported)) {
        throw Refusal(INVALID, fmt::format("{} is not supported by the local cloud.", unsupported));
      }
    }
    const Value& value = member(datum, "Value");
    if (!value.is_number()) throw Refusal(INVALID, "The parameter Value must be a number.");
    records.push_back({.space = space,
                       .name = name,
                       .dimensions = dimensionsText(datum),
                       .samples = 1,
                       .sum = value.get<double>()});
  }
  store.write([&](Database& database) {
    for (const MetricRecord& metric : records) metrics::add(database, metric);
  });
  return "{}";
}

std::string listMetrics(Store& store, const Value& body) {
  if (!body.is_object()) throw Refusal(INVALID, "The body must be an object.");
  const auto matches = [&](const char* parameter, const std::string& value) {
    return !body.contains(parameter) || text(body, parameter) == value;
  };
  Body list = Body::array();
  for (const MetricRecord& metric : store.read(metrics::all)) {
    if (!matches("Namespace", metric.space) || !matches("MetricName", metric.name)) continue;
    list.push_back({{"Namespace", metric.space},
                    {"MetricName", metric.name},
                    {"Dimensions", Body::parse(metric.dimensions)}});
  }
  return write(Body{{"Metrics", std::move(list)}});
}

}  // namespace

Answer MetricService::error(int status, std::string_view type, std::string_view message) {
  const std::string_view code = type.substr(type.find('#') + 1);
  return {
      .status = status,
      .contentType = CONTENT_TYPE,
      .body = write(Body{{"__type", type}, {"message", message}}),
      .headers = {{"x-amzn-RequestId", randomUUID()},
                  {"x-amzn-query-error", fmt::format("{};{}", code, status < 500 ? "Sender" : "Receiver")}}};
}

Answer MetricService::answer(std::string_view operation, const std::string& body) const {
  try {
    std::string (*const perform)(Store&, const Value&) = operation == "PutMetricData" ? putMetricData
                                                         : operation == "ListMetrics" ? listMetrics
                                                                                      : nullptr;
    if (perform == nullptr) {
      throw Refusal(UNKNOWN, fmt::format("{} is not supported by the local cloud", operation));
    }
    const auto [value, why] = readJSON(body);
    if (!value) throw Refusal(NOT_JSON, why);
    return {.contentType = CONTENT_TYPE,
            .body = perform(store_, *value),
            .headers = {{"x-amzn-RequestId", randomUUID()}}};
  } catch (const Refusal& refusal) {
    return error(400, refusal.type(), refusal.what());
  }
}

}  // namespace geoloom::localcloud

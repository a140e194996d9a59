#include "geoloom/platform/aws/AWSDynamoDBAttributeValue.h"

#include <charconv>
#include <cmath>
#include <type_traits>

#include <fmt/format.h>

namespace geoloom::platform {

namespace {

using Value = AWSDynamoDBAttributeValue;

template <class Number>
std::optional<Value> numberAttribute(const std::optional<Number>& value) {
  if (!value) return std::nullopt;
  if constexpr (std::is_floating_point_v<Number>)
    if (!std::isfinite(*value)) return std::nullopt;
  return Value::number(fmt::format("{}", *value));
}

std::optional<double> numberMember(const JSON& item, std::string_view name) {
  const std::optional<std::string_view> text = item.stringAt(name, "N");
  if (!text) return std::nullopt;
  double number = 0;
  const char* end = text->data() + text->size();
  const auto [read, error] = std::from_chars(text->data(), end, number);
  if (error != std::errc{} || read != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

}  // namespace

Value Value::text(std::string value) {
  return {Type::text, std::move(value)};
}

Value Value::number(std::string value) {
  return {Type::number, std::move(value)};
}

std::optional<Value> toAttribute(const std::optional<std::string>& value) {
  if (!value) return std::nullopt;
  return Value::text(*value);
}

std::optional<Value> toAttribute(const std::optional<std::int64_t>& value) {
  return numberAttribute(value);
}

std::optional<Value> toAttribute(const std::optional<float>& value) {
  return numberAttribute(value);
}

std::optional<Value> toAttribute(const std::optional<double>& value) {
  return numberAttribute(value);
}

std::optional<Value> toAttribute(const std::optional<bool>& value) {
  if (!value) return std::nullopt;
  return Value::number(*value ? "1" : "0");
}

void fromItem(const JSON& item, std::string_view name, std::optional<std::string>& property) {
  property = item.stringAt(name, "S");
}

void fromItem(const JSON& item, std::string_view name, std::optional<float>& property) {
  const std::optional<double> number = numberMember(item, name);
  property = number ? std::optional(static_cast<float>(*number)) : std::nullopt;
}

void fromItem(const JSON& item, std::string_view name, std::optional<double>& property) {
  property = numberMember(item, name);
}

}  // namespace geoloom::platform
